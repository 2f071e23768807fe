#pragma once

#include <string>
#include <string_view>

#include "zumra/Export.h"

/// One item (a group name, a pattern, a value's text) as one line of the protocol, in lists that a line "."
/// ends. An item stands as it is unless it would then be taken for something else: when it is ".", begins
/// with a double quote, holds a line end or ends in a carriage return, it stands in double quotes with the
/// escapes of the INI text (see `core::IniFile`).
///
/// Thread-safety: functions without state.
namespace zumra::settings::common::LineCodec {

/// The line that ends a list.
inline constexpr std::string_view kEnd = ".";

/// The line, without its line end, that `Decode` reads back as this item. Never `kEnd`.
[[nodiscard]] ZUMRA_EXPORT std::string Encode(std::string_view item);
/// As `Encode`, appended to `out`.
ZUMRA_EXPORT void AppendEncoded(std::string& out, std::string_view item);

/// The item of a line that was received, without its line end; one carriage return at the end belongs to the
/// line end and is dropped. Throws `zumra::osa::Exception` "Failed to parse '<line>' as a list item:
/// <reason>" when the quoted form is malformed.
[[nodiscard]] ZUMRA_EXPORT std::string Decode(std::string_view line);

}  // namespace zumra::settings::common::LineCodec
