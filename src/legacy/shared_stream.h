#ifndef OLHS_SRC_SHARED_STREAM_H
#define OLHS_SRC_SHARED_STREAM_H

#include "engine/random_stream.h"

namespace olhs {
namespace detail {

/// The one stream every CRand of the process draws from, which the search continues too.
engine::RandomStream& sharedStream();

} // namespace detail
} // namespace olhs

#endif
