#include "settings/client/CallbackListener.h"

#include <set>
#include <string>
#include <utility>

namespace zumra::settings::client {

CallbackListener::CallbackListener(IChangeCallback* callback, std::shared_ptr<CallbackErrors> errors,
                                   MemoryWait* memory)
    : _callback(callback), _errors(std::move(errors)), _memory(memory) {}

void CallbackListener::OnChange(const std::shared_ptr<const common::Change>& change,
                                const common::CoveredNames& covered) {
    const auto self = shared_from_this();
    MemoryWait::Pauses pauses;
    while (!TryTell(*change, covered, pauses)) {
    }
}

/// False when it has to be tried again.
bool CallbackListener::TryTell(const common::Change& change, const common::CoveredNames& covered,
                               MemoryWait::Pauses& pauses) {
    bool prepared = false;
    try {
        std::set<std::string> changed;
        core::IniFile data;
        for (const std::string* name : covered) {
            changed.insert(changed.end(), *name);
            if (const common::SharedGroup& group = change.groups.at(*name)) {
                data.SetGroup(*name, *group);
            }
        }
        prepared = true;
        _callback->SettingsChanged(changed, data);
    } catch (...) {
        if (!prepared && _memory != nullptr) {
            return !_memory->Pause(pauses, _left);
        }
        _errors->Report(std::current_exception());
    }
    return true;
}

void CallbackListener::Leave() noexcept {
    _left = true;
    if (_memory != nullptr) {
        _memory->Wake();
    }
}

}  // namespace zumra::settings::client
