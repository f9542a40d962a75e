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
