#include <algorithm>
#include <cstdio>

#include "check/HtmlParts.h"
#include "check/ReportText.h"

namespace zumra::check {

namespace {

bool IsBetween(char byte, char first, char last) {
    return byte >= first && byte <= last;
}

bool IsSmall(char byte) {
    return IsBetween(byte, 'a', 'z');
}

/// Whether a line may end before `name[at]`: after underscores, and before a capital that follows two small
/// letters, as one alone goes with what comes behind ("kLocal").
bool StartsWord(std::string_view name, std::size_t at) {
    if (at == 0 || name[at] == '_')
        return false;
    return name[at - 1] == '_' ||
           (at > 1 && IsBetween(name[at], 'A', 'Z') && IsSmall(name[at - 1]) && name[at - 2] != '_');
}

constexpr std::size_t kSlowest = 10;

std::string Width(double part, double whole) {
    char text[32] = "";
    std::snprintf(text, sizeof text, "%.2f%%", whole > 0 ? 100 * part / whole : 0);
    return text;
}

std::string Bar(double seconds, double most, std::string_view kind) {
    return "<div class=\"bar " + std::string(kind) + "\"><i style=\"width:" + Width(seconds, most) +
           "\"></i></div>";
}

std::string Failure(const CheckResult& check, const Results& results) {
    const std::string place =
        check.place.empty() ? "" : "<p class=\"mono soft\">" + Escaped(check.place) + "</p>";
    return "<article class=\"failure " + std::string(OutcomeName(check.outcome)) + "\"><p><b>" +
           Breakable(check.name) + "</b> <span class=\"soft\">" +
           Breakable(check.suite + "/" + check.testCase) + "</span></p><pre class=\"mono\">" +
           Escaped(Reason(check, results)) + "</pre>" + place + "</article>\n";
}

/// `name`: as it is shown, in HTML.
std::string CheckLine(const CheckResult& check, const std::string& name, double most) {
    const std::string outcome(OutcomeName(check.outcome));
    return "<i class=\"tile " + outcome + "\"></i><span>" + name + "</span>" +
           Bar(check.seconds, most, outcome) + "<span class=\"time\">" +
           (check.rounds > 0 ? HumanTime(check.seconds) : "not run") + "</span>";
}

std::string Slowest(const Results& results, double most) {
    std::vector<const CheckResult*> checks = BySlowness(results);
    checks.resize(std::min(checks.size(), kSlowest));
    std::string lines;
    for (const CheckResult* check : checks)
        lines += "<li>" + CheckLine(*check, Breakable(check->name), most) + "</li>\n";
    return "<h3>Slowest checks</h3>\n<ol class=\"checks\">" + lines + "</ol>\n";
}

/// The worst outcome of a suite, which colours its bar.
Outcome Worst(const SuiteResults& suite) {
    const Counts counts = Count(suite.checks);
    return counts.errors > 0   ? Outcome::kError
           : counts.failed > 0 ? Outcome::kFailed
           : counts.passed > 0 ? Outcome::kPassed
                               : Outcome::kNotRun;
}

std::string SuiteDetails(const SuiteResults& suite, const Results& results, double mostOfSuites,
                         double most) {
    std::string lines;
    for (const CheckResult* check : suite.checks) {
        const std::string name =
            "<span class=\"soft\">" + Escaped(check->testCase) + "/</span>" + Breakable(check->name);
        lines += "<li id=\"" + AnchorOf(*check, results) + "\">" + CheckLine(*check, name, most) + "</li>\n";
    }
    const Outcome worst = Worst(suite);
    const std::string count = std::to_string(suite.checks.size());
    const bool hasFailed = worst == Outcome::kFailed || worst == Outcome::kError;
    return "<details" + std::string(hasFailed ? " open" : "") + "><summary><span><b>" +
           Breakable(suite.name) + "</b> <span class=\"soft\">" + count + "</span></span>" +
           Bar(suite.Seconds(), mostOfSuites, OutcomeName(worst)) + "<span class=\"time\">" +
           (worst == Outcome::kNotRun ? "not run" : HumanTime(suite.Seconds())) +
           "</span></summary>\n<ul class=\"checks\">" + lines + "</ul></details>\n";
}

}  // namespace

std::string AnchorOf(const CheckResult& check, const Results& results) {
    return "check" + std::to_string(&check - results.Checks().data() + 1);
}

std::string Breakable(std::string_view name) {
    const std::string whole = Escaped(name);
    std::string broken;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        if (StartsWord(whole, i))
            broken += "<wbr>";
        broken += whole[i];
    }
    return broken;
}

std::string_view OutcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::kPassed:
            return "passed";
        case Outcome::kFailed:
            return "failed";
        case Outcome::kError:
            return "error";
        case Outcome::kNotRun:
            break;
    }
    return "notrun";
}

std::string HumanTime(double seconds) {
    char text[48] = "";
    if (seconds >= 1)
        std::snprintf(text, sizeof text, "%.2f s", seconds);
    else
        std::snprintf(text, sizeof text, seconds >= 0.01 ? "%.0f ms" : "%.2f ms", seconds * 1000);
    return text;
}

std::string HtmlFailures(const Results& results) {
    std::string failures;
    unsigned notRun = 0;
    for (const CheckResult& check : results.Checks()) {
        if (check.outcome == Outcome::kFailed || check.outcome == Outcome::kError)
            failures += Failure(check, results);
        notRun += check.outcome == Outcome::kNotRun ? 1U : 0U;
    }
    if (notRun > 0)
        failures += "<article class=\"failure notrun\"><p>" + std::to_string(notRun) +
                    " more did not run.</p></article>\n";
    if (failures.empty())
        return "";
    return "<section id=\"failures\"><h2>What went wrong</h2>\n" + failures + "</section>\n";
}

std::string HtmlTimes(const Results& results) {
    const std::vector<SuiteResults> suites = BySuite(results);
    double mostOfSuites = 0;
    double most = 0;
    for (const SuiteResults& suite : suites)
        mostOfSuites = std::max(mostOfSuites, suite.Seconds());
    for (const CheckResult& check : results.Checks())
        most = std::max(most, check.seconds);
    std::string details;
    for (const SuiteResults& suite : suites)
        details += SuiteDetails(suite, results, mostOfSuites, most);
    return "<section id=\"times\"><h2>Where the time went</h2>\n" + Slowest(results, most) +
           "<h3>All suites</h3>\n" + details + "</section>\n";
}

}  // namespace zumra::check
