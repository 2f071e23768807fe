#include "settings/client/ReadyFlag.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Longer waits are cut to this, which `poll` can still count in its milliseconds.
constexpr milliseconds kLongestWait = std::chrono::hours(24 * 20);

std::string SystemErrorText(int code) {
    return std::error_code(code, std::generic_category()).message();
}

int PollTimeout(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

}  // namespace

ReadyFlag::ReadyFlag() : _descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (_descriptor < 0) {
        throw osa::Exception("Failed to create the file descriptor of a watcher: " + SystemErrorText(errno));
    }
}

ReadyFlag::~ReadyFlag() {
    ::close(_descriptor);
}

void ReadyFlag::Raise() noexcept {
    if (!_raised) {
        ::eventfd_write(_descriptor, 1);
        _raised = true;
    }
}

void ReadyFlag::Lower() noexcept {
    if (_raised) {
        eventfd_t count = 0;
        ::eventfd_read(_descriptor, &count);
        _raised = false;
    }
}

bool ReadyFlag::Wait(milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + std::clamp(timeout, milliseconds(0), kLongestWait);
    for (;;) {
        pollfd entry{_descriptor, POLLIN, 0};
        const int ready = ::poll(&entry, 1, PollTimeout(deadline));
        if (ready >= 0) {
            return ready > 0;
        }
        if (errno != EINTR) {
            throw osa::Exception("Failed to wait for a change: " + SystemErrorText(errno));
        }
    }
}

}  // namespace zumra::settings::client
