#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "check/Selection.h"

namespace zumra::check {

/// Why a command line is rejected, as a person should read it.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What a command line asks for.
struct CommandLine {
    enum class Answer { kRun, kHelp, kList, kVersion };
    enum class Print { kSilent, kMinimal, kNormal, kVerbose };

    Answer answer = Answer::kRun;
    bool fork = true;
    Print print = Print::kNormal;
    std::optional<std::string> xmlPath;
    Selection selection;
};

/// Reads the arguments after the program's name. `knownSuites`: what may be named; without it any name may.
/// Throws `CommandLineError`; touches nothing outside.
CommandLine ParseCommandLine(const std::vector<std::string_view>& arguments,
                             const std::optional<std::vector<std::string_view>>& knownSuites);

/// What `--help` shows, whole lines.
std::string HelpText(std::string_view program);

}  // namespace zumra::check
