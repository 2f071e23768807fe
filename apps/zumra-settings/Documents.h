#pragma once

#include <iosfwd>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zumra-settings/Context.h"

namespace zumra::cli {

/// The whole content of a file, or of standard input for "-". Throws `zumra::osa::Exception`
/// "cannot read '<path>': <reason>".
[[nodiscard]] std::string ReadText(Context& context, const std::string& path);
/// As `ReadText`, as a document. Errors name the file and the line.
[[nodiscard]] core::IniFile ReadDocument(Context& context, const std::string& path);

[[nodiscard]] std::set<std::string> AsSet(const std::vector<std::string>& patterns);

/// How two documents differ, one line a value: "- [group]name = old" and "+ [group]name = new". True when
/// they do.
bool WriteDifference(std::ostream& out, const Style& style, const core::IniFile& from,
                     const core::IniFile& to);

/// Says why a test failed.
[[nodiscard]] std::string Describe(const settings::ZumraSettingsClient::Difference& difference);

}  // namespace zumra::cli
