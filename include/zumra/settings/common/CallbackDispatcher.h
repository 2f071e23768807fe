#pragma once

#include <memory>
#include <set>
#include <string>

#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::common {

/// The table of change subscribers: tells each subscriber, once a change, which of the groups that it asked
/// for changed.
class ZUMRA_EXPORT CallbackDispatcher {
public:
    CallbackDispatcher();
    ~CallbackDispatcher();
    CallbackDispatcher(const CallbackDispatcher&) = delete;
    CallbackDispatcher& operator=(const CallbackDispatcher&) = delete;

    void AddCallback(IChangeCallback* callback, const std::set<std::string>& namesAndPatterns);
    void AddCallback(IChangeCallback* callback, const GroupNameMatcher& groups);
    void RemoveCallback(IChangeCallback* callback);

    void OnChange(const core::IniFile& changed) const;
    void OnChange(const std::set<std::string>& changedGroups, const core::IniFile& data) const;

    void GetAllSubscribedGroups(std::set<std::string>& namesAndPatterns) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::common
