#include <algorithm>

#include "check/HtmlParts.h"
#include "check/ReportText.h"

namespace zumra::check {

namespace {

std::string Tile(const CheckResult& check, const Results& results) {
    const std::string outcome(OutcomeName(check.outcome));
    const std::string title = check.testCase + "/" + check.name + ": " +
                              (check.outcome == Outcome::kNotRun ? "not run" : outcome) +
                              (check.rounds > 0 ? ", " + HumanTime(check.seconds) : "");
    return "<a class=\"tile " + outcome + "\" href=\"#" + AnchorOf(check, results) + "\" title=\"" +
           Escaped(title) + "\" aria-label=\"" + Escaped(title) + "\"></a>";
}

/// Empty, with nothing inside, where the suite has no check of the mode.
std::string Cell(const SuiteResults& suite, const std::string& mode, const Results& results) {
    std::string tiles;
    for (const CheckResult* check : suite.checks)
        if (ModeOf(*check) == mode)
            tiles += Tile(*check, results);
    const std::string label = mode.empty() ? "no mode" : mode;
    return "<td data-mode=\"" + Escaped(label) + "\">" +
           (tiles.empty() ? "" : "<div class=\"tiles\">" + tiles + "</div>") + "</td>";
}

std::string Head(const std::vector<std::string>& modes) {
    std::string cells;
    for (const std::string& mode : modes)
        cells += "<th scope=\"col\">" + (mode.empty() ? "no mode" : Breakable(mode)) + "</th>";
    return "<thead><tr><th scope=\"col\">Suite</th>" + cells + "</tr></thead>\n";
}

std::string Legend() {
    std::string entries;
    for (const Outcome outcome : {Outcome::kPassed, Outcome::kFailed, Outcome::kError, Outcome::kNotRun}) {
        const std::string name(OutcomeName(outcome));
        entries += "<span><i class=\"tile " + name + "\"></i>" +
                   (outcome == Outcome::kNotRun ? "not run" : name) + "</span>";
    }
    return "<p class=\"legend soft\">" + entries + "</p>\n";
}

}  // namespace

std::string ModeOf(const CheckResult& check) {
    const std::size_t underscores = check.name.rfind("__");
    const bool isFamily = underscores != std::string::npos && underscores > 0;
    return isFamily ? check.name.substr(underscores + 2) : "";
}

std::vector<std::string> Modes(const std::vector<CheckResult>& checks) {
    std::vector<std::string> modes;
    auto next = modes.begin();
    const std::string* suite = nullptr;
    for (const CheckResult& check : checks) {
        if (suite == nullptr || *suite != check.suite)
            next = modes.begin();
        suite = &check.suite;
        const std::string mode = ModeOf(check);
        const auto known = std::find(modes.begin(), modes.end(), mode);
        // A new mode comes after the one before it in its suite.
        next = (known == modes.end() ? modes.insert(next, mode) : known) + 1;
    }
    return modes;
}

std::string HtmlGrid(const Results& results) {
    const std::vector<std::string> modes = Modes(results.Checks());
    std::string rows;
    for (const SuiteResults& suite : BySuite(results)) {
        rows += "<tr><th scope=\"row\">" + Breakable(suite.name) + "</th>";
        for (const std::string& mode : modes)
            rows += Cell(suite, mode, results);
        rows += "</tr>\n";
    }
    return "<section id=\"grid\"><h2>Suites by modes</h2>\n<table class=\"grid\">" + Head(modes) +
           "<tbody>\n" + rows + "</tbody></table>\n" + Legend() + "</section>\n";
}

}  // namespace zumra::check
