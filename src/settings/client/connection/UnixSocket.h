#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

/// Connects to a Unix stream socket without waiting for a server that does not accept. A peer that takes or
/// says nothing for `silence` while it is waited for counts as gone. Throws `zumra::osa::Exception` "no
/// server at '<path>': <reason>".
[[nodiscard]] std::unique_ptr<IByteStream> ConnectToSocket(const std::string& path,
                                                           std::chrono::milliseconds silence);

}  // namespace zumra::settings::client
