#pragma once

#include <string>

#include "check/CommandLine.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

/// The text that `--help`, `--list` or `--version` puts on standard output; empty for a run. `suites` is
/// ended by a null name, or null.
std::string Answer(const CommandLine& commandLine, std::string_view program, const zu_check_suite* suites);

}  // namespace zumra::check
