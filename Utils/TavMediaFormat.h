/* Four-character media format codes, first character in the lowest byte. */
#ifndef TAV_UTILS_TAVMEDIAFORMAT_H
#define TAV_UTILS_TAVMEDIAFORMAT_H

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

#define TAV_MEDIAFORMAT_FOURCC(a, b, c, d)                                        \
    ((TavMediaFormat)(uint8_t)(a) | ((TavMediaFormat)(uint8_t)(b) << 8) |         \
     ((TavMediaFormat)(uint8_t)(c) << 16) | ((TavMediaFormat)(uint8_t)(d) << 24))

/* Same four-character code. */
TAV_API TavBool TavMediaFormatEqual(const TavMediaFormat* x, const TavMediaFormat* y);
/* Writes the four bytes from the lowest ('.' for anything outside blank..tilde)
 * and a NUL into buf (5 chars); returns buf. */
TAV_API const char* TavMediaFormatToCStr(const TavMediaFormat* x, char* buf);

TAV_EXTERN_C_END

#endif
