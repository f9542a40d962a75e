/* Number parsing that does not depend on the process locale. */
#ifndef TAV_UTILS_TAVNUMBERS_H
#define TAV_UTILS_TAVNUMBERS_H

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

/* Decimal floating number as strtod reads it in the C locale; *error is set
 * when nothing was read or the value is out of a double's range. */
TAV_API TavFloat64 TavStrToFloat64(const char* s, const char** end, TavBool* error);
/* strtol (64-bit, saturating) keeping the low 32 bits. */
TAV_API TavInt TavStrToInt32(const char* s, const char** end, int base);
/* strtoul. */
TAV_API TavUint64 TavStrToUint64(const char* s, const char** end, int base);

TAV_EXTERN_C_END

#endif
