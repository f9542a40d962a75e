// Registration of a bag's listeners and the dispatch that every change of an
// entry goes through.
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"

namespace {

using Listeners = TavVector_TavPropertyListener;

bool Matches(const TavPropertyListener* l, TavPropertyListenerTrigger trigger,
             const TavString* name) {
    return l->trigger == trigger && (l->all || TavStringEqual(&l->name, name));
}

// A snapshot of the listener list, so that callbacks may add or remove
// listeners (the change then counts from the next event on) and so that the
// bag's lock need not be held while walking it when the caller doesn't hold
// it already. An empty list is not copied: with no listeners an event costs
// no allocation.
class Snapshot {
public:
    explicit Snapshot(TavProperties* x) {
        const tav::LockUnlessHeld lock(x);
        made_ = !TavVector_TavPropertyListenerEmpty(&x->listeners) &&
                TavVector_TavPropertyListenerConstructCopy(&copy_, &x->listeners) != nullptr;
    }
    ~Snapshot() {
        if (made_) TavVector_TavPropertyListenerDestruct(&copy_);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    const TavPropertyListener* begin() const { return made_ ? copy_.begin : nullptr; }
    const TavPropertyListener* end() const { return made_ ? copy_.end : nullptr; }

private:
    Listeners copy_;
    bool made_;
};

}  // namespace

// When the snapshot can't be made for lack of memory no listener is called
// for this event: walking the bag's own vector instead would hand callbacks
// records that a callback adding or removing listeners can move or destroy
// under the walk. The change itself goes ahead; callers can't tell either way.
bool tav::NotifyListeners(TavProperties* x, TavPropertyListenerTrigger trigger,
                          const TavString* name, const TavPropertyValue* oldValue,
                          const TavPropertyValue* newValue, const EntryGuard& guard) {
    const Snapshot snapshot(x);
    bool called = false;
    for (const TavPropertyListener& l : snapshot) {
        if (!Matches(&l, trigger, name)) continue;
        l.cb(&l, x, name, oldValue, newValue);
        called = true;
        if (!guard.Holds()) break;
    }
    return called;
}

void TavPropertiesExecuteListeners(TavProperties* x, TavPropertyListenerTrigger trigger,
                                   const TavString* name, const TavPropertyValue* oldValue,
                                   const TavPropertyValue* newValue) {
    tav::NotifyListeners(x, trigger, name, oldValue, newValue, tav::EntryGuard{nullptr, nullptr});
}

extern "C" {

TavBool TavPropertiesAddListener(TavProperties* x, TavPropertyListener* l) {
    tav::LockGuard lock(x);
    return TavVector_TavPropertyListenerPushBack(&x->listeners, l);
}

// Erasing shifts the later listeners by assignment, which copies names and
// can fail; the vector's failure is passed on as false.
TavBool TavPropertiesRemoveListener(TavProperties* x, TavPropertyListener* l) {
    tav::LockGuard lock(x);
    for (TavPropertyListener* e = x->listeners.begin; e != x->listeners.end; ++e) {
        if (TavPropertyListenerEqual(l, e)) {
            return !TavVector_TavPropertyListenerIteratorIsExceptional(
                TavVector_TavPropertyListenerErase(&x->listeners, e));
        }
    }
    return TAV_FALSE;
}

}  // extern "C"
