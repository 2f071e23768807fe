#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "storage/FileCalls.h"
#include "storage/MemoryVfs.h"
#include "storage/ReplaceFile.h"
#include "storage/SqliteStore.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

/// A log that begins anew so often while its database is read is no settings daemon's.
constexpr int kAttempts = 100;
/// A log that is begun anew gets another header.
constexpr std::size_t kLogHeader = 32;

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
    throw osa::Exception("cannot use settings database '" + path + "': " + reason);
}

using Text = std::optional<std::string>;

Text Header(const Text& log) {
    return log ? Text(log->substr(0, kLogHeader)) : log;
}

/// The files as they were together. What is written to the database meanwhile stands in its log already, and
/// stays there until the log is begun anew, which its header shows first. So a log that is read after the
/// database, and was not begun anew since before, completes whatever was read of the database.
bool TryToRead(IFileCalls& calls, const std::string& path, MemoryVfs::Files& files) {
    const Text before = Header(ReadFile(calls, path + "-wal"));
    const Text database = ReadFile(calls, path);
    const Text log = ReadFile(calls, path + "-wal");
    const Text journal = ReadFile(calls, path + "-journal");
    const Text after = Header(ReadFile(calls, path + "-wal"));
    if (before != after || (!log && database != ReadFile(calls, path))) {
        return false;
    }
    files.clear();
    for (const auto& [name, text] : {std::pair(path, &database), std::pair(path + "-wal", &log),
                                     std::pair(path + "-journal", &journal)}) {
        if (*text) {
            files.emplace(name, std::make_shared<std::string>(**text));
        }
    }
    return true;
}

}  // namespace

core::IniFile LookAtDatabase(IFileCalls& calls, const std::string& path) {
    if (::access(path.c_str(), R_OK | W_OK) != 0) {
        if (errno == ENOENT) {
            return {};
        }
        Fail(path, std::generic_category().message(errno));
    }
    MemoryVfs vfs;
    int attempts = 0;
    while (!TryToRead(calls, path, vfs.files)) {
        if (++attempts == kAttempts) {
            Fail(path, "it changes while it is read");
        }
    }
    return SqliteStore(path, vfs).Load();
}

}  // namespace zumra::storage
