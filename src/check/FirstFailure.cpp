#include "check/FirstFailure.h"

#include <thread>

#include "zumra/check/Runner.h"

namespace zumra::check {

FirstFailure firstFailure;

namespace {

bool StartsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// Copies `text`, a NUL as "\0", cut at a character's start when `limit` bytes do not hold it.
void CopyCut(std::string_view text, char* target, std::size_t limit) noexcept {
    std::size_t used = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view piece = text[i] == '\0' ? std::string_view("\\0") : text.substr(i, 1);
        if (used + piece.size() > limit) {
            while (used > 0 && !StartsCharacter(text[i])) {
                --used;
                --i;
            }
            break;
        }
        used += piece.copy(target + used, piece.size());
    }
    target[used] = '\0';
}

}  // namespace

void FirstFailure::Note(std::string_view text, const char* file, int line) noexcept {
    State empty = kEmpty;
    if (!_state.compare_exchange_strong(empty, kBeingWritten)) {
        while (!IsSet())
            std::this_thread::yield();
        return;
    }
    CopyCut(text, _text, kTextLimit);
    CopyCut(file, _file, kFileLimit);
    _line = line;
    _state = kSet;
}

void FirstFailure::Clear() noexcept {
    _text[0] = '\0';
    _state = kEmpty;
}

void FirstFailure::Report() const {
    _ck_assert_failed(_file, _line, "Failed", "%s", _text);
}

}  // namespace zumra::check
