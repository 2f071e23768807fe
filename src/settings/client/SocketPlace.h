#pragma once

#include <string>

namespace zumra::settings::client {

/// Where the server of all users listens.
inline constexpr const char* kSystemSocketPath = "/run/zumra/settings.sock";

/// Where this user's own server listens when nobody says: as root `kSystemSocketPath`; otherwise
/// `zumra/settings.sock` below `$XDG_RUNTIME_DIR`, or below `/run/user/<uid>` when the variable is not set to
/// an absolute path, or in `TemporarySocketFolder` when that folder is not there.
[[nodiscard]] std::string OwnSocketPath();

/// `/tmp/zumra-<uid>`. Anybody may make folders there: see `IsPrivateFolder`.
[[nodiscard]] std::string TemporarySocketFolder();

/// Whether it is a folder of this user that nobody else may write to; a symbolic link is not.
[[nodiscard]] bool IsPrivateFolder(const std::string& folder);

/// Where a client looks for a server. The environment is read once, by the constructor; which of the files
/// are there is looked up each time, since a user's own server may start later than its clients.
class SocketPlace {
public:
    /// `named`: the path that the program names; empty when it names none. Then `$ZUMRA_SETTINGS_SOCKET`
    /// counts.
    explicit SocketPlace(std::string named = {});

    /// The named path; otherwise the own server's, when there is such a file; otherwise the system's.
    [[nodiscard]] std::string Find() const;

private:
    std::string _named;
    std::string _own;
};

}  // namespace zumra::settings::client
