// The vector family over strings. The algorithms are shared with the
// other vectors (Utils/detail/TavVectorImpl.hpp).
#include "Utils/TavVector_TavString.h"

#include "Utils/detail/TavVectorImpl.hpp"

namespace {

using StringOps = tav::RecordOps<TavString, &TavStringConstructCopy, &TavStringDestruct,
                                 &TavStringAssign, &TavStringEqual>;

}  // namespace

TAV_VECTOR_DEFINE(TavVector_TavString, TavString, StringOps)
TAV_VECTOR_DEFINE_EQUAL(TavVector_TavString)
