#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zumra::settings::server {

/// Bytes that a connection received and no request has used yet, taken line by line or as they are.
///
/// What it keeps is bounded by what is appended between two calls of `NextLine` and the limit of a line: a
/// line that grows over the limit is dropped as it comes. The search for a line end never looks at a byte
/// twice. One thread at a time.
class LineBuffer {
public:
    struct Line {
        std::string_view text;  ///< without "\n" and without a "\r" before it; empty when too long
        bool tooLong = false;
        bool cut = false;  ///< the input ended within it
    };

    /// `lineLimit` is the greatest length of a line in bytes, without its line end.
    explicit LineBuffer(std::size_t lineLimit) : _lineLimit(lineLimit) {}

    /// Throws `std::bad_alloc` and keeps what was there.
    void Append(std::string_view bytes);
    /// Nothing more will come: what remains without a line end is a line too.
    void Finish() noexcept { _finished = true; }

    /// The next whole line; its text is valid until the next call of `Append` or `NextLine`.
    [[nodiscard]] std::optional<Line> NextLine();

    /// The unused bytes, valid until the next call of `Append`, `NextLine` or `Consume`.
    [[nodiscard]] std::string_view Bytes() const noexcept { return std::string_view(_bytes).substr(_begin); }
    void Consume(std::size_t count);

    [[nodiscard]] std::size_t size() const noexcept { return _bytes.size() - _begin; }
    [[nodiscard]] bool Finished() const noexcept { return _finished; }
    /// Drops everything.
    void Clear() noexcept;

private:
    std::optional<Line> LastLine();
    Line TakeLine(std::size_t end, std::size_t next);
    void DropOverlongPart();

    const std::size_t _lineLimit;
    std::string _bytes;
    std::size_t _begin = 0;    ///< of the unused bytes
    std::size_t _scanned = 0;  ///< no "\n" stands before this
    bool _dropping = false;    ///< the beginning of an overlong line was dropped
    bool _finished = false;
};

}  // namespace zumra::settings::server
