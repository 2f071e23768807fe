#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "settings/server/Session.h"
#include "zumra-settingsd/Log.h"

namespace zumra::settingsd {

/// What the daemon is told on its command line and in its configuration file.
struct Options {
    std::string socket;
    mode_t socketMode = 0660;
    std::string socketGroup;  ///< a name; empty: the daemon's own
    std::optional<std::string> defaults;
    std::optional<std::string> include;
    std::optional<std::string> restricted;
    std::string store;
    std::chrono::milliseconds saveDelay{200};
    std::size_t maxConnections = 4096;
    settings::server::SessionLimits limits;
    Log::Level logLevel = Log::kInfo;
    bool checkOnly = false;
};

/// How the command line ended when it did not lead to a run.
struct EarlyExit {
    int status;
};

/// Reads the command line and the configuration file that it names. Prints help, version or what is wrong and
/// throws `EarlyExit` (status 0, or 2 for a mistake).
[[nodiscard]] Options ParseOptions(int count, char** arguments);

}  // namespace zumra::settingsd
