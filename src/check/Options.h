#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/CommandLine.h"

namespace zumra::check {

/// What options decide; deciding one of them twice, differently, is a contradiction.
enum class Setting {
    kSelection,
    kAnswer,
    kFork,
    kPrint,
    kColor,
    kXml,
    kJunit,
    kTap,
    kHtml,
    kDurations,
    kRepeat,
    kUntilFail,
    kFailFast,
    kTimeouts,
};

/// An option of the command line.
struct Option {
    std::string_view longName;
    std::string_view shortName;
    /// What the option stands for; empty when a value follows it.
    std::string_view value;
    /// How the help calls the value that follows.
    std::string_view valueName;
    std::string_view help;
    Setting setting;
    /// Throws `CommandLineError` for a value that it does not take.
    void (*apply)(CommandLine& line, std::string_view value);

    [[nodiscard]] bool TakesValue() const { return value.empty(); }
    /// Each use adds to what the earlier ones said.
    [[nodiscard]] bool IsRepeatable() const { return setting == Setting::kSelection; }
};

/// In the order in which the help shows them.
std::span<const Option> Options();

/// "'text'"
std::string Quoted(std::string_view text);

/// "; did you mean 'nearest'?", as the end of a message.
std::string DidYouMean(std::string_view given, const std::vector<std::string_view>& names);

}  // namespace zumra::check
