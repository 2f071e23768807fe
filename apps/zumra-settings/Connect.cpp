#include "zumra-settings/Connect.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "settings/client/connection/ConnectionBackend.h"
#include "settings/client/connection/SocketStream.h"
#include "zumra-settings/Context.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

using settings::client::FileDescriptor;

[[noreturn]] void Fail(const std::string& socket, const std::string& reason) {
    throw NoServer{"no server at '" + Visible(socket) + "': " + reason};
}

FileDescriptor Open(const std::string& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.empty() || socket.size() >= sizeof address.sun_path) {
        Fail(socket, "the path must have 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, socket.data(), socket.size());
    FileDescriptor descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const void* generic = &address;
    if (descriptor.Get() < 0 ||
        ::connect(descriptor.Get(), static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        Fail(socket, std::generic_category().message(errno));
    }
    return descriptor;
}

/// What stands between the first and the last line of a reply.
std::string Content(const std::string& reply) {
    constexpr std::string_view kHead = "data\n";
    constexpr std::string_view kEnd = ".\n";
    constexpr std::string_view kError = "error\n";
    if (reply.rfind(kError, 0) == 0) {
        throw osa::Exception(reply.substr(kError.size(), reply.find('\n', kError.size()) - kError.size()));
    }
    if (reply.rfind(kHead, 0) != 0 || reply.size() < kHead.size() + kEnd.size() ||
        reply.compare(reply.size() - kEnd.size(), kEnd.size(), kEnd) != 0) {
        throw osa::Exception("the server's report is not whole");
    }
    return reply.substr(kHead.size(), reply.size() - kHead.size() - kEnd.size());
}

}  // namespace

std::string DefaultSocket() {
    const char* named =
        std::getenv("ZUMRA_SETTINGS_SOCKET");  // NOLINT(concurrency-mt-unsafe): nobody writes it
    if (named != nullptr && *named != '\0') {
        return named;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");  // NOLINT(concurrency-mt-unsafe): nobody writes it
    if (runtime != nullptr && *runtime == '/') {
        std::string own = std::string(runtime) + "/zumra/settings.sock";
        struct stat status {};
        if (::stat(own.c_str(), &status) == 0) {
            return own;
        }
    }
    return "/run/zumra/settings.sock";
}

std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket) {
    using namespace settings::client;
    auto stream = std::make_unique<SocketStream>(Open(socket));
    return std::make_unique<settings::ZumraSettingsClient>(MakeConnectionBackend(std::move(stream), {}));
}

core::IniFile AskReport(const std::string& socket, const std::string& name) {
    const FileDescriptor descriptor = Open(socket);
    const std::string request = name + "\n";
    if (::send(descriptor.Get(), request.data(), request.size(), MSG_NOSIGNAL) < 0 ||
        ::shutdown(descriptor.Get(), SHUT_WR) != 0) {
        Fail(socket, std::generic_category().message(errno));
    }
    std::string reply;
    std::array<char, 65536> block{};
    for (ssize_t got = 1; got > 0;) {
        got = ::recv(descriptor.Get(), block.data(), block.size(), 0);
        if (got < 0) {
            Fail(socket, std::generic_category().message(errno));
        }
        reply.append(block.data(), static_cast<std::size_t>(got));
    }
    core::IniFile report;
    report.LoadFromString(Content(reply));
    return report;
}

}  // namespace zumra::cli
