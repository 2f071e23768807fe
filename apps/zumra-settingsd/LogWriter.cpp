#include "zumra-settingsd/LogWriter.h"

#include <limits.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <new>
#include <utility>

namespace zumra::settingsd {

namespace {

/// So much may wait while as much is being written: some thousands of lines, for a reader that is busy.
constexpr std::size_t kWaitingAtMost = 262144;
/// For a reader at the end that takes nothing.
constexpr std::chrono::milliseconds kLastLines{1000};

/// As many whole lines as the system writes to a pipe in one piece, but at least one.
std::string_view FirstPiece(std::string_view lines) {
    const auto last = lines.substr(0, PIPE_BUF).rfind('\n');
    return lines.substr(0, (last != std::string_view::npos ? last : lines.find('\n')) + 1);
}

}  // namespace

void LogWriter::Add(std::string_view line) {
    const osa::MutexLock lock(_mutex);
    if (_dropped > 0 || (!_waiting.empty() && _waiting.size() + line.size() > kWaitingAtMost)) {
        ++_dropped;
        return;
    }
    try {
        _waiting += line;
    } catch (const std::bad_alloc&) {
        ++_dropped;
    }
    _changed.NotifyAll();
}

void LogWriter::Drop() {
    const osa::MutexLock lock(_mutex);
    ++_dropped;
    _changed.NotifyAll();
}

void LogWriter::Run() {
    WriteAll();
    bool abandoned = false;
    {
        const osa::MutexLock lock(_mutex);
        _ended = true;
        abandoned = _abandoned;
        _changed.NotifyAll();
    }
    if (abandoned) {
        delete this;
    }
}

void LogWriter::WriteAll() {
    std::size_t lost = 0;
    for (;;) {
        std::string lines;
        std::size_t dropped = 0;
        {
            const osa::MutexLock lock(_mutex);
            while (_waiting.empty() && _dropped == 0 && !_ending) {
                _changed.Wait(_mutex);
            }
            if (_waiting.empty() && _dropped == 0) {
                return;
            }
            lines.swap(_waiting);
            dropped = std::exchange(_dropped, 0);
        }
        if (lost > 0 && TellOfLost(lost)) {
            lost = 0;
        }
        lost += Put(lines) + dropped;
        if (lost > 0 && TellOfLost(lost)) {
            lost = 0;
        }
    }
}

/// Also where there is no memory: then lines are lost, too.
bool LogWriter::TellOfLost(std::size_t count) {
    char line[100];
    const int size =
        std::snprintf(line, sizeof line,
                      "<4>%zu lines of the log are missing here, for they could not be written\n", count);
    return Put({line, static_cast<std::size_t>(size)}) == 0;
}

std::size_t LogWriter::Put(std::string_view lines) {
    while (!lines.empty()) {
        const std::string_view piece = FirstPiece(lines);
        const std::size_t lost = PutPiece(piece);
        lines.remove_prefix(piece.size() - lost);
        if (lost > 0) {
            return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
        }
        const osa::MutexLock lock(_mutex);
        ++_pieces;
        _changed.NotifyAll();
    }
    return 0;
}

std::size_t LogWriter::PutPiece(std::string_view piece) {
    return _torn && PutBytes("\n") > 0 ? piece.size() : PutBytes(piece);
}

std::size_t LogWriter::PutBytes(std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t put = _write(_descriptor, rest.data(), rest.size());
        if (put > 0) {
            rest.remove_prefix(static_cast<std::size_t>(put));
            _torn = !rest.empty();
        } else if (put < 0 && errno == EAGAIN) {
            // Somebody who shares it has it not block.
            pollfd room{_descriptor, POLLOUT, 0};
            ::poll(&room, 1, -1);
        } else if (put == 0 || errno != EINTR) {
            return rest.size();
        }
    }
    return 0;
}

bool LogWriter::Finish() {
    {
        const osa::MutexLock lock(_mutex);
        _ending = true;
        _changed.NotifyAll();
        while (!_ended) {
            const std::uint64_t pieces = _pieces;
            const auto deadline = std::chrono::steady_clock::now() + kLastLines;
            while (!_ended && _pieces == pieces) {
                if (!_changed.WaitUntil(_mutex, deadline)) {
                    _abandoned = true;
                    _thread.detach();
                    return false;
                }
            }
        }
    }
    _thread.join();
    return true;
}

}  // namespace zumra::settingsd
