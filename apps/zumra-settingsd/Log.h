#pragma once

#include <memory>
#include <string_view>

namespace zumra::settingsd {

class LogWriter;

/// The daemon's log: one line an event on a descriptor (standard error), each beginning with its level in the
/// form
/// "<6>" that journald understands. A line end or another control byte within an event is written as "\xHH",
/// so that nobody's data can pose as an event. Events name connections, groups, files and reasons, never
/// values.
///
/// Nobody who logs waits for whoever reads: lines that find no room are dropped, and a line tells how many
/// when there is room again (`LogWriter`).
///
/// Thread-safety: any thread may log; lines are not mixed up.
class Log {
public:
    /// As in syslog; smaller is graver.
    enum Level { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6, kDebug = 7 };

    /// Throws `std::system_error` when there is no thread to write with.
    explicit Log(Level least = kInfo, int descriptor = 2);
    /// Waits until everything is written, as long as somebody takes it.
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void Write(Level level, std::string_view event);
    void Error(std::string_view event) { Write(kError, event); }
    void Warning(std::string_view event) { Write(kWarning, event); }
    void Notice(std::string_view event) { Write(kNotice, event); }
    void Info(std::string_view event) { Write(kInfo, event); }
    void Debug(std::string_view event) { Write(kDebug, event); }

private:
    const Level _least;
    std::unique_ptr<LogWriter> _writer;
};

}  // namespace zumra::settingsd
