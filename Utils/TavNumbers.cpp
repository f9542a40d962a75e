#include "Utils/TavNumbers.h"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace {

// The white space strtod skips in the C locale.
bool IsCSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Characters that may occur in a number strtod reads, "inf" and "nan(...)"
// included; bounding the text by them keeps a parse inside a long text
// proportional to the number, not to the rest of the text.
bool MayBeInNumber(char c) {
    return IsDigit(c) || IsLetter(c) || c == '.' || c == '+' || c == '-' || c == '(' || c == ')' ||
           c == '_';
}

const char* NumberTextEnd(const char* p) {
    while (MayBeInNumber(*p)) ++p;
    return p;
}

// Reads a decimal exponent after 'e'/'E', saturating far beyond any double's
// range so that a huge exponent can't wrap.
long ReadExponent(const char* p, const char* last) {
    bool negative = false;
    if (p < last && (*p == '+' || *p == '-')) negative = *p++ == '-';
    long value = 0;
    for (; p < last && IsDigit(*p); ++p) {
        if (value < 100000) value = value * 10 + (*p - '0');
    }
    return negative ? -value : value;
}

// Decimal order of magnitude of the number text in [p, last): whether a value
// rejected as out of range overflowed (non-negative) or underflowed.
long DecimalMagnitude(const char* p, const char* last) {
    long magnitude = -1;
    bool significant = false;
    for (; p < last && IsDigit(*p); ++p) {
        significant = significant || *p != '0';
        if (significant) ++magnitude;
    }
    if (p < last && *p == '.') {
        for (++p; p < last && IsDigit(*p) && !significant; ++p) {
            significant = *p != '0';
            if (!significant) --magnitude;
        }
        while (p < last && IsDigit(*p)) ++p;
    }
    if (p < last && (*p == 'e' || *p == 'E')) magnitude += ReadExponent(p + 1, last);
    return magnitude;
}

// What strtod gives for an out-of-range number: a signed infinity when it
// overflowed, a signed zero when it underflowed.
double OutOfRangeValue(const char* digits, const char* last, bool negative) {
    const double magnitude =
        DecimalMagnitude(digits, last) >= 0 ? std::numeric_limits<double>::infinity() : 0.0;
    return negative ? -magnitude : magnitude;
}

}  // namespace

extern "C" {

// from_chars reads the same forms as strtod in the C locale, whatever the
// process locale, except that it takes no leading white space and no '+'.
TavFloat64 TavStrToFloat64(const char* s, const char** end, TavBool* error) {
    const char* p = s;
    while (IsCSpace(*p)) ++p;
    const bool plus = *p == '+';
    if (plus) ++p;
    const char* last = NumberTextEnd(p);
    double value = 0.0;
    std::from_chars_result read{p, std::errc::invalid_argument};
    if (!(plus && *p == '-')) read = std::from_chars(p, last, value);
    const bool nothingRead = read.ec == std::errc::invalid_argument;
    if (read.ec == std::errc::result_out_of_range) {
        const bool negative = *p == '-';
        value = OutOfRangeValue(negative ? p + 1 : p, read.ptr, negative);
    }
    if (end != nullptr) *end = nothingRead ? s : read.ptr;
    if (error != nullptr) *error = read.ec != std::errc{};
    return value;
}

TavInt TavStrToInt32(const char* s, const char** end, int base) {
    char* stop = nullptr;
    const long long value = std::strtoll(s, &stop, base);
    if (end != nullptr) *end = stop;
    return static_cast<TavInt>(static_cast<TavUint32>(value));
}

TavUint64 TavStrToUint64(const char* s, const char** end, int base) {
    char* stop = nullptr;
    const unsigned long long value = std::strtoull(s, &stop, base);
    if (end != nullptr) *end = stop;
    return static_cast<TavUint64>(value);
}

}  // extern "C"
