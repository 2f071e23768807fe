#include "check/FirstFailure.h"

#include <cstdio>
#include <thread>

#include "zumra/check/Runner.h"

namespace zumra::check {

FirstFailure firstFailure;

namespace {

/// The length without the character whose first bytes end `text`.
std::size_t WithoutSplitCharacter(std::string_view text) {
    for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back)
        if (StartsCharacter(text[text.size() - back]))
            return text.size() - back;
    return text.size();
}

/// Copies `text`, a NUL as "\0", cut between characters where `limit` bytes are full.
void CopyCut(std::string_view text, char* target, std::size_t limit) noexcept {
    std::size_t used = 0;
    for (const char& byte : text) {
        const std::string_view shown = byte == '\0' ? std::string_view("\\0") : std::string_view(&byte, 1);
        if (used + shown.size() > limit) {
            if (!StartsCharacter(byte))
                used = WithoutSplitCharacter({target, used});
            break;
        }
        used += shown.copy(target + used, shown.size());
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
    std::snprintf(_place, sizeof _place, "%s:%d", _file, line);
    _state = kSet;
}

void FirstFailure::Clear() noexcept {
    _state = kEmpty;
}

void FirstFailure::MarkPlace() const {
    _mark_point(_file, _line);
}

void FirstFailure::Report() const {
    _ck_assert_failed(_file, _line, "Failed", "%s", _text);
}

}  // namespace zumra::check
