#include "zumra-settings/Connect.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "settings/client/connection/UnixSocket.h"
#include "zumra-settings/Context.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

using settings::client::FileDescriptor;

FileDescriptor Open(const std::string& socket) {
    try {
        return settings::client::OpenSocket(socket);
    } catch (const osa::Exception& e) {
        throw NoServer{e.what()};
    }
}

[[noreturn]] void Fail(const std::string& socket, const std::string& reason) {
    throw NoServer{"no server at '" + Visible(socket) + "': " + reason};
}

void LimitSilence(const FileDescriptor& descriptor, std::chrono::milliseconds silence) {
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(silence.count() / 1000);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>(silence.count() % 1000 * 1000);
    if (::setsockopt(descriptor.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
        throw osa::Exception("cannot limit the time to wait for an answer: " +
                             std::generic_category().message(errno));
    }
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
    return settings::ZumraSettingsClient::DefaultSocketPath();
}

std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket,
                                                       std::chrono::milliseconds silence) {
    settings::ZumraSettingsClient::RemoteOptions options;
    options.socketPath = socket;
    options.patience = {};
    options.silence = silence;
    auto client = std::make_unique<settings::ZumraSettingsClient>(options);
    try {
        client->Sync();
    } catch (const osa::Exception& e) {
        throw NoServer{e.what()};
    }
    return client;
}

core::IniFile AskReport(const std::string& socket, const std::string& name,
                        std::chrono::milliseconds silence) {
    const FileDescriptor descriptor = Open(socket);
    LimitSilence(descriptor, silence);
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
            Fail(socket, errno == EAGAIN ? "it does not answer" : std::generic_category().message(errno));
        }
        reply.append(block.data(), static_cast<std::size_t>(got));
    }
    core::IniFile report;
    report.LoadFromString(Content(reply));
    return report;
}

}  // namespace zumra::cli
