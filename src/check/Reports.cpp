#include "check/Reports.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace zumra::check {

namespace {

std::string Content(const ReportFile& file, const CommandLine& commandLine, const Results& results,
                    const RunInfo& info) {
    if (commandLine.junitPath == file.path)
        return JunitReport(results, info);
    return commandLine.tapPath == file.path ? TapReport(results) : HtmlReport(results, info);
}

}  // namespace

std::vector<ReportFile> ReportFiles(const CommandLine& line) {
    std::vector<ReportFile> files;
    const auto add = [&files](std::string_view report, const std::optional<std::string>& path) {
        if (path)
            files.push_back({report, *path});
    };
    add("XML log", line.xmlPath);
    add("JUnit report", line.junitPath);
    add("TAP report", line.tapPath);
    add("page", line.htmlPath);
    return files;
}

void WriteReports(const CommandLine& commandLine, const Results& results, const RunInfo& info) {
    std::string faults;
    if (commandLine.durations)
        std::fputs(DurationsReport(results, *commandLine.durations).c_str(), stdout);
    for (const ReportFile& file : ReportFiles(commandLine)) {
        if (file.path == commandLine.xmlPath)
            continue;
        try {
            Write(file, Content(file, commandLine, results, info));
        } catch (const std::runtime_error& e) {
            faults += (faults.empty() ? "" : "; ") + std::string(e.what());
        }
    }
    if (!faults.empty())
        throw std::runtime_error(faults);
}

std::string DurationsReport(const Results& results, unsigned count) {
    std::vector<const CheckResult*> slowest = BySlowness(results);
    const std::size_t ran = slowest.size();
    if (count != 0 && count < ran)
        slowest.resize(count);
    std::string lines =
        "Slowest " + std::to_string(slowest.size()) + " of " + std::to_string(ran) + " checks:\n";
    for (const CheckResult* check : slowest) {
        const std::string seconds = Seconds(check->seconds);
        lines += std::string(seconds.size() < 10 ? 10 - seconds.size() : 0, ' ') + seconds + " s  " +
                 FullName(*check) + "\n";
    }
    return lines;
}

double SuiteResults::Seconds() const {
    double sum = 0;
    for (const CheckResult* check : checks)
        sum += check->seconds;
    return sum;
}

std::vector<SuiteResults> BySuite(const Results& results) {
    std::vector<SuiteResults> suites;
    for (const CheckResult& check : results.Checks()) {
        if (suites.empty() || suites.back().name != check.suite)
            suites.push_back({check.suite, {}});
        suites.back().checks.push_back(&check);
    }
    return suites;
}

std::vector<const CheckResult*> BySlowness(const Results& results) {
    std::vector<const CheckResult*> checks;
    for (const CheckResult& check : results.Checks())
        if (check.rounds > 0)
            checks.push_back(&check);
    std::stable_sort(checks.begin(), checks.end(),
                     [](const auto* a, const auto* b) { return a->seconds > b->seconds; });
    return checks;
}

std::string Reason(const CheckResult& check, const Results& results) {
    if (check.outcome == Outcome::kNotRun)
        return results.FirstBrokenEnd().empty() ? "not run" : "not run: the run broke off before";
    if (results.Rounds() == 1)
        return check.text;
    return check.text + " (in " + std::to_string(check.badRounds) + " of " + std::to_string(check.rounds) +
           " rounds)";
}

std::string Seconds(double seconds) {
    char text[32] = "";
    std::snprintf(text, sizeof text, seconds < 0.01 ? "%.6f" : "%.3f", seconds);
    return text;
}

}  // namespace zumra::check
