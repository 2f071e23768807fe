#pragma once

#include <string>
#include <string_view>

#include "check/CommandLine.h"

namespace zumra::check {

/// Check's report with terminal colours: the total, and the place and result that begin each check's lines,
/// green for what passed and red for what did not. Without the colours it is the same text.
std::string InColor(std::string_view report);

/// What the option means here: with `kAuto`, colours on a terminal that has them, unless NO_COLOR is set in
/// the environment and not empty.
bool WantsColor(CommandLine::Color color);

}  // namespace zumra::check
