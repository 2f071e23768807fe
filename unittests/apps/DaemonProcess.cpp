#include "apps/DaemonProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace zumra::settingsd {

namespace {

/// Only for a daemon that hangs: the test fails then.
constexpr int kPatienceMilliseconds = 60000;

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// What runs a program of the machine that is built for; nothing where that is this machine.
std::vector<std::string> EmulatorWords() {
    std::istringstream words(ZUMRA_EMULATOR);
    return {std::istream_iterator<std::string>(words), {}};
}

}  // namespace

DaemonProcess::DaemonProcess(const std::vector<std::string>& arguments, Until until) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        Fail("pipe");
    }
    std::vector<std::string> words = EmulatorWords();
    words.emplace_back(ZUMRA_SETTINGSD_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    _process = ::fork();
    if (_process < 0) {
        Fail("fork");
    }
    if (_process == 0) {
        ::dup2(ends[1], STDERR_FILENO);
        ::execvp(pointers[0], pointers.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    _stderr = ends[0];
    _serves = until == Until::kServes && WaitForLog("serving ");
}

DaemonProcess::~DaemonProcess() {
    if (_process > 0) {
        ::kill(_process, SIGKILL);
        Wait();
    }
    ::close(_stderr);
}

void DaemonProcess::Signal(int signal) const {
    ::kill(_process, signal);
}

bool DaemonProcess::ReadLog() {
    pollfd ready{_stderr, POLLIN, 0};
    if (::poll(&ready, 1, kPatienceMilliseconds) == 0) {
        throw std::runtime_error("the daemon logs nothing; so far:\n" + _log);
    }
    std::array<char, 4096> block{};
    const ssize_t got = ::read(_stderr, block.data(), block.size());
    if (got > 0) {
        _log.append(block.data(), static_cast<std::size_t>(got));
    }
    return got > 0;
}

void DaemonProcess::DrainLog() {
    pollfd ready{_stderr, POLLIN, 0};
    while (::poll(&ready, 1, 0) > 0 && ReadLog()) {
    }
}

bool DaemonProcess::WaitForLog(const std::string& text) {
    for (;;) {
        const auto found = _log.find(text, _searched);
        if (found != std::string::npos) {
            _searched = found + text.size();
            return true;
        }
        if (!ReadLog()) {
            return false;
        }
    }
}

int DaemonProcess::Wait() {
    while (ReadLog()) {
    }
    int status = 0;
    while (::waitpid(_process, &status, 0) < 0 && errno == EINTR) {
    }
    _process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

RawClient::RawClient(const std::string& socketPath)
    : _socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    const void* generic = &address;
    if (_socket < 0 || ::connect(_socket, static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        Fail("cannot connect to " + socketPath);
    }
}

RawClient::~RawClient() {
    ::close(_socket);
}

void RawClient::Send(const std::string& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t put = ::send(_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (put < 0) {
            Fail("send");
        }
        sent += static_cast<std::size_t>(put);
    }
}

void RawClient::EndInput() const {
    ::shutdown(_socket, SHUT_WR);
}

std::string RawClient::ReceiveUntil(const std::string& end) {
    std::string text;
    while (end.empty() || text.size() < end.size() ||
           text.compare(text.size() - end.size(), end.size(), end) != 0) {
        pollfd ready{_socket, POLLIN, 0};
        if (::poll(&ready, 1, kPatienceMilliseconds) == 0) {
            throw std::runtime_error("the daemon does not answer; so far:\n" + text);
        }
        // Byte by byte where an end is looked for, so that nothing behind it is taken.
        std::array<char, 4096> block{};
        const ssize_t got = ::recv(_socket, block.data(), end.empty() ? block.size() : 1, 0);
        if (got <= 0) {
            return text;
        }
        text.append(block.data(), static_cast<std::size_t>(got));
    }
    return text;
}

std::string RawClient::ReceiveAll() {
    return ReceiveUntil("");
}

}  // namespace zumra::settingsd
