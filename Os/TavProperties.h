/* The one header a user of the property module includes: the bag, its values,
 * listeners, containers, text forms, and the foundation they rest on. */
#ifndef TAV_OS_TAVPROPERTIES_H
#define TAV_OS_TAVPROPERTIES_H

#include "Os/TavAtomicInteger.h"
#include "Os/TavFile.h"
#include "Os/TavMutex.h"
#include "Os/TavSharedPtr.h"
#include "Utils/TavAllocator.h"
#include "Utils/TavMediaFormat.h"
#include "Utils/TavNumbers.h"
#include "Utils/TavResolution.h"
#include "Utils/TavString.h"
#include "Utils/TavTypes.h"
#include "Utils/TavVector_TavString.h"

#include "Os/TavProperties/TavPropertiesTypes.h"
#include "Os/TavProperties/TavPropertyValue.h"
#include "Os/TavProperties/TavPropertyListener.h"
#include "Os/TavProperties/TavPropertiesVectors.h"
#include "Os/TavProperties/TavPropertiesMap.h"
#include "Os/TavProperties/TavPropertiesBag.h"
#include "Os/TavProperties/TavPropertiesPaths.h"
#include "Os/TavProperties/TavPropertiesText.h"
#include "Os/TavProperties/TavPropertiesJson.h"

#endif
