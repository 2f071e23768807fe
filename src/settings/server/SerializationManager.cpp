#include "zumra/settings/server/SerializationManager.h"

#include "zumra/settings/server/IniSettingsSerializer.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"

namespace zumra::settings::server {

struct SerializationManager::State {
    IniSettingsSerializer ini;
    PhpArraySettingsSerializer phparray;
};

SerializationManager::SerializationManager() : _state(std::make_unique<State>()) {}

SerializationManager::~SerializationManager() = default;

ISettingsSerializer* SerializationManager::Find(std::string_view name) const {
    if (name == "ini") {
        return &_state->ini;
    }
    return name == "phparray" ? &_state->phparray : nullptr;
}

std::vector<std::string_view> SerializationManager::Names() const {
    return {"ini", "phparray"};
}

}  // namespace zumra::settings::server
