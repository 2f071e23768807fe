#pragma once

#include <iosfwd>
#include <new>

namespace zumra::settings::client {

/// Memory ended while a reply was being kept. The reply was read all the same, up to its end, so that what
/// follows it can be understood.
class UnkeptReply final : public std::bad_alloc {};

/// Reads on from wherever the memory ended within a reply, up to and including its line ".". Needs no memory
/// itself. Throws `zumra::osa::Exception` "the reply is cut short" when the stream ends before that line.
void SkipReply(std::istream& in);
/// The same up to the end of the line.
void SkipReplyLine(std::istream& in);

/// Calls `keep`, which reads a reply up to its line "."; where memory ends in that, skips the rest and throws
/// `UnkeptReply`.
template <class Keep>
void KeepReply(std::istream& in, Keep keep) {
    try {
        keep();
    } catch (const std::bad_alloc&) {
        SkipReply(in);
        throw UnkeptReply();
    }
}

}  // namespace zumra::settings::client
