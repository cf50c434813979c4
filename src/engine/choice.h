#ifndef OLHS_ENGINE_CHOICE_H
#define OLHS_ENGINE_CHOICE_H

namespace olhs {
namespace engine {

/// The candidate a search moves to: its place in the candidate list and its phi_p value.
struct Choice {
    int index;
    double value;
};

} // namespace engine
} // namespace olhs

#endif
