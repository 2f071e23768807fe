#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zumra-settings/Context.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::cli {

/// The whole content of a file, or of standard input for "-". Throws `zumra::osa::Exception`
/// "cannot read '<path>': <reason>", or "cannot read standard input: <reason>".
[[nodiscard]] std::string ReadText(Context& context, const std::string& path);
/// As `ReadText`, as a document in INI text or, when the form of the results is that, JSON or the NUL form.
/// Errors name the file and the line.
[[nodiscard]] core::IniFile ReadDocumentFile(Context& context, const std::string& path);

using Matcher = settings::common::GroupNameMatcher;

/// What words of the command line select, each spelled as in the lists of the protocol: a name, a pattern
/// ("prefix*"), or either in quotes ("\"h*\"" is the group "h*"). Throws `UsageError` when the quoted form is
/// malformed.
[[nodiscard]] Matcher AsMatcher(const std::vector<std::string>& words);
/// The same; everything when there are no words.
[[nodiscard]] Matcher AsMatcherOrAll(const std::vector<std::string>& words);
/// What each of these options says about its value.
constexpr const char* kGroupsHelp = "Groups and patterns ('prefix*'; '\"h*\"' is the group 'h*')";

/// Throws `UsageError` when the text is no locator.
[[nodiscard]] settings::common::SettingLocator AsLocator(const std::string& text);

/// Complains of each group that is asked for by its name and not in `found`. The status: `kDone` when there
/// is none.
[[nodiscard]] int ComplainOfMissing(const Context& context, const Matcher& asked, const core::IniFile& found);

/// One value (or, without a name, one group) that two documents do not both have alike. A group that comes or
/// goes is one change by itself, and so is each of its values.
struct Change {
    std::string group;
    std::optional<std::string> name;
    std::optional<std::string> from;
    std::optional<std::string> to;
};

[[nodiscard]] std::vector<Change> Changes(const core::IniFile& from, const core::IniFile& to);
/// For people one line a value: "- [group]name = old" and "+ [group]name = new"; as JSON an array. Throws
/// `UsageError` for the forms that cannot say it.
void WriteChanges(Context& context, const std::vector<Change>& changes);

/// Says why a test failed.
[[nodiscard]] std::string Describe(const settings::ZumraSettingsClient::Difference& difference);

}  // namespace zumra::cli
