/* The listener record: a caller's callback that a bag calls before or after
 * each change of an entry, either for one entry name or, when made without a
 * name, for every entry (the name field is then never constructed). */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTYLISTENER_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTYLISTENER_H

#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

/* A null name makes an all-names listener. Returns x, or NULL when the name
 * cannot be copied (x then holds nothing). */
TAV_API TavPropertyListener* TavPropertyListenerConstruct(TavPropertyListener* x,
                                                          TavPropertyListenerTrigger trigger,
                                                          const TavString* name,
                                                          TavPropertyListenerCallback cb,
                                                          TavVoidPtr data);
/* As above with a zero-terminated name built with allocator a. */
TAV_API TavPropertyListener* TavPropertyListenerConstructCStr(TavPropertyListener* x,
                                                              TavPropertyListenerTrigger trigger,
                                                              const char* name,
                                                              TavPropertyListenerCallback cb,
                                                              TavVoidPtr data, TavAllocator* a);
TAV_API TavPropertyListener* TavPropertyListenerConstructCopy(TavPropertyListener* x,
                                                              const TavPropertyListener* y);
TAV_API void TavPropertyListenerDestruct(TavPropertyListener* x);
/* Returns x, or NULL when the name cannot be copied. */
TAV_API TavPropertyListener* TavPropertyListenerAssign(TavPropertyListener* x,
                                                       const TavPropertyListener* y);
TAV_API TavBool TavPropertyListenerEqual(const TavPropertyListener* x,
                                         const TavPropertyListener* y);
TAV_API TavPropertyListenerTrigger TavPropertyListenerGetTrigger(const TavPropertyListener* x);
/* NULL for an all-names listener. */
TAV_API const TavString* TavPropertyListenerGetName(const TavPropertyListener* x);
TAV_API TavVoidPtr TavPropertyListenerGetData(const TavPropertyListener* x);

TAV_EXTERN_C_END

#endif
