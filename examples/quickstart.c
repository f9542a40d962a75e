/* Quick start in C: a bag, two values set by path, one read back, the bag as JSON. */
#include <stdio.h>

#include "Os/TavProperties.h"

int main(void) {
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());

    /* A path creates the nested bag "video" on the way; TAV_TRUE: the values stay settable. */
    TavPropertiesSetIntValueCStr(&bag, "video.width", 640, TAV_TRUE);
    TavPropertiesSetIntValueCStr(&bag, "video.height", 480, TAV_TRUE);

    /* Copy the value out while the bag is locked (safe even when other threads write). */
    TavInt width = 0;
    if (!TavPropertiesCopyIntValueCStr(&bag, "video.width", &width)) return 1;
    printf("width %d\n", (int)width);

    /* Standard JSON; NULL options: plain style, one line. */
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    if (TavPropertiesWriteJson(&bag, &json, NULL) == NULL) return 1;
    printf("%s\n", TavStringCStr(&json)); /* {"video":{"height":480,"width":640}} */

    TavStringDestruct(&json);
    TavPropertiesDestruct(&bag);
    return 0;
}
