#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::cli {

/// Objects keep the order in which they were made.
using Json = nlohmann::ordered_json;

/// A document as an object of objects.
[[nodiscard]] Json ToJson(const core::IniFile& document);

/// Reads what `ToJson` made. Throws `zumra::osa::Exception` when the text is no JSON, another JSON than an
/// object of objects of strings, or has one group, or one name in a group, twice; with the line where there
/// is one to name.
[[nodiscard]] core::IniFile ReadJson(const std::string& text);

/// Writes it with a line end behind it; on one line with an `indent` of -1. Throws `zumra::osa::Exception`
/// when `what` holds bytes that are not UTF-8.
void WriteJson(std::ostream& out, const Json& json, const std::string& what, int indent = 2);

}  // namespace zumra::cli
