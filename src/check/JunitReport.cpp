#include "check/ReportText.h"
#include "check/Reports.h"

namespace zumra::check {

namespace {

std::string Attribute(const char* name, std::string_view value) {
    return std::string(" ") + name + "=\"" + Escaped(value) + "\"";
}

std::string Attributes(const Counts& counts) {
    return Attribute("tests", std::to_string(counts.all)) +
           Attribute("failures", std::to_string(counts.failed)) +
           Attribute("errors", std::to_string(counts.errors)) +
           Attribute("skipped", std::to_string(counts.notRun));
}

std::string Property(const char* name, std::string_view value) {
    return "      <property" + Attribute("name", name) + Attribute("value", value) + "/>\n";
}

std::string Properties(const RunInfo& info, unsigned rounds) {
    std::string lines = "    <properties>\n" + Property("fork", info.isForked ? "yes" : "no") +
                        Property("rounds", std::to_string(rounds)) +
                        Property("system", info.system + ", " + info.kernel) +
                        Property("processor", info.processor);
    for (const JudgedLibrary& library : info.libraries)
        lines += Property("judged", Describe(library));
    return lines + "    </properties>\n";
}

/// What stands inside of the element of a check that did not pass.
std::string Result(const CheckResult& check, const Results& results) {
    const std::string message = Attribute("message", Reason(check, results));
    if (check.outcome == Outcome::kNotRun)
        return "<skipped" + message + "/>";
    const std::string element = check.outcome == Outcome::kFailed ? "failure" : "error";
    const std::string text = (check.place.empty() ? "" : check.place + ": ") + Reason(check, results);
    return "<" + element + message + Attribute("type", element) + ">" + Escaped(text) + "</" + element + ">";
}

std::string TestCase(const CheckResult& check, const Results& results) {
    const std::string element = "    <testcase" + Attribute("classname", check.suite + "." + check.testCase) +
                                Attribute("name", check.name) + Attribute("time", Seconds(check.seconds));
    if (check.outcome == Outcome::kPassed)
        return element + "/>\n";
    return element + ">" + Result(check, results) + "</testcase>\n";
}

std::string TestSuite(const SuiteResults& suite, const Results& results, const RunInfo& info) {
    std::string lines = "  <testsuite" + Attribute("name", suite.name) + Attributes(Count(suite.checks)) +
                        Attribute("time", Seconds(suite.Seconds())) + Attribute("timestamp", info.start) +
                        Attribute("hostname", info.host) + ">\n" + Properties(info, results.Rounds());
    for (const CheckResult* check : suite.checks)
        lines += TestCase(*check, results);
    return lines + "  </testsuite>\n";
}

}  // namespace

std::string JunitReport(const Results& results, const RunInfo& info) {
    std::string report = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" +
                         Attribute("name", info.program) + Attributes(results.Total()) +
                         Attribute("time", Seconds(info.seconds)) + ">\n";
    for (const SuiteResults& suite : BySuite(results))
        report += TestSuite(suite, results, info);
    return report + "</testsuites>\n";
}

}  // namespace zumra::check
