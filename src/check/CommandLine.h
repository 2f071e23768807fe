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
    enum class Color { kAuto, kAlways, kNever };

    Answer answer = Answer::kRun;
    bool fork = true;
    Print print = Print::kNormal;
    Color color = Color::kAuto;
    std::optional<std::string> xmlPath;
    std::optional<std::string> junitPath;
    std::optional<std::string> tapPath;
    std::optional<std::string> htmlPath;
    /// How many of the slowest checks are to be shown; zero: all.
    std::optional<unsigned> durations;
    /// How many times everything runs; when `untilFail` is set and this is not, for ever.
    std::optional<unsigned> repeat;
    bool untilFail = false;
    bool failFast = false;
    std::optional<double> timeoutMultiplier;
    Selection selection;
};

/// Reads the arguments after the program's name. `knownSuites`: what may be named; without it any name may.
/// Throws `CommandLineError`; touches nothing outside.
CommandLine ParseCommandLine(const std::vector<std::string_view>& arguments,
                             const std::optional<std::vector<std::string_view>>& knownSuites);

/// What `--help` shows, whole lines.
std::string HelpText(std::string_view program);

}  // namespace zumra::check
