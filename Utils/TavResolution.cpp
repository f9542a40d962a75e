#include "Utils/TavResolution.h"

extern "C" {

TavBool TavResolutionEqual(const TavResolution* x, const TavResolution* y) {
    return x->width == y->width && x->height == y->height;
}

}  // extern "C"
