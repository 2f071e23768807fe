#include "zumra-settingsd/Paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "settings/client/SocketPlace.h"
#include "zumra/osa/Exception.h"

namespace zumra::settingsd {

namespace {

/// Relative paths in these variables are to be ignored, as their definition says.
std::string FromEnvironment(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody writes it
    return value != nullptr && *value == '/' ? value : "";
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string Below(const char* variable, const char* fallback) {
    const std::string base = FromEnvironment(variable);
    return base.empty() ? FromEnvironment("HOME") + fallback : base;
}

bool IsRoot() {
    return ::geteuid() == 0;
}

[[noreturn]] void CannotMake(const std::string& folder, const std::string& reason) {
    throw osa::Exception("cannot make folder '" + folder + "': " + reason);
}

/// Anybody may make folders in /tmp: one that another user made for us is a trap.
void RefuseForeign(const std::string& folder) {
    if (!settings::client::IsPrivateFolder(folder)) {
        CannotMake(folder, "it is there already and others may write to it");
    }
}

}  // namespace

std::string DefaultSocketPath() {
    return settings::client::OwnSocketPath();
}

std::string DefaultStoreUri() {
    return "ini:" + (IsRoot() ? std::string("/var/lib") : Below("XDG_STATE_HOME", "/.local/state")) +
           "/zumra/settings.ini";
}

std::string DefaultConfigPath() {
    return (IsRoot() ? std::string("/etc") : Below("XDG_CONFIG_HOME", "/.config")) + "/zumra/settingsd.conf";
}

void MakeFolderOf(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string folder = path.substr(0, slash);
        if (::mkdir(folder.c_str(), IsRoot() ? 0755 : 0700) != 0 && errno != EEXIST && !IsFolder(folder)) {
            CannotMake(folder, std::generic_category().message(errno));
        }
        if (folder == settings::client::TemporarySocketFolder()) {
            RefuseForeign(folder);
        }
    }
}

void CheckFolderOf(const std::string& path) {
    std::string folder = path;
    do {
        const auto slash = folder.rfind('/');
        folder = slash == std::string::npos ? "." : folder.substr(0, std::max<std::size_t>(slash, 1));
    } while (::access(folder.c_str(), F_OK) != 0 && errno == ENOENT && folder != "." && folder != "/");
    const int error = !IsFolder(folder) ? ENOTDIR : ::access(folder.c_str(), W_OK | X_OK) != 0 ? errno : 0;
    if (error != 0) {
        throw osa::Exception("cannot make files in '" + folder +
                             "': " + std::generic_category().message(error));
    }
}

}  // namespace zumra::settingsd
