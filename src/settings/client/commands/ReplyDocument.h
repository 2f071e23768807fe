#pragma once

#include <iosfwd>

#include "zumra/core/IniFile.h"

namespace zumra::settings::client {

/// Reads INI text up to the line "." that ends it. Throws `zumra::osa::Exception` for what is no INI text
/// ("INI line ...") and when the stream ends too early.
[[nodiscard]] core::IniFile ReadReplyDocument(std::istream& in);

}  // namespace zumra::settings::client
