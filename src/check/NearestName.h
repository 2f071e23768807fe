#pragma once

#include <string_view>
#include <vector>

namespace zumra::check {

/// The name that differs from `given` by the fewest inserted, left out or changed letters, large and small
/// ones being equal; the first of several; empty when `names` is.
std::string_view NearestName(std::string_view given, const std::vector<std::string_view>& names);

}  // namespace zumra::check
