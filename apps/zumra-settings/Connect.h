#pragma once

#include <memory>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// Where the server is when nobody says: `$ZUMRA_SETTINGS_SOCKET`; otherwise the user's own
/// (`zumra/settings.sock` below `$XDG_RUNTIME_DIR`) when there is one; otherwise `/run/zumra/settings.sock`.
[[nodiscard]] std::string DefaultSocket();

/// A client of the server on that socket. Throws `NoServer`.
[[nodiscard]] std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket);

/// Asks the server on that socket for one of its reports. Throws `NoServer`, and `zumra::osa::Exception` with
/// the server's reason when it refuses.
[[nodiscard]] core::IniFile AskReport(const std::string& socket, const std::string& name);

}  // namespace zumra::cli
