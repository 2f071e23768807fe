#pragma once

#include <string>

namespace zumra::check {

/// Throws `CommandLineError` when no log can be written to `path`, without leaving a trace there: Check would
/// end the program in the middle of the run.
void RequireWritable(const std::string& path);

}  // namespace zumra::check
