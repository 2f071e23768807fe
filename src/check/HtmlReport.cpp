#include <cstdio>

#include "check/HtmlParts.h"
#include "check/ReportText.h"
#include "check/Reports.h"

namespace zumra::check {

namespace {

std::string Verdict(const Counts& counts) {
    const std::string all = std::to_string(counts.all);
    if (counts.all == 0)
        return "No check ran";
    if (counts.AreGood())
        return counts.all == 1 ? "The one check passed" : "All " + all + " checks passed";
    const unsigned bad = counts.failed + counts.errors;
    return bad == 0 ? std::to_string(counts.notRun) + " of " + all + " checks did not run"
                    : std::to_string(bad) + " of " + all + " checks failed";
}

/// A round diagram: passed, failed, error, not run.
std::string Ring(const Counts& counts) {
    const unsigned ends[] = {counts.passed, counts.passed + counts.failed,
                             counts.passed + counts.failed + counts.errors};
    static const char* const colors[] = {"passed", "failed", "error"};
    std::string parts;
    double last = 0;
    char text[96] = "";
    for (std::size_t i = 0; i < 3; ++i) {
        const double end = counts.all == 0 ? 0 : 100.0 * ends[i] / counts.all;
        std::snprintf(text, sizeof text, "var(--%s) %.2f%% %.2f%%,", colors[i], last, end);
        parts += text;
        last = end;
    }
    const unsigned percent = counts.all == 0 ? 0 : 100 * counts.passed / counts.all;
    return "<div class=\"ring\" style=\"background:conic-gradient(" + parts + "var(--track) 0)\"><span>" +
           std::to_string(percent) + "%</span></div>";
}

std::string Number(const char* id, const char* label, unsigned count) {
    return "<div class=\"" + std::string(id) + (count > 0 ? " some" : "") + "\"><dt>" + label +
           "</dt><dd id=\"count-" + id + "\">" + std::to_string(count) + "</dd></div>";
}

std::string Header(const Results& results, const RunInfo& info) {
    const Counts counts = results.Total();
    return "<header class=\"verdict" + std::string(counts.AreGood() ? "" : " bad") + "\">" + Ring(counts) +
           "<div class=\"words\"><p class=\"soft\">" + Escaped(info.program + " " + info.version) +
           "</p><h1>" + Verdict(counts) + "</h1><dl class=\"numbers\">" +
           Number("all", "checks", counts.all) + Number("passed", "passed", counts.passed) +
           Number("failed", "failed", counts.failed) +
           Number("error", counts.errors == 1 ? "error" : "errors", counts.errors) +
           Number("notrun", "not run", counts.notRun) + "<div><dt>in all</dt><dd>" + HumanTime(info.seconds) +
           "</dd></div></dl></div></header>\n";
}

std::string BrokenEnd(const Results& results) {
    const std::string& end = results.FirstBrokenEnd();
    if (end.empty())
        return "";
    return "<section class=\"broken\"><h2>The run broke off</h2><p class=\"mono\">" + Escaped(end) +
           "</p></section>\n";
}

/// "2026-11-21 12:30:00 UTC"
std::string ReadableTime(std::string time) {
    if (const std::size_t separator = time.find('T'); separator != std::string::npos)
        time[separator] = ' ';
    return time.empty() ? "" : time + " UTC";
}

std::string Fact(const char* name, const std::string& value) {
    return value.empty() ? "" : "<dt>" + std::string(name) + "</dt><dd>" + Escaped(value) + "</dd>\n";
}

std::string Facts(const Results& results, const RunInfo& info) {
    std::string judged;
    for (const JudgedLibrary& library : info.libraries)
        judged += "<dt>" + Escaped(library.name) + "</dt><dd>" + Escaped(library.version) +
                  " <span class=\"mono soft\">" + Escaped(library.path) + "</span></dd>\n";
    const std::string rounds =
        results.Rounds() == 1 ? "" : ", " + std::to_string(results.Rounds()) + " rounds";
    const std::string how =
        info.isForked ? "each check in a process of its own" : "all checks in one process";
    return "<section id=\"judged\"><h2>What was judged, and where</h2>\n<dl class=\"facts\">" + judged +
           Fact("Run", how + rounds) + Fact("Started", ReadableTime(info.start)) +
           Fact("Machine", info.host) + Fact("Processor", info.processor) + Fact("System", info.system) +
           Fact("Kernel", info.kernel) + "</dl></section>\n";
}

std::string Icon(const Counts& counts) {
    const std::string color = counts.AreGood() ? "%231f8a56" : "%23c7293b";
    return "<link rel=\"icon\" href=\"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' "
           "viewBox='0 0 8 8'%3E%3Ccircle cx='4' cy='4' r='4' fill='" +
           color + "'/%3E%3C/svg%3E\">\n";
}

std::string Head(const Results& results, const RunInfo& info) {
    const Counts counts = results.Total();
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
           "'unsafe-inline'; "
           "img-src data:\">\n<title>" +
           Escaped(Verdict(counts) + " - " + info.program) + "</title>\n" + Icon(counts) + "<style>" +
           std::string(HtmlStyle()) + "</style>\n</head>\n";
}

}  // namespace

std::string HtmlReport(const Results& results, const RunInfo& info) {
    return Head(results, info) + "<body>\n" + Header(results, info) + "<main>\n" + BrokenEnd(results) +
           HtmlFailures(results) + HtmlGrid(results) + HtmlTimes(results) + Facts(results, info) +
           "</main>\n</body>\n</html>\n";
}

}  // namespace zumra::check
