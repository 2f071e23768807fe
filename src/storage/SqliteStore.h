#pragma once

#include <memory>
#include <string>

#include "storage/ISettingsStore.h"

namespace zumra::storage {

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
    ~SqliteStore() override;

    [[nodiscard]] core::IniFile Load() override;
    void Save(const core::IniFile& document) override;
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override;

private:
    struct Database;
    std::unique_ptr<Database> _database;
};

}  // namespace zumra::storage
