#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// Where the settings are when there is no daemon; as the daemon is told.
struct StoreSources {
    std::string uri;
    std::optional<std::string> defaults;
    std::optional<std::string> include;
    std::optional<std::string> restricted;
};

/// A store that this process opens itself, and has for itself as long as this lives. Each change is saved
/// when the call that makes it returns. Where restrictions are given, they hold for the user of this process.
class LocalStore {
public:
    /// `mustExist`: a store that nobody made yet is an error. `warn` is told what had to be worked around.
    /// Throws `zumra::osa::Exception` with what is wrong; "... is in use by another process" while a daemon
    /// serves it.
    LocalStore(const StoreSources& sources, bool mustExist, std::function<void(const std::string&)> warn);
    ~LocalStore();
    LocalStore(const LocalStore&) = delete;
    LocalStore& operator=(const LocalStore&) = delete;

    [[nodiscard]] settings::ZumraSettingsClient& Client();
    [[nodiscard]] core::IniFile Defaults() const;

private:
    struct Parts;
    std::unique_ptr<Parts> _parts;
};

}  // namespace zumra::cli
