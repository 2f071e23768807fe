#pragma once

#include <string>
#include <string_view>

#include "zumra/Export.h"
#include "zumra/settings/common/GroupNameMatcher.h"

/// Names and patterns as lines of the protocol's lists:
///
///     text         not ending in "*": the group of that name
///     text*        every group whose name begins with text
///     "quoted"     the group of exactly that name, also when it ends in "*"
///     "quoted"*    every group whose name begins with what is quoted
///
/// with the escapes of the INI text between quotes (see `core::IniFile`).
///
/// Thread-safety: functions without state.
namespace zumra::settings::common::MatcherLines {

/// Appends every name and pattern, each as a line with its line end. None is the line ".".
ZUMRA_EXPORT void Append(std::string& out, const GroupNameMatcher& matcher);

/// Adds what a line (without its line end) stands for. Throws `zumra::osa::Exception` "Failed to parse
/// '<line>' as a list item: <reason>" and adds nothing when its quoted form is malformed.
ZUMRA_EXPORT void Add(GroupNameMatcher& matcher, std::string_view line);

}  // namespace zumra::settings::common::MatcherLines
