#include "storage/ReplaceFile.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

#include "storage/FileCalls.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

constexpr mode_t kOwnerOnly = 0600;

[[noreturn]] void Fail(const char* what, const std::string& path, int error) {
    throw osa::Exception(std::string("cannot ") + what + " '" + path +
                         "': " + std::generic_category().message(error));
}

/// An open file that is closed at the latest when it goes out of scope.
class OpenFile {
public:
    OpenFile(IFileCalls& calls, const std::string& path, int flags) : _calls(calls), _path(path) {
        do {
            _fd = calls.Open(path.c_str(), flags | O_CLOEXEC, kOwnerOnly);
        } while (_fd < 0 && errno == EINTR);
    }
    ~OpenFile() {
        if (_fd >= 0) {
            _calls.Close(_fd);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    [[nodiscard]] bool IsOpen() const { return _fd >= 0; }

    [[nodiscard]] std::string ReadAll() {
        std::string content;
        char block[65536];
        for (;;) {
            const ssize_t got = _calls.Read(_fd, block, sizeof block);
            if (got > 0) {
                content.append(block, static_cast<std::size_t>(got));
            } else if (got == 0) {
                return content;
            } else if (errno != EINTR) {
                Fail("read", _path, errno);
            }
        }
    }

    void WriteAll(std::string_view content) {
        while (!content.empty()) {
            const ssize_t put = _calls.Write(_fd, content.data(), content.size());
            if (put >= 0) {
                content.remove_prefix(static_cast<std::size_t>(put));
            } else if (errno != EINTR) {
                Fail("write", _path, errno);
            }
        }
    }

    void Sync() {
        while (_calls.Fsync(_fd) != 0) {
            if (errno != EINTR) {
                Fail("sync", _path, errno);
            }
        }
    }

    /// The descriptor is gone afterwards, whatever the result: it is never closed twice.
    void Close() {
        const int fd = _fd;
        _fd = -1;
        if (_calls.Close(fd) != 0 && errno != EINTR) {
            Fail("close", _path, errno);
        }
    }

private:
    IFileCalls& _calls;
    const std::string& _path;
    int _fd = -1;
};

void WriteNew(IFileCalls& calls, const std::string& path, std::string_view content) {
    OpenFile file(calls, path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
    if (!file.IsOpen()) {
        Fail("create", path, errno);
    }
    file.WriteAll(content);
    file.Sync();
    file.Close();
}

/// Gives the present file a second name, so that there is no moment without it. Where the file system cannot,
/// the present file is moved instead.
void KeepPrevious(IFileCalls& calls, const std::string& path) {
    const std::string previous = PreviousName(path);
    const std::string link = previous + ".link";
    if (calls.Unlink(link.c_str()) != 0 && errno != ENOENT) {
        Fail("remove", link, errno);
    }
    if (calls.Link(path.c_str(), link.c_str()) == 0) {
        if (calls.Rename(link.c_str(), previous.c_str()) != 0) {
            Fail("rename", link, errno);
        }
        // Renaming one name of a file to another of the same file does nothing and leaves both.
        calls.Unlink(link.c_str());
        return;
    }
    const int error = errno;
    if (error == ENOENT) {
        return;
    }
    if (error != EPERM && error != EOPNOTSUPP && error != EMLINK && error != ENOSYS) {
        Fail("link", path, error);
    }
    if (calls.Rename(path.c_str(), previous.c_str()) != 0 && errno != ENOENT) {
        Fail("rename", path, errno);
    }
}

}  // namespace

std::string PreviousName(const std::string& path) {
    return path + ".previous";
}

std::optional<std::string> ReadFile(IFileCalls& calls, const std::string& path) {
    OpenFile file(calls, path, O_RDONLY);
    if (!file.IsOpen()) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        Fail("read", path, errno);
    }
    return file.ReadAll();
}

void SyncDirectoryOf(IFileCalls& calls, const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    OpenFile file(calls, directory, O_RDONLY | O_DIRECTORY);
    if (!file.IsOpen()) {
        Fail("open directory", directory, errno);
    }
    file.Sync();
    file.Close();
}

void ReplaceFile(IFileCalls& calls, const std::string& path, std::string_view content) {
    const std::string fresh = path + ".new";
    try {
        WriteNew(calls, fresh, content);
        KeepPrevious(calls, path);
        if (calls.Rename(fresh.c_str(), path.c_str()) != 0) {
            Fail("rename", fresh, errno);
        }
    } catch (...) {
        calls.Unlink(fresh.c_str());
        throw;
    }
    SyncDirectoryOf(calls, path);
}

}  // namespace zumra::storage
