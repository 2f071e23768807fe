#include "settings/client/connection/RemoteLink.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestPause{2000};
/// How long a callback that runs when the client ends may still use it.
constexpr milliseconds kLastCalls{1000};
/// Longer than any program runs, and far from where time points overflow.
constexpr milliseconds kForEver = std::chrono::hours(24 * 365 * 50);

}  // namespace

RemoteLink::RemoteLink(Steps steps, milliseconds patience, milliseconds firstPause)
    : _steps(std::move(steps)),
      _patience(std::clamp(patience, milliseconds(0), kForEver)),
      _firstPause(firstPause) {
    {
        osa::MutexLock lock(_mutex);
        // For the reason that must not need memory.
        _reason.reserve(std::strlen(ReplyStream::kOutOfMemory));
    }
    _thread = JoiningThread([this] { Run(); });
}

RemoteLink::~RemoteLink() {
    {
        osa::MutexLock lock(_mutex);
        _stop = true;
        if (_fresh) {
            _fresh->connection.Shutdown();
        }
        _changed.NotifyAll();
    }
    _thread.Join();
    std::shared_ptr<LiveConnection> last;  // it says that it ends, so everything must still be there
    osa::MutexLock lock(_mutex);
    last.swap(_current.live);
}

ILink::Clock::time_point RemoteLink::GiveUpTime() const {
    return Clock::now() + _patience;
}

void RemoteLink::EndWaiting() noexcept {
    osa::MutexLock lock(_mutex);
    _nobodyWaits = true;
    _cutOff = Clock::now() + kLastCalls;
    _changed.NotifyAll();
}

ILink::Linked RemoteLink::Acquire(Clock::time_point giveUp) {
    osa::MutexLock lock(_mutex);
    while (!_current.live || _ended) {
        if (_nobodyWaits) {
            throw osa::Exception("connection lost: the client is being destroyed");
        }
        if (Clock::now() < giveUp) {
            _changed.WaitUntil(_mutex, giveUp);
        } else if (_trying || _current.live) {
            _changed.Wait(_mutex);
        } else {
            throw osa::Exception(_reason);
        }
    }
    return _current;
}

void RemoteLink::Run() {
    do {
        if (TryConnect()) {
            AwaitEnd();
            _pause = {};
        }
    } while (Pause());
}

bool RemoteLink::TryConnect() {
    std::uint64_t number = 0;
    {
        osa::MutexLock lock(_mutex);
        number = ++_number;
        _ended = false;
        _trying = true;
    }
    std::shared_ptr<LiveConnection> live;
    try {
        live = _steps.connect([this, number] { OnEnd(number); });
        if (Prepare(live, number)) {
            return true;
        }
        Refuse(live->connection.EndReason().c_str());
    } catch (const std::bad_alloc&) {
        Refuse(ReplyStream::kOutOfMemory);
    } catch (const std::exception& e) {
        Refuse(e.what());
    }
    if (live != nullptr) {
        Discard(live->connection);
    }
    return false;
}

/// Nobody uses the server for now, and why.
void RemoteLink::Refuse(const char* reason) noexcept {
    osa::MutexLock lock(_mutex);
    _trying = false;
    SetReason(*reason != '\0' ? reason : "connection lost");
    _changed.NotifyAll();
}

/// Ends a connection that is not to be used, so that nothing is told of it when there is another.
void RemoteLink::Discard(Connection& connection) {
    connection.Shutdown();
    osa::MutexLock lock(_mutex);
    while (!_ended && !_stop) {
        _changed.Wait(_mutex);
    }
}

void RemoteLink::SetReason(const char* reason) noexcept {
    try {
        _reason = reason;
    } catch (const std::bad_alloc&) {
        _reason = ReplyStream::kOutOfMemory;
    }
}

/// Makes a connection the current one when it is ready.
bool RemoteLink::Prepare(const std::shared_ptr<LiveConnection>& live, std::uint64_t number) {
    {
        osa::MutexLock lock(_mutex);
        if (_stop) {
            return false;
        }
        _fresh = live;
    }
    bool prepared = false;
    std::exception_ptr refusal;
    try {
        prepared = _steps.prepare(live);
    } catch (...) {
        refusal = std::current_exception();
    }
    osa::MutexLock lock(_mutex);
    _fresh.reset();  // never the last: the caller holds one
    if (refusal) {
        std::rethrow_exception(refusal);
    }
    if (!prepared || _ended || _stop) {
        return false;
    }
    _current = {live, number};
    _trying = false;
    _changed.NotifyAll();
    return true;
}

void RemoteLink::AwaitEnd() {
    bool cut = false;
    {
        osa::MutexLock lock(_mutex);
        while (!_ended && !_stop) {
            if (!_nobodyWaits || cut) {
                _changed.Wait(_mutex);
            } else if (Clock::now() < _cutOff) {
                _changed.WaitUntil(_mutex, _cutOff);
            } else {
                cut = true;
                _current.live->connection.Shutdown();
            }
        }
        if (_stop) {
            return;
        }
    }
    LetGo();
}

void RemoteLink::LetGo() {
    std::shared_ptr<LiveConnection> ended;  // let go outside the lock, for that waits for its thread
    osa::MutexLock lock(_mutex);
    ended.swap(_current.live);
    try {
        SetReason(ended->connection.EndReason().c_str());
    } catch (const std::bad_alloc&) {
        SetReason(ReplyStream::kOutOfMemory);
    }
    _changed.NotifyAll();
}

bool RemoteLink::Pause() {
    _pause = std::clamp(2 * _pause, _firstPause, kLongestPause);
    const auto spread = std::uniform_int_distribution<milliseconds::rep>(0, _pause.count() / 2)(_random);
    const auto end = Clock::now() + _pause - milliseconds(spread);
    osa::MutexLock lock(_mutex);
    while (!_stop && !_nobodyWaits && Clock::now() < end) {
        _changed.WaitUntil(_mutex, end);
    }
    return !_stop && !_nobodyWaits;
}

void RemoteLink::OnEnd(std::uint64_t number) {
    osa::MutexLock lock(_mutex);
    if (number == _number) {
        _ended = true;
        _changed.NotifyAll();
    }
}

}  // namespace zumra::settings::client
