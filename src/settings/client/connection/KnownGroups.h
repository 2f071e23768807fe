#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "settings/client/connection/SubscribedEntries.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::client {

/// What a client was last told of the groups that it is subscribed to, so that after a time without
/// connection it can be told what differs from that.
///
/// Thread-safety: every operation may be called from any thread.
class KnownGroups {
public:
    using Matcher = common::GroupNameMatcher;

    /// The memory that `Take` needs for a change.
    [[nodiscard]] common::GroupMap MakeRoom(const common::Change& change) const;
    /// Requires that `room` was made for this change, and that no other was taken since.
    void Take(const common::Change& change, common::GroupMap room) noexcept;
    /// The groups that `scope` selects as they are, read after they were subscribed to: `current` has no
    /// others. When it throws, nothing changed.
    void Replace(const Matcher& scope, const common::GroupMap& current);
    /// Forgets the groups that `gone` selects, but for those that somebody wants all the same. When it
    /// throws, nothing changed.
    void Forget(const Matcher& gone, const SubscribedEntries& wanted);
    /// Forgets everything that `wanted` does not select.
    void KeepOnly(const Matcher& wanted);
    /// About what the groups that match take as text, in bytes.
    [[nodiscard]] std::size_t SizeOf(const Matcher& groups) const;
    [[nodiscard]] static std::size_t TextSize(const std::string& name, const common::SharedGroup& group);
    /// From what is known to `current`, which is all that there is now.
    [[nodiscard]] common::Change DifferenceTo(const common::GroupMap& current) const;

private:
    using Places = std::vector<common::GroupMap::iterator>;
    [[nodiscard]] Places Find(const Matcher& scope, const SubscribedEntries& butFor) ZUMRA_REQUIRES(_mutex);
    void Erase(const Places& places) noexcept ZUMRA_REQUIRES(_mutex);

    mutable osa::Mutex _mutex{"known groups"};
    common::GroupMap _groups ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
