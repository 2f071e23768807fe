#pragma once

#include <memory>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// Where the server is when nobody says: `ZumraSettingsClient::DefaultSocketPath`.
[[nodiscard]] std::string DefaultSocket();

/// A client of the server on that socket. Throws `NoServer` when none answers; when it goes away later, the
/// client connects again by itself, and its operations wait for no server that is not there.
[[nodiscard]] std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket);

/// Asks the server on that socket for one of its reports. Throws `NoServer`, and `zumra::osa::Exception` with
/// the server's reason when it refuses.
[[nodiscard]] core::IniFile AskReport(const std::string& socket, const std::string& name);

}  // namespace zumra::cli
