#include "settings/client/InProcessStore.h"

#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/ServerEnv.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::client {

struct InProcessStore::Parts {
    explicit Parts(const core::IniFile& defaults)
        : own(std::make_unique<server::SettingsManager>(defaults)), manager(*own) {}
    explicit Parts(server::SettingsManager& another) : manager(another) {}

    const std::unique_ptr<server::SettingsManager> own;
    server::SettingsManager& manager;
    server::SerializationManager serialization;
    server::ServerEnv env{&manager, &serialization};
};

InProcessStore::InProcessStore(const core::IniFile& defaults) : _parts(std::make_unique<Parts>(defaults)) {}

InProcessStore::InProcessStore(server::SettingsManager& manager) : _parts(std::make_unique<Parts>(manager)) {}

InProcessStore::~InProcessStore() = default;

server::SettingsManager& InProcessStore::Manager() const noexcept {
    return _parts->manager;
}

const server::ServerEnv& InProcessStore::Env() const noexcept {
    return _parts->env;
}

}  // namespace zumra::settings::client
