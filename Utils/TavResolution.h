#ifndef TAV_UTILS_TAVRESOLUTION_H
#define TAV_UTILS_TAVRESOLUTION_H

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

/* Same width and height. */
TAV_API TavBool TavResolutionEqual(const TavResolution* x, const TavResolution* y);

TAV_EXTERN_C_END

#endif
