#include "settings/client/connection/FileDescriptor.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace zumra::settings::client {

std::string SystemErrorText(const std::string& what, int error) {
    return what + ": " + std::generic_category().message(error);
}

SocketPair MakeSocketPair(bool nonBlocking) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | (nonBlocking ? SOCK_NONBLOCK : 0), 0,
                     ends.data()) != 0) {
        throw osa::Exception(SystemErrorText("cannot make a socket pair", errno));
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

WakeFlag::WakeFlag() : _event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (_event.Get() < 0) {
        throw osa::Exception(SystemErrorText("cannot make an event descriptor", errno));
    }
}

void WakeFlag::Raise() noexcept {
    // Fails only when the counter is full: then it is raised already.
    static_cast<void>(::eventfd_write(_event.Get(), 1));
}

void WakeFlag::Lower() noexcept {
    eventfd_t count = 0;
    static_cast<void>(::eventfd_read(_event.Get(), &count));
}

}  // namespace zumra::settings::client
