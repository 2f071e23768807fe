#pragma once

#include <array>
#include <string>
#include <vector>

namespace zumra::check {

/// What happened in a run, in the order in which it did, kept where it outlives the process that runs the
/// checks: a supervisor reads it when that process is gone, however it went.
class Journal {
public:
    /// What a record tells, and its fields.
    enum class Event : char {
        kPlanned = 'p',  // suite, test case, check
        kStarted = 's',  // suite, test case, check, microseconds of the steady clock
        kDefined = 'd',  // "FILE:LINE" of the definition of a check that runs in the runner's own process
        kEnded = 'e',    // outcome ('P', 'F', 'E'), microseconds, "FILE:LINE", text
        kBroken = 'b',   // the same without microseconds: the check ends the run
        kFinished = 'f'  // the run came to its end
    };
    static constexpr std::size_t kFields = 4;

    struct Record {
        Event event;
        std::array<std::string, kFields> fields;
    };

    /// From here on `Write` appends to the file `descriptor`; before, it does nothing.
    void Open(int descriptor) noexcept { _descriptor = descriptor; }

    /// May be called in a signal handler. A record that cannot be written is lost.
    void Write(Event event, const char* first = "", const char* second = "", const char* third = "",
               const char* fourth = "") noexcept;

    /// A new empty file in memory, for one run; throws `std::system_error`.
    static int NewFile();
    /// All whole records of the file.
    static std::vector<Record> Read(int descriptor);

private:
    int _descriptor = -1;
};

/// That of the runner: neither Check nor a signal handler gives any context.
extern Journal journal;

}  // namespace zumra::check
