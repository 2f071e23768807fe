#pragma once

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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
    /// Empty: all.
    std::set<std::string, std::less<>> suites;

    [[nodiscard]] bool Enables(std::string_view suite) const {
        return suites.empty() || suites.find(suite) != suites.end();
    }
};

/// Reads the arguments after the program's name. `knownSuites`: what may be named; without it any name may.
/// Throws `CommandLineError`; touches nothing outside.
CommandLine ParseCommandLine(const std::vector<std::string_view>& arguments,
                             const std::optional<std::vector<std::string_view>>& knownSuites);

/// What `--help` shows, whole lines.
std::string HelpText(std::string_view program);

}  // namespace zumra::check
