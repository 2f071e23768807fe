#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::server {

/// Who is at the other end of a connection. Absent numbers are unknown and match no rule.
struct Identity {
    std::optional<std::uint32_t> uid;
    std::set<std::uint32_t> gids;
    std::optional<std::int32_t> pid;
};

/// The groups that only some may read or write.
struct RestrictedGroups {
    /// Everyone, or those whose user id or any of whose group ids is listed.
    struct Users {
        bool everyone = false;
        std::set<std::uint32_t> uids;
        std::set<std::uint32_t> gids;
    };
    struct Rule {
        common::GroupNameMatcher groups;
        Users readers;
        /// Of these, those who are readers, too, may write.
        Users writers;
    };
    /// A group that several rules match may be used by those whom every one of them allows; one that none
    /// matches is everybody's.
    std::vector<Rule> rules;
};

/// Gives the store its restricted groups.
///
/// Thread-safety: the store calls it in its constructor and in its `Reload`, under no lock.
class ZUMRA_EXPORT IRestrictedSettingsLoader {
public:
    virtual ~IRestrictedSettingsLoader();
    /// What this throws comes out of the constructor or of `Reload`.
    virtual RestrictedGroups LoadRestrictedGroups() = 0;
};

}  // namespace zumra::settings::server
