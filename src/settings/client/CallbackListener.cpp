#include "settings/client/CallbackListener.h"

#include <set>
#include <string>
#include <utility>

namespace zumra::settings::client {

CallbackListener::CallbackListener(IChangeCallback* callback, std::shared_ptr<CallbackErrors> errors)
    : _callback(callback), _errors(std::move(errors)) {}

void CallbackListener::OnChange(const std::shared_ptr<const common::Change>& change,
                                const common::CoveredNames& covered) {
    const auto self = shared_from_this();
    try {
        std::set<std::string> changed;
        core::IniFile data;
        for (const std::string* name : covered) {
            changed.insert(changed.end(), *name);
            if (const common::SharedGroup& group = change->groups.at(*name)) {
                data.SetGroup(*name, *group);
            }
        }
        _callback->SettingsChanged(changed, data);
    } catch (...) {
        _errors->Report(std::current_exception());
    }
}

}  // namespace zumra::settings::client
