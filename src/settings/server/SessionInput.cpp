#include "settings/server/SessionInput.h"

#include <algorithm>

namespace zumra::settings::server {
namespace {

/// A buffer that once held more than this gives its memory back when it is empty: connections are many.
constexpr std::size_t kKeptCapacity = std::size_t{16} << 10;

}  // namespace

void LineBuffer::Append(std::string_view bytes) {
    if (_begin > 0) {
        _bytes.erase(0, _begin);
        _scanned -= std::min(_scanned, _begin);
        _begin = 0;
    }
    _bytes.append(bytes);
}

std::optional<LineBuffer::Line> LineBuffer::NextLine() {
    const std::size_t end = _bytes.find('\n', std::max(_scanned, _begin));
    if (end != std::string::npos) {
        return TakeLine(end, end + 1);
    }
    _scanned = _bytes.size();
    DropOverlongPart();
    return _finished ? LastLine() : std::nullopt;
}

/// The rest of the input, which no line end closes.
std::optional<LineBuffer::Line> LineBuffer::LastLine() {
    if (size() == 0 && !_dropping) {
        return std::nullopt;
    }
    Line line = TakeLine(_bytes.size(), _bytes.size());
    line.cut = true;
    return line;
}

LineBuffer::Line LineBuffer::TakeLine(std::size_t end, std::size_t next) {
    Line line;
    line.text = std::string_view(_bytes).substr(_begin, end - _begin);
    if (!line.text.empty() && line.text.back() == '\r') {
        line.text.remove_suffix(1);
    }
    if (_dropping || line.text.size() > _lineLimit) {
        line = Line{{}, true, false};
    }
    _dropping = false;
    _begin = next;
    _scanned = next;
    return line;
}

void LineBuffer::DropOverlongPart() {
    const std::size_t possible = size() - (size() > 0 && _bytes.back() == '\r' ? 1 : 0);
    if (_dropping || possible > _lineLimit) {
        _dropping = true;
        _begin = _bytes.size();
    }
    if (size() == 0) {
        Consume(0);
    }
}

void LineBuffer::Consume(std::size_t count) {
    _begin += count;
    _scanned = std::max(_scanned, _begin);
    if (_begin < _bytes.size()) {
        return;
    }
    _bytes.clear();
    _begin = _scanned = 0;
    if (_bytes.capacity() > kKeptCapacity) {
        _bytes.shrink_to_fit();
    }
}

void LineBuffer::Clear() noexcept {
    std::string().swap(_bytes);
    _begin = _scanned = 0;
    _dropping = false;
}

}  // namespace zumra::settings::server
