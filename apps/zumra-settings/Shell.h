#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zumra::cli {

struct ShellCommand {
    std::string script;
    /// "$1", "$2" ... of the script.
    std::vector<std::string> arguments;
    /// Names and values added to the environment.
    std::vector<std::pair<std::string, std::string>> environment;
    /// Its standard input; absent: that of this process.
    std::optional<std::string> input;
};

/// Runs it with `sh` and waits for its end. It may leave its input unread; `SIGPIPE` must be ignored where
/// there is one. Returns its status, 128 plus the signal's number when a signal ended it. Throws
/// `zumra::osa::Exception` "cannot run '<script>': <reason>".
int RunShell(const ShellCommand& command);

}  // namespace zumra::cli
