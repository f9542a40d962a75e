// A C++11 program of another project, built against an installed copy of the
// library: the C++ twin of consumer.c (it reads JSON instead of the one-line
// syntax), printing the same line.
#include "Os/TavProperties.h"
#include "Os/TavPropertiesVersion.h"

#include <cstring>
#include <iostream>
#include <string>

int main() {
    TavAllocator* a = TavAllocatorGetDefault();
    TavProperties bag;
    if (TavPropertiesConstructDefault(&bag, a) == nullptr) return 1;
    int changes = 0;
    TavPropertyListener listener;
    TavPropertyListenerCallback count = [](const TavPropertyListener* l, TavProperties*,
                                           const TavString*, const TavPropertyValue*,
                                           const TavPropertyValue*) {
        ++*static_cast<int*>(TavPropertyListenerGetData(l));
    };
    const char* text = R"({"rate":0.5,"video":{"width":640}})";
    TavString json;
    TavStringConstructDefault(&json, a);
    bool ok = TavPropertyListenerConstruct(&listener, TAV_PROPERTYLISTENER_TRIGGER_After,
                                           nullptr, count, &changes) != nullptr &&
              TavPropertiesAddListener(&bag, &listener) &&
              TavPropertiesReadJson(&bag, text, std::strlen(text), nullptr, nullptr) &&
              TavPropertiesSetIntValueCStr(&bag, "video.height", 480, TAV_TRUE) &&
              TavPropertiesSetFloat64ValueCStr(&bag, "gain", 1.25, TAV_TRUE) &&
              TavPropertiesWriteJson(&bag, &json, nullptr) != nullptr;
    if (ok) {
        std::cout << TAV_PROPERTIES_VERSION << ' ' << changes << ' '
                  << std::string(TavStringCStr(&json), TavStringSize(&json)) << '\n';
    }
    TavPropertyListenerDestruct(&listener);
    TavStringDestruct(&json);
    TavPropertiesDestruct(&bag);
    return ok ? 0 : 1;
}
