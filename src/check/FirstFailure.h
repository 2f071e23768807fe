#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

namespace zumra::check {

/// The first failure of the running check. Lies in static storage: Check leaves a failed check without
/// unwinding, so nothing that it still has to read may be owned by a frame.
///
/// Thread-safety: `Note` from any thread, `IsSet` from any thread and in signal handlers, and when it says so
/// `Text` and `Report` too; `Clear` only while no check runs.
class FirstFailure {
public:
    /// Check ends the program over texts longer than 4,088 bytes.
    static constexpr std::size_t kTextLimit = 4000;
    static constexpr std::size_t kFileLimit = 500;

    /// Keeps a failure, unless one is kept already; after it one is.
    void Note(std::string_view text, const char* file, int line) noexcept;
    [[nodiscard]] bool IsSet() const noexcept { return _state == kSet; }
    /// Null-terminated, as `Place`, which is "FILE:LINE".
    [[nodiscard]] const char* Text() const noexcept { return _text; }
    [[nodiscard]] const char* Place() const noexcept { return _place; }
    void Clear() noexcept;
    /// Tells Check the failure's place, for the case that the check ends badly before it is reported.
    void MarkPlace() const;
    /// Hands the failure to Check, which leaves the check.
    [[noreturn]] void Report() const;

private:
    enum State { kEmpty, kBeingWritten, kSet };
    std::atomic<State> _state{kEmpty};
    char _text[kTextLimit + 1] = "";
    char _file[kFileLimit + 1] = "";
    int _line = 0;
    char _place[kFileLimit + 20] = "";
};

/// That of the running check: Check has one running check a process and gives it no context.
extern FirstFailure firstFailure;

/// False for the bytes of a character in UTF-8 that are not its first.
inline bool StartsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// What a failing assertion throws; deliberately no `std::exception`.
struct LeaveCheck {};

}  // namespace zumra::check
