// The listener record. The `all` flag decides for the record's whole life
// whether `name` is constructed, so every operation looks at it before
// touching the name.
#include "Os/TavProperties.h"

namespace {

// Copies everything but the name.
TavPropertyListener* CopyFields(TavPropertyListener* x, const TavPropertyListener* y) {
    x->all = y->all;
    x->trigger = y->trigger;
    x->cb = y->cb;
    x->data = y->data;
    return x;
}

TavPropertyListener* SetFields(TavPropertyListener* x, TavBool all,
                               TavPropertyListenerTrigger trigger,
                               TavPropertyListenerCallback cb, TavVoidPtr data) {
    x->all = all;
    x->trigger = trigger;
    x->cb = cb;
    x->data = data;
    return x;
}

// Brings x's name in line with y's before the other fields are copied.
bool AssignName(TavPropertyListener* x, const TavPropertyListener* y) {
    if (x->all) return y->all || TavStringConstructCopy(&x->name, &y->name) != nullptr;
    if (!y->all) return TavStringAssign(&x->name, &y->name) != nullptr;
    TavStringDestruct(&x->name);
    return true;
}

}  // namespace

extern "C" {

TavPropertyListener* TavPropertyListenerConstruct(TavPropertyListener* x,
                                                  TavPropertyListenerTrigger trigger,
                                                  const TavString* name,
                                                  TavPropertyListenerCallback cb,
                                                  TavVoidPtr data) {
    if (name != nullptr && TavStringConstructCopy(&x->name, name) == nullptr) return nullptr;
    return SetFields(x, name == nullptr, trigger, cb, data);
}

TavPropertyListener* TavPropertyListenerConstructCStr(TavPropertyListener* x,
                                                      TavPropertyListenerTrigger trigger,
                                                      const char* name,
                                                      TavPropertyListenerCallback cb,
                                                      TavVoidPtr data, TavAllocator* a) {
    if (name != nullptr && TavStringConstructCStr(&x->name, name, a) == nullptr) return nullptr;
    return SetFields(x, name == nullptr, trigger, cb, data);
}

TavPropertyListener* TavPropertyListenerConstructCopy(TavPropertyListener* x,
                                                      const TavPropertyListener* y) {
    if (!y->all && TavStringConstructCopy(&x->name, &y->name) == nullptr) return nullptr;
    return CopyFields(x, y);
}

void TavPropertyListenerDestruct(TavPropertyListener* x) {
    if (!x->all) TavStringDestruct(&x->name);
}

TavPropertyListener* TavPropertyListenerAssign(TavPropertyListener* x,
                                               const TavPropertyListener* y) {
    if (!AssignName(x, y)) return nullptr;
    return CopyFields(x, y);
}

TavBool TavPropertyListenerEqual(const TavPropertyListener* x, const TavPropertyListener* y) {
    if (!x->all != !y->all || x->trigger != y->trigger || x->cb != y->cb || x->data != y->data) {
        return TAV_FALSE;
    }
    return x->all || TavStringEqual(&x->name, &y->name);
}

TavPropertyListenerTrigger TavPropertyListenerGetTrigger(const TavPropertyListener* x) {
    return x->trigger;
}

const TavString* TavPropertyListenerGetName(const TavPropertyListener* x) {
    return x->all ? nullptr : &x->name;
}

TavVoidPtr TavPropertyListenerGetData(const TavPropertyListener* x) { return x->data; }

}  // extern "C"
