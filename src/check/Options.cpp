#include "check/Options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "check/NearestName.h"

namespace zumra::check {

namespace {

using Names = std::vector<std::string_view>;

constexpr unsigned kMostDurations = 1000000;
constexpr unsigned kMostRounds = 1000000000;
constexpr double kLeastMultiplier = 0.001;
constexpr double kGreatestMultiplier = 1000;

/// The place of `value` among the words that `option` knows.
std::size_t WordIndex(std::string_view option, std::string_view value, const Names& words) {
    const auto found = std::find(words.begin(), words.end(), value);
    if (found == words.end())
        throw CommandLineError("option " + Quoted(option) + " does not know " + Quoted(value) +
                               DidYouMean(value, words));
    return static_cast<std::size_t>(found - words.begin());
}

template <typename Number>
Number NumberBetween(std::string_view option, std::string_view value, Number least, Number most,
                     const std::string& range) {
    Number number{};
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    const bool isNumber = error == std::errc() && end == value.data() + value.size();
    if (!isNumber || !(number >= least) || !(number <= most))
        throw CommandLineError("option " + Quoted(option) + " needs a number from " + range + ", not " +
                               Quoted(value));
    return number;
}

std::optional<std::string> FileName(std::string_view option, std::string_view value) {
    if (value.empty())
        throw CommandLineError("option " + Quoted(option) + " needs the name of a file, not an empty text");
    return std::string(value);
}

void AddFilter(CommandLine& line, std::string_view value) {
    line.selection.filters.emplace_back(value);
}

void AddExclude(CommandLine& line, std::string_view value) {
    line.selection.excludes.emplace_back(value);
}

void SetAnswer(CommandLine& line, std::string_view value) {
    line.answer = value == "list"   ? CommandLine::Answer::kList
                  : value == "help" ? CommandLine::Answer::kHelp
                                    : CommandLine::Answer::kVersion;
}

void SetFork(CommandLine& line, std::string_view value) {
    line.fork = value == "yes";
}

void SetPrint(CommandLine& line, std::string_view value) {
    static const Names modes = {"silent", "minimal", "normal",
                                "verbose"};  // in the order of CommandLine::Print
    line.print = static_cast<CommandLine::Print>(WordIndex("--print", value, modes));
}

void SetColor(CommandLine& line, std::string_view value) {
    static const Names whens = {"auto", "always", "never"};  // in the order of CommandLine::Color
    line.color = static_cast<CommandLine::Color>(WordIndex("--color", value, whens));
}

void SetXml(CommandLine& line, std::string_view value) {
    line.xmlPath = FileName("--xml", value);
}

void SetJunit(CommandLine& line, std::string_view value) {
    line.junitPath = FileName("--junit", value);
}

void SetTap(CommandLine& line, std::string_view value) {
    line.tapPath = FileName("--tap", value);
}

void SetHtml(CommandLine& line, std::string_view value) {
    line.htmlPath = FileName("--html", value);
}

void SetDurations(CommandLine& line, std::string_view value) {
    line.durations = NumberBetween<unsigned>("--durations", value, 0, kMostDurations, "0 to 1000000");
}

void SetRepeat(CommandLine& line, std::string_view value) {
    line.repeat = NumberBetween<unsigned>("--repeat", value, 1, kMostRounds, "1 to 1000000000");
}

void SetUntilFail(CommandLine& line, std::string_view /*value*/) {
    line.untilFail = true;
}

void SetFailFast(CommandLine& line, std::string_view /*value*/) {
    line.failFast = true;
}

void SetTimeouts(CommandLine& line, std::string_view value) {
    line.timeoutMultiplier = NumberBetween<double>("--timeout-multiplier", value, kLeastMultiplier,
                                                   kGreatestMultiplier, "0.001 to 1000");
}

// clang-format off
constexpr std::array kOptions = {
    Option{"--filter", "", "", "GLOB", "run only checks whose SUITE/CASE/CHECK matches", Setting::kSelection, AddFilter},
    Option{"--exclude", "-x", "", "GLOB", "leave out checks whose SUITE/CASE/CHECK matches", Setting::kSelection, AddExclude},
    Option{"--list", "-l", "list", "", "list the suites, with -v every check, and run nothing", Setting::kAnswer, SetAnswer},
    Option{"--fork", "", "yes", "", "run each check in a process of its own (default)", Setting::kFork, SetFork},
    Option{"--no-fork", "", "no", "", "run all checks in one process", Setting::kFork, SetFork},
    Option{"--fail-fast", "", "yes", "", "end the run with the first check that fails", Setting::kFailFast, SetFailFast},
    Option{"--repeat", "", "", "N", "run everything N times", Setting::kRepeat, SetRepeat},
    Option{"--until-fail", "", "yes", "", "repeat until a check fails, for ever or --repeat times", Setting::kUntilFail, SetUntilFail},
    Option{"--timeout-multiplier", "", "", "X", "let every check take X times as long", Setting::kTimeouts, SetTimeouts},
    Option{"--print", "", "", "MODE", "report silent, minimal, normal (default) or verbose", Setting::kPrint, SetPrint},
    Option{"--quiet", "-q", "silent", "", "the same as --print silent", Setting::kPrint, SetPrint},
    Option{"--verbose", "-v", "verbose", "", "the same as --print verbose, and name the judged libraries", Setting::kPrint, SetPrint},
    Option{"--color", "", "", "WHEN", "auto (default: on a terminal, without NO_COLOR), always or never", Setting::kColor, SetColor},
    Option{"--durations", "", "", "N", "show the N slowest checks, with 0 all of them", Setting::kDurations, SetDurations},
    Option{"--xml", "", "", "FILE", "write Check's XML log to FILE", Setting::kXml, SetXml},
    Option{"--junit", "", "", "FILE", "write the results to FILE as JUnit XML", Setting::kJunit, SetJunit},
    Option{"--tap", "", "", "FILE", "write the results to FILE for the Test Anything Protocol", Setting::kTap, SetTap},
    Option{"--html", "", "", "FILE", "write the results to FILE as a page to look at", Setting::kHtml, SetHtml},
    Option{"--help", "-h", "help", "", "show this text and run nothing", Setting::kAnswer, SetAnswer},
    Option{"--version", "-V", "version", "", "show versions and the libraries to be judged, and run nothing", Setting::kAnswer, SetAnswer},
};
// clang-format on

}  // namespace

std::span<const Option> Options() {
    return kOptions;
}

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string DidYouMean(std::string_view given, const Names& names) {
    const std::string_view nearest = NearestName(given, names);
    return nearest.empty() ? "" : "; did you mean " + Quoted(nearest) + "?";
}

}  // namespace zumra::check
