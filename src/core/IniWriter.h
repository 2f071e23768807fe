#pragma once

#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

namespace zumra::core {

/// Appends one group in the form that `IniFile::SaveToStream` writes: its line, its values, an empty line.
/// Whole documents are these, one after another.
ZUMRA_EXPORT void AppendGroup(std::string& out, std::string_view name, const IniFile::Group& values);

}  // namespace zumra::core
