#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "settings/client/connection/FileDescriptor.h"
#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

/// Connects to a Unix stream socket without waiting for a server that does not accept. Throws
/// `zumra::osa::Exception` "no server at '<path>': <reason>".
[[nodiscard]] FileDescriptor OpenSocket(const std::string& path);

/// The same as a stream. A peer that takes or says nothing for `silence` while it is waited for counts as
/// gone.
[[nodiscard]] std::unique_ptr<IByteStream> ConnectToSocket(const std::string& path,
                                                           std::chrono::milliseconds silence);

}  // namespace zumra::settings::client
