/* Compiled as C11: keeps the public headers honest for C callers. */
#include "Os/TavProperties.h"

#include <stdio.h>

int main(void) {
    TavString s;
    TavPropertyValue v;
    if (TavStringConstructCStr(&s, "from C", TavAllocatorGetDefault()) == NULL) return 1;
    TavPropertyValueConstructInt(&v, 42, TAV_TRUE);
    int ok = TavPropertyValueGetInt(&v) != NULL && *TavPropertyValueGetInt(&v) == 42 &&
             TavStringSize(&s) == 6;
    TavPropertyValueDestruct(&v);
    TavStringDestruct(&s);
    puts(ok ? "ok" : "failed");
    return ok ? 0 : 1;
}
