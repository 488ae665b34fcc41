#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// The candidate that `word` was most likely meant to be: the one that the fewest letters put in, left out, exchanged
/// or swapped with their neighbour make of it, a third of them at most; empty when none is that near.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace zqm
