/* JSON both ways: the typed style keeps every kind and width, the plain style is what other
 * tools read and write; a refused text says where and why, and leaves the bag untouched. */
#include <stdio.h>
#include <string.h>

#include "Os/TavProperties.h"

int main(void) {
    TavAllocator* a = TavAllocatorGetDefault();
    TavProperties bag, back;
    TavPropertiesConstructDefault(&bag, a);
    TavPropertiesConstructDefault(&back, a);
    TavPropertiesSetUint16ValueCStr(&bag, "audio.channels", 2, TAV_TRUE);
    TavPropertiesSetFloat32ValueCStr(&bag, "video.rate", 29.97f, TAV_TRUE);
    TavPropertiesSetStringCStrValueCStr(&bag, "name", "cam \"A\"", TAV_TRUE);

    /* Zero the options record, then set the fields you use. */
    TavJsonOptions typed;
    memset(&typed, 0, sizeof typed);
    typed.style = TAV_JSON_TYPED;
    typed.indent = 2;
    TavString text;
    TavStringConstructDefault(&text, a);
    if (TavPropertiesWriteJson(&bag, &text, &typed) == NULL) return 1;
    printf("%s\n", TavStringCStr(&text));

    /* Read back: the same kinds (a Uint16 stays a Uint16), so the bags are equal. */
    TavTextError error;
    int ok = TavPropertiesReadJson(&back, TavStringCStr(&text), TavStringSize(&text), &typed,
                                   &error) &&
             TavPropertiesEqual(&back, &bag);

    /* A malformed text: false, the bag unchanged, the error gives the place. */
    const char* bad = "{\"gain\": 1,\n \"mute\": tru}";
    if (!TavPropertiesReadJson(&back, bad, strlen(bad), NULL, &error))
        printf("refused at line %zu, column %zu: %s\n", (size_t)error.line,
               (size_t)error.column, error.message);
    else
        ok = 0;
    ok = ok && TavPropertiesGetPropertyCStrConst(&back, "gain") == NULL;

    TavStringDestruct(&text);
    TavPropertiesDestruct(&back);
    TavPropertiesDestruct(&bag);
    return ok ? 0 : 1;
}
