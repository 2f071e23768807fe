#pragma once

namespace zumra::settings::server {

class SettingsManager;
class SerializationManager;

/// What a connection's handler works on; owns neither.
struct ServerEnv {
    SettingsManager* settingsManager = nullptr;
    SerializationManager* serializationManager = nullptr;
};

}  // namespace zumra::settings::server
