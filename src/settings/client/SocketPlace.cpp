#include "settings/client/SocketPlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace zumra::settings::client {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody writes it
    return value != nullptr ? value : "";
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool Exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

}  // namespace

std::string TemporarySocketFolder() {
    return "/tmp/zumra-" + std::to_string(::geteuid());
}

bool IsPrivateFolder(const std::string& folder) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & 0022) == 0;
}

std::string OwnSocketPath() {
    if (::geteuid() == 0) {
        return kSystemSocketPath;
    }
    // A relative path in this variable is to be ignored, as its definition says.
    std::string runtime = Variable("XDG_RUNTIME_DIR");
    if (runtime.empty() || runtime.front() != '/') {
        runtime = "/run/user/" + std::to_string(::geteuid());
        if (!IsFolder(runtime)) {
            return TemporarySocketFolder() + "/settings.sock";
        }
    }
    return runtime + "/zumra/settings.sock";
}

SocketPlace::SocketPlace(std::string named)
    : _named(named.empty() ? Variable("ZUMRA_SETTINGS_SOCKET") : std::move(named)), _own(OwnSocketPath()) {}

std::string SocketPlace::Find() const {
    if (!_named.empty()) {
        return _named;
    }
    const std::string folder = FolderOf(_own);
    const bool trusted = folder != TemporarySocketFolder() || IsPrivateFolder(folder);
    return trusted && Exists(_own) ? _own : kSystemSocketPath;
}

}  // namespace zumra::settings::client
