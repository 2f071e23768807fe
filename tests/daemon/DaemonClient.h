#pragma once

/// The client of a check that is run against a daemon.

#include <string>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::tests {

/// A daemon with an empty store in memory, or one that holds defaults, and its socket.
class OwnDaemon {
protected:
    explicit OwnDaemon(const core::IniFile& defaults);

    [[nodiscard]] std::string Socket() const { return _folder.File("socket"); }

private:
    const test::TemporaryDirectory _folder;
    settingsd::DaemonProcess _daemon;
};

/// Its only client. Whatever mode a check asks for, it is `kRemote`.
class DaemonClient : private OwnDaemon, public settings::ZumraSettingsClient {
public:
    explicit DaemonClient(OperationMode mode, const core::IniFile& defaults = {});

    /// Returns when the callbacks have returned that this makes due, as it does in process, where checks that
    /// make a client of this type themselves are at home.
    void SetValue(const std::string& locator, const std::string& value);
};

}  // namespace zumra::tests
