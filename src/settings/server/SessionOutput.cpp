#include "settings/server/SessionOutput.h"

#include <algorithm>
#include <new>
#include <utility>

namespace zumra::settings::server {
namespace {

/// Requests are left alone while this much waits, or half of the limit when that is less: enough to keep a
/// transport busy, little enough for thousands of connections.
constexpr std::size_t kCrowded = std::size_t{1} << 20;
constexpr std::string_view kOutOfMemory = "out of memory";

}  // namespace

OutputQueue::OutputQueue(std::size_t limit, std::shared_ptr<Waker> waker)
    : _limit(limit), _waker(std::move(waker)) {}

bool OutputQueue::HasOutput() const {
    osa::MutexLock lock(_mutex);
    return !_text.empty();
}

std::size_t OutputQueue::PendingBytes() const {
    osa::MutexLock lock(_mutex);
    return _text.size() + _heldBytes;
}

std::string OutputQueue::Take() {
    osa::MutexLock lock(_mutex);
    return std::exchange(_text, std::string());
}

bool OutputQueue::Ended() const {
    osa::MutexLock lock(_mutex);
    return _ended;
}

std::string OutputQueue::EndReason() const {
    osa::MutexLock lock(_mutex);
    return _endReason;
}

bool OutputQueue::Crowded() const {
    osa::MutexLock lock(_mutex);
    return _text.size() > std::min(kCrowded, _limit / 2);
}

OutputQueue::Driving::Driving(OutputQueue& queue) : _queue(queue) {
    osa::MutexLock lock(_queue._mutex);
    _queue._driver = std::this_thread::get_id();
}

OutputQueue::Driving::~Driving() {
    osa::MutexLock lock(_queue._mutex);
    _queue._driver = std::thread::id();
}

void OutputQueue::Append(std::string reply) noexcept {
    osa::MutexLock lock(_mutex);
    try {
        if (FitsLocked(reply.size())) {
            AppendLocked(std::move(reply));
        }
    } catch (const std::bad_alloc&) {
        AbortLocked(kOutOfMemory);
    }
}

void OutputQueue::Notify(std::uint64_t revision, std::string text) noexcept {
    bool wake = false;
    {
        osa::MutexLock lock(_mutex);
        if (_ended) {
            return;
        }
        const bool foreign = _driver != std::this_thread::get_id();
        wake = foreign && _text.empty();
        try {
            if (!FitsLocked(text.size())) {
                wake = foreign;
            } else if (_holding) {
                _held.push_back(Held{revision, std::move(text)});
                _heldBytes += _held.back().text.size();
            } else {
                AppendLocked(std::move(text));
            }
        } catch (const std::bad_alloc&) {
            AbortLocked(kOutOfMemory);
            wake = foreign;
        }
    }
    if (wake) {
        _waker->Call();
    }
}

void OutputQueue::Hold() {
    osa::MutexLock lock(_mutex);
    _holding = true;
}

void OutputQueue::AppendAt(std::uint64_t revision, std::string reply) noexcept {
    osa::MutexLock lock(_mutex);
    try {
        if (FitsLocked(reply.size())) {
            AppendHeldLocked(revision, std::move(reply));
        }
    } catch (const std::bad_alloc&) {
        AbortLocked(kOutOfMemory);
    }
    _holding = false;
}

void OutputQueue::Release() noexcept {
    osa::MutexLock lock(_mutex);
    if (!_holding) {
        return;
    }
    _holding = false;
    try {
        for (const Held& held : _held) {
            _text.append(held.text);
        }
    } catch (const std::bad_alloc&) {
        AbortLocked(kOutOfMemory);
    }
    _held.clear();
    _heldBytes = 0;
}

void OutputQueue::End(std::string_view reason) noexcept {
    osa::MutexLock lock(_mutex);
    EndLocked(reason);
}

void OutputQueue::Abort(std::string_view reason) noexcept {
    bool foreign = false;
    {
        osa::MutexLock lock(_mutex);
        foreign = _driver != std::this_thread::get_id();
        AbortLocked(reason);
    }
    if (foreign) {
        _waker->Call();
    }
}

void OutputQueue::AppendLocked(std::string&& text) {
    if (_text.empty()) {
        _text = std::move(text);
    } else {
        _text.append(text);
    }
}

void OutputQueue::AppendHeldLocked(std::uint64_t revision, std::string&& reply) {
    auto later = _held.begin();
    for (; later != _held.end() && later->revision <= revision; ++later) {
        _text.append(later->text);
    }
    AppendLocked(std::move(reply));
    for (; later != _held.end(); ++later) {
        _text.append(later->text);
    }
    _held.clear();
    _heldBytes = 0;
}

/// Whether there is room; ends the connection when there is not.
bool OutputQueue::FitsLocked(std::size_t bytes) {
    if (_ended) {
        return false;
    }
    if (bytes <= _limit && _text.size() + _heldBytes <= _limit - bytes) {
        return true;
    }
    AbortLocked(LimitReason());
    return false;
}

void OutputQueue::AbortLocked(std::string_view reason) noexcept {
    EndLocked(reason);
    std::string().swap(_text);  // An assignment would keep the memory.
    _held = std::vector<Held>();
    _heldBytes = 0;
}

void OutputQueue::EndLocked(std::string_view reason) noexcept {
    if (_ended) {
        return;
    }
    _ended = true;
    try {
        _endReason = reason;
    } catch (const std::bad_alloc&) {
        _endReason = kOutOfMemory;
    }
}

std::string OutputQueue::LimitReason() const {
    return "output queue over its limit of " + std::to_string(_limit) + " bytes";
}

}  // namespace zumra::settings::server
