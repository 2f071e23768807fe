#include "check/ColoredReport.h"

#include <unistd.h>

#include <cstdlib>

namespace zumra::check {

namespace {

constexpr std::string_view kGreen = "\x1b[32m";
constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kPlain = "\x1b[0m";

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// What comes before `separator` is taken off `rest`, and the separator too; without one, everything.
std::string_view Take(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    const std::string_view taken = rest.substr(0, end);
    rest = end == std::string_view::npos ? "" : rest.substr(end + separator.size());
    return taken;
}

/// "66%: Checks: 3, Failures: 1, Errors: 0"
bool IsTotal(std::string_view line) {
    for (const char* separator : {"%: Checks: ", ", Failures: ", ", Errors: ", "\n"})
        if (!IsNumber(Take(line, separator)))
            return false;
    return line.empty();
}

/// How much of a line is the place and result that begin a check's report, "FILE:LINE:F:CASE:NAME:0:"; a text
/// may have lines of its own.
std::size_t ResultLength(std::string_view line) {
    std::string_view rest = line;
    const bool hasPlace = !Take(rest, ":").empty() && IsNumber(Take(rest, ":"));
    const std::string_view kind = Take(rest, ":");
    if (!hasPlace || (kind != "P" && kind != "F" && kind != "E"))
        return 0;
    Take(rest, ":");
    Take(rest, ":");
    return IsNumber(Take(rest, ":")) ? line.size() - rest.size() : 0;
}

std::string ColoredLine(std::string_view line) {
    const bool isTotal = IsTotal(line);
    const std::size_t length = isTotal ? line.size() : ResultLength(line);
    if (length == 0)
        return std::string(line);
    const std::string_view head = line.substr(0, length);
    const bool isGood = isTotal ? line.starts_with("100%") : head.find(":P:") != std::string_view::npos;
    return std::string(isGood ? kGreen : kRed) + std::string(head) + std::string(kPlain) +
           std::string(line.substr(length));
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
        colored += ColoredLine(report.substr(0, end));
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
