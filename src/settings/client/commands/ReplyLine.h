#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace zumra::settings::client {

/// Reads one line into `line`, without its line end. Throws `zumra::osa::Exception` "the reply is cut short"
/// when the stream ends before the line does.
void ReadReplyLine(std::istream& in, std::string& line);

/// Throws `zumra::osa::Exception` "expected '<expected>' but got '<line>'".
[[noreturn]] void ThrowUnexpectedReply(std::string_view expected, std::string_view line);

}  // namespace zumra::settings::client
