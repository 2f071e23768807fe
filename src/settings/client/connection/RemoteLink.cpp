#include "settings/client/connection/RemoteLink.h"

#include <algorithm>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{20};
constexpr milliseconds kLongestPause{2000};
/// How long a callback that runs when the client ends may still use it.
constexpr milliseconds kLastCalls{1000};
/// Longer than any program runs, and far from where time points overflow.
constexpr milliseconds kForEver = std::chrono::hours(24 * 365 * 50);

}  // namespace

RemoteLink::RemoteLink(Steps steps, milliseconds patience)
    : _steps(std::move(steps)),
      _patience(std::clamp(patience, milliseconds(0), kForEver)),
      _thread([this] { Run(); }) {}

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
    std::string reason;
    try {
        const auto live = _steps.connect([this, number] { OnEnd(number); });
        if (Prepare(live, number)) {
            return true;
        }
        reason = live->connection.EndReason();
    } catch (const std::exception& e) {
        reason = e.what();
    }
    osa::MutexLock lock(_mutex);
    _trying = false;
    _reason = reason.empty() ? "connection lost" : std::move(reason);
    _changed.NotifyAll();
    return false;
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
    _reason = ended->connection.EndReason();
    _changed.NotifyAll();
}

bool RemoteLink::Pause() {
    _pause = std::clamp(2 * _pause, kFirstPause, kLongestPause);
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
