#pragma once

#include <memory>

#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::server {
struct Identity;
}

namespace zumra::settings::client {

class InProcessStore;

/// A connection to a store of this program whose server's end is run by the calling threads, within their
/// calls. On whose behalf it is (`who`; null: the program itself) says what it may read and write. Throws
/// `zumra::osa::Exception` for what the system refused.
[[nodiscard]] std::unique_ptr<IByteStream> MakeInProcessPump(
    std::shared_ptr<InProcessStore> store, std::shared_ptr<const server::Identity> who = nullptr);

}  // namespace zumra::settings::client
