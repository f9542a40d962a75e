/* Single-entry operations of the bag shared by the bag, paths, accessors,
 * merge and the text forms. Those ending in an underscore expect the caller
 * to hold the bag's lock. Not exported. */
#ifndef TAV_OS_TAVPROPERTIES_BAG_TAVPROPERTIESINTERNAL_H
#define TAV_OS_TAVPROPERTIES_BAG_TAVPROPERTIESINTERNAL_H

#include "Os/TavProperties.h"

TavPropertyValue* TavPropertiesGetProperty_(TavProperties* x, const TavString* name);
const TavPropertyValue* TavPropertiesGetPropertyConst_(const TavProperties* x,
                                                       const TavString* name);
TavBool TavPropertiesInsertProperty_(TavProperties* x, const TavString* name,
                                     const TavPropertyValue* v);
TavBool TavPropertiesAssignProperty_(TavProperties* x, const TavString* name,
                                     TavPropertyValue* curValue, const TavPropertyValue* newVal);
TavBool TavPropertiesSetProperty_(TavProperties* x, const TavString* name,
                                  const TavPropertyValue* v);
TavBool TavPropertiesRemoveProperty_(TavProperties* x, const TavString* name);

/* Calls the listeners of x matching trigger and name on a fresh snapshot of
 * the listener list; takes x's lock only while making the snapshot. */
void TavPropertiesExecuteListeners(TavProperties* x, TavPropertyListenerTrigger trigger,
                                   const TavString* name, const TavPropertyValue* oldValue,
                                   const TavPropertyValue* newValue);

#endif
