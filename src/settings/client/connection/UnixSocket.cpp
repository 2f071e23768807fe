#include "settings/client/connection/UnixSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "core/IniText.h"
#include "settings/client/connection/SocketStream.h"

namespace zumra::settings::client {

namespace {

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
    throw osa::Exception("no server at '" + core::Printable(path) + "': " + reason);
}

void SetTimeout(const FileDescriptor& socket, int option, std::chrono::milliseconds time) {
    // To the system 0 means for ever, and it takes no more than so many ticks.
    time = std::clamp(time, std::chrono::milliseconds(1), std::chrono::milliseconds(std::chrono::hours(24)));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timeval value{};
    value.tv_sec = seconds.count();
    value.tv_usec = std::chrono::duration_cast<std::chrono::microseconds>(time - seconds).count();
    ::setsockopt(socket.Get(), SOL_SOCKET, option, &value, sizeof value);
}

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        Fail(path, "the path must have 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

}  // namespace

FileDescriptor OpenSocket(const std::string& path) {
    const sockaddr_un address = AddressOf(path);
    const void* generic = &address;
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.Get() < 0 ||
        ::connect(socket.Get(), static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        Fail(path, std::generic_category().message(errno));
    }
    ::fcntl(socket.Get(), F_SETFL, 0);
    return socket;
}

std::unique_ptr<IByteStream> ConnectToSocket(const std::string& path, std::chrono::milliseconds silence) {
    FileDescriptor socket = OpenSocket(path);
    SetTimeout(socket, SO_RCVTIMEO, silence);
    SetTimeout(socket, SO_SNDTIMEO, silence);
    return std::make_unique<SocketStream>(std::move(socket));
}

}  // namespace zumra::settings::client
