#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace zumra::settings::client {

/// Reads one line into `line`, without its line end. Throws `zumra::osa::Exception` "the reply is cut short"
/// when the stream ends before the line does, and `std::bad_alloc` when the line finds no memory.
void ReadReplyLine(std::istream& in, std::string& line);

/// Throws what is thrown of a stream that does not go on as a reply.
[[noreturn]] void ThrowCutShort();

/// Throws `zumra::osa::Exception` "expected '<expected>' but got '<line>'".
[[noreturn]] void ThrowUnexpectedReply(std::string_view expected, std::string_view line);

}  // namespace zumra::settings::client
