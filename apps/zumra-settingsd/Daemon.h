#pragma once

#include "zumra-settingsd/Log.h"
#include "zumra-settingsd/Options.h"

namespace zumra::settingsd {

/// Runs the daemon until SIGTERM or SIGINT; the status to exit with: 0, or 1 when settings could not be saved
/// at the end. Throws `zumra::osa::Exception` when it cannot start.
int RunDaemon(const Options& options, Log& log);

/// Loads and validates everything that the daemon would start with, and serves nothing.
void CheckSetup(const Options& options, Log& log);

}  // namespace zumra::settingsd
