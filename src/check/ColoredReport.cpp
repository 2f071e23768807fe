#include "check/ColoredReport.h"

#include <unistd.h>

#include <cstdlib>
#include <regex>

namespace zumra::check {

namespace {

constexpr std::string_view kGreen = "\x1b[32m";
constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kPlain = "\x1b[0m";

bool IsTotal(const std::string& line) {
    static const std::regex total("\\d+%: Checks: \\d+, Failures: \\d+, Errors: \\d+");
    return std::regex_match(line, total);
}

/// How much of a line is the place and result that begin a check's report, "FILE:LINE:F:CASE:NAME:0:"; a text
/// may have lines of its own.
std::size_t ResultLength(const std::string& line) {
    static const std::regex start("^[^:\n]+:\\d+:[PFE]:[^:]*:[^:]*:\\d+:");
    std::smatch match;
    // Places are short, and the library matches by recursion.
    const std::string head = line.substr(0, 1000);
    return std::regex_search(head, match, start) ? static_cast<std::size_t>(match.length()) : 0;
}

std::string ColoredLine(const std::string& line) {
    const bool isTotal = IsTotal(line.substr(0, 100));
    const std::size_t length = isTotal ? line.size() : ResultLength(line);
    if (length == 0)
        return line;
    const std::string head = line.substr(0, length);
    const bool isGood = isTotal ? line.starts_with("100%") : head.find(":P:") != std::string::npos;
    return std::string(isGood ? kGreen : kRed) + head + std::string(kPlain) + line.substr(length);
}

const char* Variable(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): before there are threads
    return value == nullptr ? "" : value;
}

}  // namespace

std::string InColor(std::string_view report) {
    std::string colored;
    while (!report.empty()) {
        const std::size_t end = report.find('\n');
        colored += ColoredLine(std::string(report.substr(0, end)));
        if (end == std::string_view::npos)
            break;
        colored += '\n';
        report.remove_prefix(end + 1);
    }
    return colored;
}

bool WantsColor(CommandLine::Color color) {
    if (color != CommandLine::Color::kAuto)
        return color == CommandLine::Color::kAlways;
    const std::string_view terminal = Variable("TERM");
    return *Variable("NO_COLOR") == '\0' && isatty(STDOUT_FILENO) == 1 && !terminal.empty() &&
           terminal != "dumb";
}

}  // namespace zumra::check
