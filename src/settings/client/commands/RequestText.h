#pragma once

#include <iosfwd>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::client {

/// Writes names and patterns, one a line, and the line that ends a list.
void WriteList(std::ostream& out, const common::GroupNameMatcher& groups);
/// Writes INI text and the line that ends a document.
void WriteDocument(std::ostream& out, const core::IniFile& document);

}  // namespace zumra::settings::client
