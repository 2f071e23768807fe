#pragma once

#include <string_view>

#include "zumra/osa/Mutex.h"

namespace zumra::settingsd {

/// The daemon's log: one line an event on a descriptor (standard error), each beginning with its level in the
/// form
/// "<6>" that journald understands. A line end or another control byte within an event is written as "\xHH",
/// so that nobody's data can pose as an event. Events name connections, groups, files and reasons, never
/// values.
///
/// Thread-safety: any thread may log; lines are not mixed up.
class Log {
public:
    /// As in syslog; smaller is graver.
    enum Level { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6, kDebug = 7 };

    explicit Log(Level least = kInfo, int descriptor = 2) : _least(least), _descriptor(descriptor) {}
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void Write(Level level, std::string_view event);
    void Error(std::string_view event) { Write(kError, event); }
    void Warning(std::string_view event) { Write(kWarning, event); }
    void Notice(std::string_view event) { Write(kNotice, event); }
    void Info(std::string_view event) { Write(kInfo, event); }
    void Debug(std::string_view event) { Write(kDebug, event); }

private:
    void Put(std::string_view line) ZUMRA_REQUIRES(_mutex);

    const Level _least;
    const int _descriptor;
    osa::Mutex _mutex{"log"};
};

}  // namespace zumra::settingsd
