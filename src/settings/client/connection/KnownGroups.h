#pragma once

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

    void Take(const common::Change& change);
    /// The groups that `scope` selects as they are, read after they were subscribed to.
    void Replace(const Matcher& scope, const common::GroupMap& current);
    /// Forgets the groups that `gone` selects, but for those that somebody wants all the same.
    void Forget(const Matcher& gone, const SubscribedEntries& wanted);
    /// Forgets everything that `wanted` does not select.
    void KeepOnly(const Matcher& wanted);
    /// From what is known to `current`, which is all that there is now.
    [[nodiscard]] common::Change DifferenceTo(const common::GroupMap& current) const;

private:
    mutable osa::Mutex _mutex{"known groups"};
    common::GroupMap _groups ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
