#pragma once

#include <memory>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {
class SettingsManager;
struct ServerEnv;
}  // namespace zumra::settings::server

namespace zumra::settings::client {

/// The server's objects of one in-process store. Any thread may use it.
class InProcessStore {
public:
    /// A store of its own, which saves nothing.
    explicit InProcessStore(const core::IniFile& defaults);
    /// Another's store, which must live longer.
    explicit InProcessStore(server::SettingsManager& manager);
    ~InProcessStore();
    InProcessStore(const InProcessStore&) = delete;
    InProcessStore& operator=(const InProcessStore&) = delete;

    [[nodiscard]] server::SettingsManager& Manager() const noexcept;
    [[nodiscard]] const server::ServerEnv& Env() const noexcept;

private:
    struct Parts;
    std::unique_ptr<Parts> _parts;
};

}  // namespace zumra::settings::client
