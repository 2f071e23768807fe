#pragma once

#include "zumra-settingsd/Log.h"
#include "zumra-settingsd/Options.h"

namespace zumra::settingsd {

/// Runs the daemon until SIGTERM or SIGINT; the status to exit with: 0, or 1 when settings could not be saved
/// at the end. Signals that were held (`HeldSignals`) are served when everything is loaded. Throws
/// `zumra::osa::Exception` when it cannot start.
int RunDaemon(const Options& options, Log& log);

/// Validates everything that the daemon would start with, and changes nothing: a daemon may be running on it.
/// Throws `zumra::osa::Exception` with what is wrong.
void CheckSetup(const Options& options, Log& log);

}  // namespace zumra::settingsd
