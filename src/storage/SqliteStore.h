#pragma once

#include <memory>
#include <string>

#include "storage/ISettingsStore.h"

namespace zumra::storage {

class IFileCalls;
class MemoryVfs;

/// Keeps the document in an SQLite database and writes only the values that differ from it, in one
/// transaction that is on disk when `Save` returns (write-ahead log, full synchronisation). The database is
/// locked against every other process while the store exists.
///
/// Tables: `groups(name)`, and `settings(grp, name, value)`; all columns are BLOBs, so that names and values
/// may hold any byte. `application_id` is 0x5A554D52 and `user_version` 1 (both frozen): any other database
/// is refused and left alone.
class SqliteStore : public ISettingsStore {
public:
    /// Opens the database or makes it (mode 0600). Throws `zumra::osa::Exception`
    /// "cannot use settings database '<path>': <reason>".
    explicit SqliteStore(const std::string& path);
    /// The same with the files of `vfs`, which outlives the store.
    SqliteStore(const std::string& path, const MemoryVfs& vfs);
    ~SqliteStore() override;

    [[nodiscard]] core::IniFile Load() override;
    void Save(const core::IniFile& document) override;
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override;

private:
    struct Database;
    void Prepare();

    std::unique_ptr<Database> _database;
};

/// What a database at `path` holds, which another process may be using meanwhile: its files are read, and
/// nothing is made, changed, locked or waited for. Empty when there is none. Throws as the constructor of
/// `SqliteStore` does for a database that it would refuse.
[[nodiscard]] core::IniFile LookAtDatabase(IFileCalls& calls, const std::string& path);

}  // namespace zumra::storage
