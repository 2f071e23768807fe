#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "settings/client/IBackend.h"
#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

struct ConnectionOptions {
    /// Whether there are threads that read notifications while no call does and that call callbacks. Without,
    /// the calling thread does both, within its calls. With them the stream needs a descriptor.
    bool threads = true;
    /// Whether the server's end is of this library, so that it need not be asked what it can do.
    bool ownServer = true;
    /// Bounds the text of one reply or notification, in bytes.
    std::size_t messageLimit = std::size_t{1} << 30;
    /// Bounds the text of the changes that wait for callbacks, in bytes; a single change may be larger.
    std::size_t callbackLimit = std::size_t{256} << 20;
    /// The first pause before a remote server is connected to again.
    std::chrono::milliseconds firstPause{20};
};

/// Reaches a store over the Unix socket of a server that may go away and come again.
[[nodiscard]] std::unique_ptr<IBackend> MakeRemoteBackend(const ZumraSettingsClient::RemoteOptions& remote,
                                                          const ConnectionOptions& options = {});

/// Reaches a store over a byte stream that leads to a server's end of the line protocol.
[[nodiscard]] std::unique_ptr<IBackend> MakeConnectionBackend(std::unique_ptr<IByteStream> stream,
                                                              const ConnectionOptions& options);

}  // namespace zumra::settings::client
