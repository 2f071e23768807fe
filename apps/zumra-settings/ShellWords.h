#pragma once

#include <string>
#include <vector>

namespace zumra::cli {

/// The words of a command line as a shell takes them, without their quotes. The last word, which may still be
/// within quotes, is empty behind a blank. Nothing is expanded.
[[nodiscard]] std::vector<std::string> SplitShellWords(const std::string& line);

}  // namespace zumra::cli
