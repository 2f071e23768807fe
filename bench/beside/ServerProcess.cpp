#include "ServerProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace zumra::beside {

namespace {

/// Output of the servers is of no interest here, unless they fail.
void Become(const std::string& program, std::vector<char*>& words) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, STDIN_FILENO);
    ::dup2(nowhere, STDOUT_FILENO);
    ::execv(program.c_str(), words.data());
    ::_exit(127);
}

}  // namespace

ServerProcess::ServerProcess(const std::string& program, const std::string& name,
                             const std::vector<std::string>& arguments) {
    std::vector<std::string> texts{name};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> words;
    for (std::string& text : texts) {
        words.push_back(text.data());
    }
    words.push_back(nullptr);
    _process = ::fork();
    if (_process < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (_process == 0) {
        Become(program, words);
    }
}

ServerProcess::ServerProcess(ServerProcess&& other) noexcept : _process(std::exchange(other._process, -1)) {}

ServerProcess& ServerProcess::operator=(ServerProcess&& other) noexcept {
    std::swap(_process, other._process);
    return *this;
}

ServerProcess::~ServerProcess() {
    if (_process > 0) {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
    }
}

void ServerProcess::Stop() {
    ::kill(_process, SIGTERM);
    int status = 0;
    ::waitpid(std::exchange(_process, -1), &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("a server ended with wait status " + std::to_string(status));
    }
}

double ServerProcess::ResidentKiB() const {
    std::ifstream status("/proc/" + std::to_string(_process) + "/status");
    std::string word;
    double size = 0;
    while (status >> word) {
        if (word == "VmRSS:" && status >> size) {
            return size;
        }
    }
    throw std::runtime_error("a server is gone");
}

int TryConnect(const std::string& path) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const void* generic = &address;
    if (::connect(descriptor, static_cast<const sockaddr*>(generic), sizeof address) == 0) {
        return descriptor;
    }
    ::close(descriptor);
    return -1;
}

int ConnectSoon(const std::string& path) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < end) {
        const int descriptor = TryConnect(path);
        if (descriptor >= 0) {
            return descriptor;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    throw std::runtime_error("nobody serves '" + path + "'");
}

}  // namespace zumra::beside
