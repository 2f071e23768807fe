#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// Where the server is when nobody says: `ZumraSettingsClient::DefaultSocketPath`.
[[nodiscard]] std::string DefaultSocket();

/// A client of the server on that socket. Throws `NoServer` when none answers; when it goes away later, the
/// client connects again by itself, and its operations wait for no server that is not there. A server that
/// owes an answer and says nothing for `silence` has gone away.
[[nodiscard]] std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket,
                                                                     std::chrono::milliseconds silence);

/// Asks the server on that socket for one of its reports. Throws `NoServer`, also when the server says
/// nothing for `silence`, and `zumra::osa::Exception` with the server's reason when it refuses.
[[nodiscard]] core::IniFile AskReport(const std::string& socket, const std::string& name,
                                      std::chrono::milliseconds silence);

}  // namespace zumra::cli
