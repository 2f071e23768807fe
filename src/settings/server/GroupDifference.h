#pragma once

#include <set>
#include <string>

#include "settings/server/Store.h"

namespace zumra::settings::server {

/// How one group differs from what it is by default.
struct GroupDifference {
    /// The defaults hold the group and the store does not.
    bool removed = false;
    /// `values` are new or changed ones. With `present` the group exists whatever the defaults hold.
    bool present = false;
    SharedGroup::Group values = {};
    /// Values that the default group holds and the group in the store does not.
    std::set<std::string> removedValues = {};
};

/// A handle without a group stands for a group that does not exist.
[[nodiscard]] GroupDifference DifferenceOf(const SharedGroup& current, const SharedGroup& byDefault);
/// The group that differs like this from `byDefault`, which need not be what the difference was taken from:
/// what the difference does not speak of is as by default.
[[nodiscard]] SharedGroup Apply(const GroupDifference& difference, const SharedGroup& byDefault);

}  // namespace zumra::settings::server
