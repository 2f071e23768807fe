#pragma once

#include <string>

namespace zumra::settingsd {

/// As root `/run/zumra/settings.sock`; otherwise `zumra/settings.sock` below `$XDG_RUNTIME_DIR`, or below
/// `/run/user/<uid>` when the variable is not set, or `/tmp/zumra-<uid>/settings.sock` when that folder is
/// not there.
[[nodiscard]] std::string DefaultSocketPath();

/// As root `ini:/var/lib/zumra/settings.ini`; otherwise `zumra/settings.ini` below `$XDG_STATE_HOME`, or
/// below
/// `~/.local/state` when the variable is not set.
[[nodiscard]] std::string DefaultStoreUri();

/// As root `/etc/zumra/settingsd.conf`; otherwise `zumra/settingsd.conf` below `$XDG_CONFIG_HOME`, or below
/// `~/.config`. It need not exist.
[[nodiscard]] std::string DefaultConfigPath();

/// Makes the folder of `path`, and those above it, for its owner alone (mode 0755 as root, so that everybody
/// can reach the socket) where they are missing. Throws `zumra::osa::Exception` "cannot make folder '<name>':
/// <reason>", also when the folder below `/tmp` belongs to somebody else.
void MakeFolderOf(const std::string& path);

/// Makes nothing; throws `zumra::osa::Exception` when the folder of `path`, or the nearest above it that is
/// there, is none to make files in.
void CheckFolderOf(const std::string& path);

}  // namespace zumra::settingsd
