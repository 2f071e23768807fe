#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zumra/Export.h"

/// The quoting rule of every text form of this system: the INI text, setting locators and the list lines of
/// the protocol. What a reader would take for something else stands in double quotes, with C-like escapes
/// inside:
///
///     \"  \\  \n  \r  \t  \0   and   \xHH with exactly two hexadecimal digits
///
/// ("\0" is a NUL whatever follows it). Everything else stands as it is, outside quotes also every backslash.
/// Text that itself begins with a double quote is always quoted, so the first byte tells the two forms apart.
///
/// Thread-safety: functions without state.
namespace zumra::core {

/// Space and tab.
[[nodiscard]] constexpr bool IsBlank(char c) noexcept {
    return c == ' ' || c == '\t';
}

/// `text` without the blanks at its ends.
[[nodiscard]] ZUMRA_EXPORT std::string_view TrimBlanks(std::string_view text) noexcept;

/// Whether the text must be quoted where it stands between brackets on a group line.
[[nodiscard]] ZUMRA_EXPORT bool GroupNeedsQuotes(std::string_view group) noexcept;
/// Whether the text must be quoted where it stands before the "=" of a value line.
[[nodiscard]] ZUMRA_EXPORT bool NameNeedsQuotes(std::string_view name) noexcept;
/// Whether the text must be quoted where it stands after the "=" of a value line.
[[nodiscard]] ZUMRA_EXPORT bool ValueNeedsQuotes(std::string_view value) noexcept;
/// Whether the text must be quoted where it takes the rest of a line, blanks included.
[[nodiscard]] ZUMRA_EXPORT bool RestOfLineNeedsQuotes(std::string_view text) noexcept;

/// Appends the quoted form of `text`, quotes included. It holds no line end, no carriage return and no NUL.
ZUMRA_EXPORT void AppendQuoted(std::string& out, std::string_view text);

struct QuotedText {
    std::size_t length;  ///< bytes that the quoted form takes, both quotes included
    const char* error;   ///< why it is no quoted form; null when it is one
};

/// Reads the quoted form that `text` begins with and appends what it stands for to `out`. `text` begins with
/// a double quote. On an error `out` may have grown.
[[nodiscard]] ZUMRA_EXPORT QuotedText ReadQuoted(std::string_view text, std::string& out);

/// `text` for a person to read in an error message: control characters as escapes, and only its beginning
/// when it is longer than `limit` bytes.
[[nodiscard]] ZUMRA_EXPORT std::string Printable(std::string_view text, std::size_t limit = 100);

}  // namespace zumra::core
