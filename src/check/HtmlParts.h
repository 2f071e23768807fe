#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "check/Reports.h"

namespace zumra::check {

/// The page's parts, each a whole element; see `HtmlReport`.

/// What the page looks like, as the content of a style element.
std::string_view HtmlStyle();

/// Suites down, modes across, a tile a check.
std::string HtmlGrid(const Results& results);

/// The checks that did not pass, with places and texts; empty when all did.
std::string HtmlFailures(const Results& results);

/// The slowest checks, and every check of every suite, with bars for their times.
std::string HtmlTimes(const Results& results);

/// A name, escaped, that may be broken between its words.
std::string Breakable(std::string_view name);

/// "12 ms"
std::string HumanTime(double seconds);

/// "passed", also the class of whatever shows it.
std::string_view OutcomeName(Outcome outcome);

/// The mode of a check of a family, "kLocal" of "Works__kLocal"; empty for any other check.
std::string ModeOf(const CheckResult& check);

/// The modes of all checks, each family's in its own order.
std::vector<std::string> Modes(const std::vector<CheckResult>& checks);

/// What a link to the check's own line is called.
std::string AnchorOf(const CheckResult& check, const Results& results);

}  // namespace zumra::check
