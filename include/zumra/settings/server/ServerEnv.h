#pragma once

namespace zumra::settings::server {

class SettingsManager;
class SerializationManager;

/// What connections work on: one store, and the text forms that a connection may choose. Owns neither; both
/// must outlive every connection that uses them. Any number of connections on any threads may share one.
///
///     server::ServerEnv env{&settings, &serialization};
struct ServerEnv {
    /// Must not be null.
    SettingsManager* settingsManager = nullptr;
    /// Null: all forms that the library knows.
    SerializationManager* serializationManager = nullptr;
};

}  // namespace zumra::settings::server
