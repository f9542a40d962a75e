/* A 32-bit integer touched only through sequentially consistent atomics. */
#ifndef TAV_OS_TAVATOMICINTEGER_H
#define TAV_OS_TAVATOMICINTEGER_H

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

typedef struct TavAtomicInteger_ {
    TavInt value;
} TavAtomicInteger;

/* Sets the first value (plainly: no other thread may see x yet); returns x.
 * GetValue loads and Increment adds one, atomically; neither can fail. */
TAV_API TavAtomicInteger* TavAtomicIntegerConstruct(TavAtomicInteger* x, TavInt value);
TAV_API TavInt TavAtomicIntegerGetValue(const TavAtomicInteger* x);
TAV_API void TavAtomicIntegerIncrement(TavAtomicInteger* x);
/* True when the new value is zero. */
TAV_API TavBool TavAtomicIntegerDecrement(TavAtomicInteger* x);
/* Stores desired when the value is expected, in one atomic step; true when it
 * did. */
TAV_API TavBool TavAtomicIntegerCompareAndExchange(TavAtomicInteger* x, TavInt expected,
                                                   TavInt desired);
/* Adds one only while the value is above zero; reports whether it added. */
TAV_API TavBool TavAtomicIntegerIncrementConditional(TavAtomicInteger* x);

TAV_EXTERN_C_END

#endif
