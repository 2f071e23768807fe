#pragma once

#include <string>
#include <vector>

#include "check/CommandLine.h"
#include "check/ReportFile.h"
#include "check/Results.h"
#include "check/RunInfo.h"

namespace zumra::check {

/// The files that the command line names, Check's XML log first.
std::vector<ReportFile> ReportFiles(const CommandLine& commandLine);

/// Puts the slowest checks on standard output and writes the report files other than Check's log, as far as
/// they are asked for. Throws `std::runtime_error` with all that could not be written, after writing the
/// others.
void WriteReports(const CommandLine& commandLine, const Results& results, const RunInfo& info);

/// JUnit's form of XML, as CI systems read it: a testsuite element a suite. A check that did not run is
/// skipped. Several rounds make one report: a check that failed in any of them failed.
std::string JunitReport(const Results& results, const RunInfo& info);

/// Version 13 of the Test Anything Protocol. A check that did not run is skipped; when the run did not come
/// to its end, the report bails out.
std::string TapReport(const Results& results);

/// A page that needs nothing but itself, for a person to look at.
std::string HtmlReport(const Results& results, const RunInfo& info);

/// Lines for the `count` slowest checks, zero: for all of them.
std::string DurationsReport(const Results& results, unsigned count);

/// The checks of one suite, in their order.
struct SuiteResults {
    std::string name;
    std::vector<const CheckResult*> checks;

    [[nodiscard]] double Seconds() const;
};
std::vector<SuiteResults> BySuite(const Results& results);

/// Those that ran, the slowest first.
std::vector<const CheckResult*> BySlowness(const Results& results);

/// Why a check did not pass, with what the rounds add to it.
std::string Reason(const CheckResult& check, const Results& results);

/// "0.012": seconds, to the millisecond or, below a hundredth, to the microsecond.
std::string Seconds(double seconds);

}  // namespace zumra::check
