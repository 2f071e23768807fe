#pragma once

#include <string>
#include <string_view>

namespace zumra::check {

/// The text in well-formed UTF-8 that XML may hold: a byte of anything else, and of control characters but
/// tabs and line ends, is shown as "\x1B".
std::string Printable(std::string_view text);

/// The same as content of an element, or of an attribute in double quotes, in XML and in HTML.
std::string Escaped(std::string_view text);

/// The same in double quotes, as YAML and JSON read it.
std::string InQuotes(std::string_view text);

}  // namespace zumra::check
