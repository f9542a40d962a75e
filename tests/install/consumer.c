/* A C11 program of another project, built against an installed copy of the
 * library: reads a bag from the one-line syntax, changes it by path, counts
 * the changes with a listener and prints the headers' version, the count and
 * the bag as JSON (the float goes through the library's C++ number code, so a
 * static link without the C++ runtime would fail here). */
#include "Os/TavProperties.h"
#include "Os/TavPropertiesVersion.h"

#include <stdio.h>

static int changes = 0;

static void countChange(const TavPropertyListener* listener, TavProperties* bag,
                        const TavString* name, const TavPropertyValue* oldValue,
                        const TavPropertyValue* newValue) {
    (void)listener;
    (void)bag;
    (void)name;
    (void)oldValue;
    (void)newValue;
    ++changes;
}

int main(void) {
    TavAllocator* a = TavAllocatorGetDefault();
    TavProperties bag;
    TavPropertyListener listener;
    TavString json;
    int ok;
    if (TavPropertiesConstructDefault(&bag, a) == NULL) return 1;
    TavStringConstructDefault(&json, a);
    ok = TavPropertyListenerConstruct(&listener, TAV_PROPERTYLISTENER_TRIGGER_After, NULL,
                                      countChange, NULL) != NULL &&
         TavPropertiesAddListener(&bag, &listener) &&
         TavPropertiesReadFromString(&bag, "rate=0.5,video{width=640}") &&
         TavPropertiesSetIntValueCStr(&bag, "video.height", 480, TAV_TRUE) &&
         TavPropertiesSetFloat64ValueCStr(&bag, "gain", 1.25, TAV_TRUE) &&
         TavPropertiesWriteJson(&bag, &json, NULL) != NULL;
    if (ok) printf("%s %d %s\n", TAV_PROPERTIES_VERSION, changes, TavStringCStr(&json));
    TavPropertyListenerDestruct(&listener);
    TavStringDestruct(&json);
    TavPropertiesDestruct(&bag);
    return ok ? 0 : 1;
}
