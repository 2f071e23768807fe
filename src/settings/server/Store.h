#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "settings/server/GroupDifference.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::server {

using common::GroupMap;
using common::SharedGroup;

using KeptDifferences = std::map<std::string, KeptDifference, std::less<>>;

/// One commit, prepared: everything that can fail has been done when it is complete, and `Store::Apply` only
/// exchanges what is here with what is there. What the store held before stays in here, to be released
/// outside the lock. Refers to the groups of the store that it was made for, which must not change
/// until it is applied.
struct Edition {
    /// A step on a group that exists.
    struct Step {
        GroupMap::iterator at;
        /// Put in place of the group's handle, when it holds a group.
        SharedGroup replacement = SharedGroup();
        /// Values to be put into the group itself, which nobody else holds; and one to be taken out of it.
        SharedGroup::Group values = {};
        const std::string* removedValue = nullptr;
    };

    std::vector<Step> steps;
    GroupMap added;
    std::vector<GroupMap::iterator> erasures;
    /// What was at `erasures`, when it is applied.
    GroupMap erased;
    /// New defaults, with what is then kept, when they are to be replaced.
    std::optional<GroupMap> defaults;
    std::optional<KeptDifferences> kept;
    /// What is to be kept no longer.
    std::vector<KeptDifferences::iterator> forgotten;
    /// The names that a save has to look at.
    std::set<std::string> unsaved;

    [[nodiscard]] bool empty() const noexcept {
        return steps.empty() && added.empty() && erasures.empty() && !defaults && forgotten.empty();
    }

    /// Calls `visit(name)` for every group that the commit changes.
    template <class Visit>
    void ForEachName(Visit visit) const {
        for (const Step& step : steps) {
            visit(step.at->first);
        }
        for (const auto& group : added) {
            visit(group.first);
        }
        for (const GroupMap::iterator at : erasures) {
            visit(at->first);
        }
    }
};

/// The state of the store: what the groups are and what they are by default. Groups that are as by default
/// share their values with the defaults. Not thread-safe.
class Store {
public:
    Store() = default;
    /// What differs like this from these defaults.
    Store(GroupMap defaults, GroupDifferences&& differences);

    [[nodiscard]] GroupMap& Groups() noexcept { return _groups; }
    [[nodiscard]] const GroupMap& Groups() const noexcept { return _groups; }
    [[nodiscard]] const GroupMap& Defaults() const noexcept { return _defaults; }
    [[nodiscard]] KeptDifferences& Kept() noexcept { return _kept; }
    [[nodiscard]] std::uint64_t Revision() const noexcept { return _revision; }

    /// Null when there is none.
    [[nodiscard]] const std::string* FindValue(std::string_view group, std::string_view name) const;
    [[nodiscard]] SharedGroup FindGroup(std::string_view group) const;
    [[nodiscard]] SharedGroup FindDefault(std::string_view group) const;
    [[nodiscard]] KeptDifference FindKept(std::string_view group) const;

    /// Takes the next step. Every byte of memory that it needs is in the edition.
    void Apply(Edition& edition) noexcept;
    /// As `Apply` for the one value at `slot`, of a group that nobody else holds; `value` becomes what it
    /// was.
    void Exchange(std::string& slot, std::string& value) noexcept;

private:
    GroupMap _groups;
    GroupMap _defaults;
    KeptDifferences _kept;
    std::uint64_t _revision = 0;
};

/// A document's groups as shared groups.
[[nodiscard]] GroupMap ToGroups(const core::IniFile& document);

}  // namespace zumra::settings::server
