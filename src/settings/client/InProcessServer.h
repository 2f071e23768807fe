#pragma once

#include <memory>

#include "settings/client/IBackend.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::client {

class InProcessStore;

/// A settings store inside this program, and the ways to reach it. What it makes shares the store, which
/// lives as long as any of them. Any thread may use it.
class InProcessServer {
public:
    explicit InProcessServer(const core::IniFile& defaults = {});
    ~InProcessServer();

    /// One more way to the store. Throws "unknown operation mode <number>", and what the system refused.
    [[nodiscard]] std::unique_ptr<IBackend> Connect(ZumraSettingsClient::OperationMode mode) const;

private:
    std::shared_ptr<InProcessStore> _store;
};

}  // namespace zumra::settings::client
