#include "check/ReportText.h"
#include "check/Reports.h"

namespace zumra::check {

namespace {

/// A name in which "#" would begin a directive.
std::string Description(const CheckResult& check) {
    std::string description;
    for (const char byte : Printable(FullName(check)))
        description += byte == '#' ? "\\#" : byte == '\n' ? " " : std::string(1, byte);
    return description;
}

std::string Diagnostics(const CheckResult& check, const Results& results) {
    const bool isFailure = check.outcome == Outcome::kFailed;
    return "  ---\n  message: " + InQuotes(Reason(check, results)) + "\n  at: " + InQuotes(check.place) +
           "\n  severity: " + (isFailure ? "fail" : "error") + "\n  seconds: " + Seconds(check.seconds) +
           "\n  ...\n";
}

std::string Line(std::size_t number, const CheckResult& check, const Results& results) {
    const bool isGood = check.outcome == Outcome::kPassed || check.outcome == Outcome::kNotRun;
    const std::string line =
        std::string(isGood ? "ok " : "not ok ") + std::to_string(number) + " - " + Description(check);
    if (check.outcome == Outcome::kNotRun)
        return line + " # SKIP " + Reason(check, results) + "\n";
    return line + "\n" + (isGood ? "" : Diagnostics(check, results));
}

}  // namespace

std::string TapReport(const Results& results) {
    std::string report = "TAP version 13\n1.." + std::to_string(results.Checks().size()) + "\n";
    std::size_t number = 0;
    for (const CheckResult& check : results.Checks())
        report += Line(++number, check, results);
    if (!results.FirstBrokenEnd().empty()) {
        const std::string end = Printable(results.FirstBrokenEnd());
        report += "Bail out! " + end.substr(0, end.find('\n')) + "\n";
    }
    return report;
}

}  // namespace zumra::check
