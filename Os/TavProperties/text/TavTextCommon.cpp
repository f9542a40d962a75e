#include "Os/TavProperties/text/TavTextCommon.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "Utils/TavMediaFormat.h"

namespace tav::text {

namespace {

template <class Number>
Scalar Decimal(Number n, ScalarBuffer& buf) {
    const auto r = std::to_chars(buf.chars, buf.chars + sizeof buf.chars, n);
    return {ScalarForm::Bare, {buf.chars, static_cast<std::size_t>(r.ptr - buf.chars)}};
}

// Fixed-point text identical to "%.Nf": to_chars rounds exactly as printf
// does for finite values; infinities and NaNs keep the C library's spelling.
Scalar Fixed(double d, int digits, ScalarBuffer& buf) {
    if (!std::isfinite(d)) {
        const int n = std::snprintf(buf.chars, sizeof buf.chars, "%.*f", digits, d);
        return {ScalarForm::Bare, {buf.chars, static_cast<std::size_t>(n)}};
    }
    const auto r = std::to_chars(buf.chars, buf.chars + sizeof buf.chars, d,
                                 std::chars_format::fixed, digits);
    return {ScalarForm::Bare, {buf.chars, static_cast<std::size_t>(r.ptr - buf.chars)}};
}

Scalar Address(const void* p, ScalarBuffer& buf) {
    Scalar s = Decimal(reinterpret_cast<std::uintptr_t>(p), buf);
    s.form = ScalarForm::Quoted;
    return s;
}

// Reads a weak pointer's object without racing its release: a temporary
// shared owner is taken for the read and given back at once.
Scalar WeakAddress(const TavWeakPtr_void* wp, ScalarBuffer& buf) {
    TavSharedPtr_void locked;
    TavSharedPtr_voidConstructFromWeakPtr(&locked, wp);
    const void* p = TavSharedPtr_voidGet(&locked);
    TavSharedPtr_voidDestruct(&locked);
    return Address(p, buf);
}

Scalar FormatCode(const TavMediaFormat* fmt, ScalarBuffer& buf) {
    TavMediaFormatToCStr(fmt, buf.chars);
    return {ScalarForm::Quoted, {buf.chars, std::strlen(buf.chars)}};
}

}  // namespace

Scalar ScalarText(const TavPropertyValue* v, FloatDigits digits, ScalarBuffer& buf) {
    switch (v->type) {
        case TAV_PROPERTYVALUE_TYPE_Bool:
            return {ScalarForm::Bare, v->u.b ? std::string_view("true") : "false"};
        case TAV_PROPERTYVALUE_TYPE_Int: return Decimal(v->u.i, buf);
        case TAV_PROPERTYVALUE_TYPE_Int16: return Decimal(v->u.i16, buf);
        case TAV_PROPERTYVALUE_TYPE_Int64: return Decimal(v->u.i64, buf);
        case TAV_PROPERTYVALUE_TYPE_Time: return Decimal(v->u.t, buf);
        case TAV_PROPERTYVALUE_TYPE_Uint: return Decimal(v->u.ui, buf);
        case TAV_PROPERTYVALUE_TYPE_Uint16: return Decimal(v->u.ui16, buf);
        case TAV_PROPERTYVALUE_TYPE_Uint64: return Decimal(v->u.ui64, buf);
        case TAV_PROPERTYVALUE_TYPE_SizeT: return Decimal(v->u.sz, buf);
        case TAV_PROPERTYVALUE_TYPE_Float32: return Fixed(v->u.f32, digits.f32, buf);
        case TAV_PROPERTYVALUE_TYPE_Float64: return Fixed(v->u.f64, digits.f64, buf);
        case TAV_PROPERTYVALUE_TYPE_MediaFormat: return FormatCode(&v->u.fmt, buf);
        case TAV_PROPERTYVALUE_TYPE_VoidPtr:
        case TAV_PROPERTYVALUE_TYPE_Wrapper: return Address(v->u.vp, buf);
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedPtr: return Address(v->u.sp.ptr, buf);
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr: return WeakAddress(&v->u.wp, buf);
        case TAV_PROPERTYVALUE_TYPE_Resolution:
        case TAV_PROPERTYVALUE_TYPE_String:
        case TAV_PROPERTYVALUE_TYPE_Properties:
        case TAV_PROPERTYVALUE_TYPE_Vector: break;
    }
    return {ScalarForm::None, {}};
}

std::string_view SizeText(TavSizeT n, ScalarBuffer& buf) { return Decimal(n, buf).text; }

namespace {

// A finite double as m / 10^k: m below 2^50, k at most kMaxFraction.
struct ShortDecimal {
    std::uint64_t m;
    int k;
};

constexpr int kMaxFraction = 8;
constexpr double kPowers[kMaxFraction + 1] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
constexpr double kMantissaLimit = 1125899906842624.0;  // 2^50

// Most numbers a bag holds have a short decimal form, and finding it is much
// cheaper than the general shortest-digits search. For each k from 0 the
// candidate m is the integer nearest a * 10^k; it is the value's text when
// m / 10^k reads back as a, which is checked exactly: m and 10^k are exact
// doubles and the division rounds correctly, as reading the text does. The
// first k that passes gives the fewest digits. Below 2^50 a candidate's error
// (an eighth of a unit at most) can't make it miss the right integer, and no
// two integers can both read back as a, so the pick is also the nearest one.
bool FindShortDecimal(double a, ShortDecimal* out) {
    for (int k = 0; k <= kMaxFraction; ++k) {
        const double scaled = a * kPowers[k];
        if (!(scaled < kMantissaLimit)) return false;
        const auto m = static_cast<std::uint64_t>(scaled + 0.5);
        if (m != 0 && static_cast<double>(m) / kPowers[k] == a) {
            *out = {m, k};
            return true;
        }
    }
    return false;
}

// Whether m's n digits with k of them after the point are shorter in fixed
// notation than in scientific ("1.25e+07": at least two exponent digits), or
// as short: to_chars takes fixed on a tie.
bool FixedIsShortest(const char* digits, int n, int k) {
    const int fixed = k == 0 ? n : (n > k ? n - k : 1) + 1 + k;
    int significant = n;
    while (significant > 1 && digits[significant - 1] == '0') --significant;
    const int exponent = n - 1 - k;
    const int exponentDigits = exponent >= 100 || exponent <= -100 ? 3 : 2;
    const int scientific = significant + (significant > 1 ? 1 : 0) + 2 + exponentDigits;
    return fixed <= scientific;
}

// "[-]I.F" from m's n digits, k of them after the point ("0.00F" when m has
// fewer digits than that; no point for k = 0).
std::string_view PutFixed(bool negative, const char* digits, int n, int k, ScalarBuffer& buf) {
    char* out = buf.chars;
    if (negative) *out++ = '-';
    const int whole = n > k ? n - k : 0;
    CopyBytes(out, digits, static_cast<std::size_t>(whole));
    out += whole;
    if (whole == 0) *out++ = '0';
    if (k != 0) *out++ = '.';
    for (int zeros = k - n; zeros > 0; --zeros) *out++ = '0';
    CopyBytes(out, digits + whole, static_cast<std::size_t>(n - whole));
    out += n - whole;
    return {buf.chars, static_cast<std::size_t>(out - buf.chars)};
}

}  // namespace

std::string_view ShortestText(float f, ScalarBuffer& buf) { return Decimal(f, buf).text; }

std::string_view ShortestText(double d, ScalarBuffer& buf) {
    ShortDecimal form;
    if (!FindShortDecimal(std::fabs(d), &form)) return Decimal(d, buf).text;
    char digits[24];
    const auto n =
        static_cast<int>(std::to_chars(digits, digits + sizeof digits, form.m).ptr - digits);
    if (!FixedIsShortest(digits, n, form.k)) return Decimal(d, buf).text;
    return PutFixed(std::signbit(d), digits, n, form.k, buf);
}

void StringSink::PutLong(std::string_view text) {
    while (!text.empty()) {
        if (used_ == kCapacity) Flush();
        const std::size_t n = text.size() < kCapacity - used_ ? text.size() : kCapacity - used_;
        std::memcpy(buf_ + used_, text.data(), n);
        used_ += n;
        text.remove_prefix(n);
    }
}

bool StringSink::Flush() {
    if (used_ != 0 && !failed_) {
        buf_[used_] = '\0';
        failed_ = TavStringAppendCStr(out_, buf_) == nullptr;
    }
    used_ = 0;
    return !failed_;
}

}  // namespace tav::text
