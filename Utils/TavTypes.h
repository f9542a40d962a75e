/* Scalar types, the export macro and C linkage helpers shared by every
 * public header of the kit. */
#ifndef TAV_UTILS_TAVTYPES_H
#define TAV_UTILS_TAVTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define TAV_API __declspec(dllexport)
#else
#define TAV_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define TAV_EXTERN_C_BEGIN extern "C" {
#define TAV_EXTERN_C_END }
#else
#define TAV_EXTERN_C_BEGIN
#define TAV_EXTERN_C_END
#endif

typedef uint8_t TavBool;
#define TAV_TRUE ((TavBool)1)
#define TAV_FALSE ((TavBool)0)

typedef int32_t TavInt;
typedef uint32_t TavUint;
typedef uint32_t TavUint32;
typedef int16_t TavInt16;
typedef uint16_t TavUint16;
typedef int64_t TavInt64;
typedef uint64_t TavUint64;
typedef uint64_t TavSizeT;
typedef int64_t TavDistanceT;
typedef float TavFloat32;
typedef double TavFloat64;
typedef int64_t TavTime;
typedef uint32_t TavMediaFormat;
typedef void* TavVoidPtr;

typedef struct TavResolution_ {
    TavSizeT width;
    TavSizeT height;
} TavResolution;

#endif
