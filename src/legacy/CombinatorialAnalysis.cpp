// The sampler is a header-only template; the library carries the two instantiations its
// own classes use, so hosts link to them instead of compiling their own.
#include "olhs/CombinatorialAnalysis.h"

template class CombinatorialAnalysis<double>;
template class CombinatorialAnalysis<int>;
