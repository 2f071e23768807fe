#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace zumra::settings::client {

/// An output stream into a string that keeps its memory from one use to the next.
class StringStream final : private std::streambuf {
public:
    StringStream() : _out(this) {}

    [[nodiscard]] std::ostream& Out() noexcept { return _out; }
    [[nodiscard]] const std::string& Text() const noexcept { return _text; }

    /// Empties it; memory beyond `kKept` bytes is given back.
    void Clear() {
        if (_text.capacity() > kKept) {
            std::string().swap(_text);
        }
        _text.clear();
        _out.clear();
    }

private:
    static constexpr std::size_t kKept = std::size_t{256} << 10;

    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            _text.push_back(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        _text.append(text, static_cast<std::size_t>(size));
        return size;
    }

    std::string _text;
    std::ostream _out;
};

}  // namespace zumra::settings::client
