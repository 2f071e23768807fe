#pragma once

#include <string>

#include "check/CommandLine.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

/// The text that `--help`, `--list` or `--version` puts on standard output; for a run what goes before
/// Check's report: with `-v` the libraries that are judged. `suites` is ended by a null name, or null.
std::string Answer(const CommandLine& commandLine, std::string_view program, const zu_check_suite* suites);

}  // namespace zumra::check
