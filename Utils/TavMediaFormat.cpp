#include "Utils/TavMediaFormat.h"

namespace {

// Codes come from files and devices, so any byte may turn up: anything that
// would not print as itself is shown as a dot.
char PrintableOrDot(unsigned byte) {
    return byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '.';
}

}  // namespace

extern "C" {

TavBool TavMediaFormatEqual(const TavMediaFormat* x, const TavMediaFormat* y) { return *x == *y; }

const char* TavMediaFormatToCStr(const TavMediaFormat* x, char* buf) {
    for (unsigned i = 0; i < 4; ++i) buf[i] = PrintableOrDot((*x >> (8 * i)) & 0xFFu);
    buf[4] = '\0';
    return buf;
}

}  // extern "C"
