#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

#include "zumra/osa/Mutex.h"

namespace zumra::settingsd {

/// Writes lines to a descriptor on a thread of its own, so that nobody who logs waits for whoever reads.
///
/// The descriptor may be shared with other processes: it is left in the mode in which it is, and is written
/// to in whole lines, as far as they fit into what the system writes to a pipe in one piece. What cannot be
/// written, because too much waits already or writing fails, is dropped and counted; a line in its place
/// tells how much, as soon as there is a place.
///
/// Thread-safety: any thread may add lines.
class LogWriter {
public:
    using WriteCall = ssize_t (*)(int descriptor, const void* bytes, std::size_t size);

    /// `write` behaves as the system's. Throws `std::system_error` when there is no thread to be had.
    explicit LogWriter(int descriptor, WriteCall write = &::write)
        : _descriptor(descriptor), _write(write), _thread([this] { Run(); }) {}
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// `line` ends in a line end. Never waits. A line for which there is no memory is dropped.
    void Add(std::string_view line);
    /// Counts a line that its writer could not make, for want of memory.
    void Drop();
    /// Returns true when everything is written, and false when nothing could be for a second: somebody still
    /// holds the other end and does not read. The thread then waits for them, maybe for ever; this belongs to
    /// it, and must have been made by `new`. Once, after the last `Add`.
    [[nodiscard]] bool Finish();

private:
    void Run();
    void WriteAll();
    /// How many lines of `lines` are lost.
    std::size_t Put(std::string_view lines);
    /// How many bytes of `piece` are lost.
    [[nodiscard]] std::size_t PutPiece(std::string_view piece);
    [[nodiscard]] std::size_t PutBytes(std::string_view rest);
    [[nodiscard]] bool TellOfLost(std::size_t count);

    const int _descriptor;
    const WriteCall _write;
    osa::Mutex _mutex{"log"};
    osa::Condition _changed;
    std::string _waiting ZUMRA_GUARDED_BY(_mutex);
    std::size_t _dropped ZUMRA_GUARDED_BY(_mutex) = 0;   ///< lines that would stand behind what waits
    std::uint64_t _pieces ZUMRA_GUARDED_BY(_mutex) = 0;  ///< written
    bool _ending ZUMRA_GUARDED_BY(_mutex) = false;
    bool _ended ZUMRA_GUARDED_BY(_mutex) = false;
    bool _abandoned ZUMRA_GUARDED_BY(_mutex) = false;  ///< nobody but the thread has it any more
    bool _torn = false;  ///< what was written last is no whole line; the thread's own
    std::thread _thread;
};

}  // namespace zumra::settingsd
