#pragma once

#include <set>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings {

/// A subscriber to changes. The one who subscribes owns it and keeps it alive until it is unsubscribed.
class ZUMRA_EXPORT IChangeCallback {
public:
    virtual ~IChangeCallback();

    /// Tells of one change. `changedGroups` are the changed groups that the subscriber asked for; `data`
    /// holds those of them that still exist, whole, as they were right after the change: a group in
    /// `changedGroups` that `data` lacks was removed. Both are valid during the call.
    ///
    /// On which thread it is called, and what it may do meanwhile, is told by what it subscribes to; never
    /// under a lock of the library. It should not throw.
    virtual void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) = 0;
};

}  // namespace zumra::settings
