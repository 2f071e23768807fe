#pragma once

#include <memory>
#include <optional>
#include <string>

#include "storage/ISettingsStore.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"
#include "zumra/settings/server/ISettingsPersister.h"

namespace zumra::settingsd {

/// Where the default settings come from.
struct DefaultsFiles {
    std::optional<std::string> defaults;
    std::optional<std::string> includeDirectory;
};

/// Joins what the daemon's settings come from: a defaults file, a folder of includes, and the store.
///
/// Every `*.ini` of the include folder is read in byte order of its name and passes the include filter.
/// Reading happens again at every `LoadDefaults`. Errors name the file and the line. `store` is not owned;
/// one that can save only what changed is asked to.
[[nodiscard]] std::unique_ptr<settings::server::ISettingsPersister> MakePersister(
    DefaultsFiles files, storage::ISettingsStore& store);

/// Reads who may use which groups from an INI file:
///
///     [Network/*]
///     write = root, group:netdev, 1000
///     [Secrets/Keys]
///     read = user:vault
///     write = user:vault
///
/// A group's name is a group name or pattern. "read" and "write" list users ("NAME", "user:NAME", or a
/// number), groups of users ("group:NAME", "group:NUMBER"), or "*" for everyone, separated by commas; nobody
/// else may. A missing line lets everyone. Anything else in the file is an error that names it: a restriction
/// that is not understood is never taken for none.
class RestrictedFile : public settings::server::IRestrictedSettingsLoader {
public:
    explicit RestrictedFile(std::string path);
    settings::server::RestrictedGroups LoadRestrictedGroups() override;

private:
    std::string _path;
};

}  // namespace zumra::settingsd
