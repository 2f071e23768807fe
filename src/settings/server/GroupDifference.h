#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::server {

/// How one group differs from what it is by default: what was set and what was removed.
struct GroupDifference {
    /// The defaults hold the group and the store does not.
    bool removed = false;
    /// `values` are new or changed ones. With `present` the group exists whatever the defaults hold.
    bool present = false;
    common::SharedGroup::Group values = {};
    /// Values that the default group holds and the group in the store does not.
    std::set<std::string> removedValues = {};

    friend bool operator==(const GroupDifference&, const GroupDifference&) = default;
};

/// By the names of groups.
using GroupDifferences = std::map<std::string, GroupDifference, std::less<>>;

/// Differences that comparing does not show, because defaults changed after they came about: a value was set
/// to what is now its default, or something was removed that the defaults no longer hold. They count as long
/// as the store does not contradict them, so that a later default does not undo what someone did.
using KeptDifference = std::shared_ptr<const GroupDifference>;

/// A handle without a group stands for a group that does not exist; `kept` may be null.
[[nodiscard]] GroupDifference DifferenceOf(const common::SharedGroup& current,
                                           const common::SharedGroup& byDefault, const KeptDifference& kept);
/// The group that differs like this from `byDefault`, which need not be what the difference was taken from:
/// what the difference does not speak of is as by default.
[[nodiscard]] common::SharedGroup GroupWith(const GroupDifference& difference,
                                            const common::SharedGroup& byDefault);

}  // namespace zumra::settings::server
