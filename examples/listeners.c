/* Listeners: a callback called before and after each change of an entry. */
#include <stdio.h>

#include "Os/TavProperties.h"

/* Called with the bag locked, on the thread that makes the change. oldValue and newValue
 * may be NULL (an entry added has no old value; a removed one has no new value). */
static void OnChange(const TavPropertyListener* listener, TavProperties* bag,
                     const TavString* name, const TavPropertyValue* oldValue,
                     const TavPropertyValue* newValue) {
    int* calls = (int*)TavPropertyListenerGetData(listener); /* the pointer given at construction */
    const TavInt* now = newValue ? TavPropertyValueGetInt(newValue) : NULL;
    char text[16] = "removed";
    if (now) snprintf(text, sizeof text, "%d", (int)*now);
    (void)bag;
    ++*calls;
    printf("%s %s: %s -> %s\n",
           TavPropertyListenerGetTrigger(listener) == TAV_PROPERTYLISTENER_TRIGGER_Before
               ? "before" : "after",
           TavStringCStr(name), oldValue ? "had a value" : "new", text);
}

int main(void) {
    TavAllocator* a = TavAllocatorGetDefault();
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, a);

    /* One listener for the entry "gain" after each change, one for every entry (NULL name)
     * before each change. The bag keeps copies of the records: ours can go at once. */
    int calls = 0;
    TavPropertyListener gain, all;
    TavPropertyListenerConstructCStr(&gain, TAV_PROPERTYLISTENER_TRIGGER_After, "gain", OnChange,
                                     &calls, a);
    TavPropertyListenerConstructCStr(&all, TAV_PROPERTYLISTENER_TRIGGER_Before, NULL, OnChange,
                                     &calls, a);
    TavPropertiesAddListener(&bag, &gain);
    TavPropertiesAddListener(&bag, &all);

    TavPropertiesSetIntValueCStr(&bag, "gain", 3, TAV_TRUE);  /* before + after */
    TavPropertiesSetIntValueCStr(&bag, "gain", 4, TAV_TRUE);  /* before + after */
    TavPropertiesSetIntValueCStr(&bag, "other", 1, TAV_TRUE); /* before only */

    /* A listener is removed by an equal record: same trigger, callback, data and name. */
    TavPropertiesRemoveListener(&bag, &gain);
    TavPropertiesSetIntValueCStr(&bag, "gain", 5, TAV_TRUE);  /* before only */
    TavPropertyListenerDestruct(&gain);
    TavPropertyListenerDestruct(&all);

    TavPropertiesDestruct(&bag); /* "all" hears each entry removed: 2 more calls */
    printf("%d calls\n", calls);
    return calls == 8 ? 0 : 1;
}
