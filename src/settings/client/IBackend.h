#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "settings/common/ChangeRouter.h"
#include "zumra/settings/ZumraSettingsClient.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::settings::client {

/// Someone inside the client library who follows groups: first told what they are, then of every change, in
/// commit order, without a gap and without an overlap. Called by whichever thread learns of the change,
/// before the call that caused it returns (when this client caused it); must be quick and must not call the
/// client.
class IFollower : public common::IChangeListener {
public:
    /// What the followed groups are, from which on `OnChange` tells of changes: all that `scope` covers, so
    /// what `scope` covers and `groups` lacks does not exist. May come again (after a connection was lost and
    /// made again, or when patterns were added): it then replaces all that is known.
    virtual void OnSnapshot(const common::GroupMap& groups, const common::GroupNameMatcher& scope) = 0;
};

/// One way of reaching a store. Every operation may be called from any thread; errors are thrown as
/// `zumra::osa::Exception`.
class IBackend {
public:
    using Matcher = common::GroupNameMatcher;
    using Difference = ZumraSettingsClient::Difference;

    virtual ~IBackend() = default;

    /// Copies the groups that match into `target`, each whole.
    virtual void Get(const Matcher& groups, core::IniFile& target) = 0;
    virtual std::optional<std::string> GetValue(const common::SettingLocator& locator) = 0;

    virtual void Merge(const core::IniFile& settings) = 0;
    virtual void SetValue(const common::SettingLocator& locator, const std::string& value) = 0;
    virtual void EraseValue(const common::SettingLocator& locator) = 0;
    virtual void Overwrite(const Matcher& groups, const core::IniFile& settings) = 0;
    virtual void Erase(const Matcher& groups) = 0;
    virtual void Restore(const Matcher& groups) = 0;

    virtual bool TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                              Difference* difference) = 0;
    virtual bool TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                                     const core::IniFile& settings, Difference* difference) = 0;
    virtual bool TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                         const core::IniFile& settings, Difference* difference) = 0;

    virtual void Subscribe(IChangeCallback* callback, const Matcher& groups) = 0;
    virtual void UnSubscribe(IChangeCallback* callback) = 0;
    virtual void SetCallbackErrorHandler(ZumraSettingsClient::CallbackErrorHandler handler) = 0;

    /// `OnSnapshot` has been called when this returns. Following again adds groups and calls it again with
    /// all.
    virtual void Follow(IFollower* follower, const Matcher& groups) = 0;
    /// After this the follower is called no more.
    virtual void Unfollow(IFollower* follower) = 0;

    virtual void Sync() = 0;
    virtual void Flush() = 0;
};

}  // namespace zumra::settings::client
