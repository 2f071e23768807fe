#pragma once

#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>

namespace zumra::storage {

/// Files of SQLite databases in memory: what SQLite calls a VFS. A database that is opened with its name
/// reads and writes these files and no others, and is locked against nobody. Without memory that processes
/// share: the write-ahead log needs `PRAGMA locking_mode = EXCLUSIVE`.
///
/// Thread-safety: used by one thread at a time. Every database is closed before it is destroyed.
class MemoryVfs {
public:
    /// A file stays as long as it has its name here, or is open.
    using Files = std::map<std::string, std::shared_ptr<std::string>>;

    /// Throws `zumra::osa::Exception` when SQLite does not take it.
    MemoryVfs();
    virtual ~MemoryVfs();
    MemoryVfs(const MemoryVfs&) = delete;
    MemoryVfs& operator=(const MemoryVfs&) = delete;

    /// For `sqlite3_open_v2`.
    [[nodiscard]] const char* Name() const { return _name.c_str(); }

    /// By the names that SQLite gives them: the path of the database, and this with "-wal" or "-journal".
    Files files;

protected:
    enum class Call { kOpen, kRead, kWrite, kTruncate, kSync, kSize, kDelete, kAccess };
    /// Asked before a call is carried out: SQLite's code for why it fails instead, or SQLITE_OK. Must not
    /// throw.
    virtual int Before(Call call, const std::string& name);

private:
    friend struct MemoryVfsCalls;

    std::string _name;
    sqlite3_vfs _vfs{};
    unsigned _nameless = 0;
};

}  // namespace zumra::storage
