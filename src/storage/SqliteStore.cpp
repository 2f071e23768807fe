#include "storage/SqliteStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <concepts>
#include <functional>
#include <string_view>
#include <system_error>

#include "storage/MemoryVfs.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

constexpr int kApplicationId = 0x5A554D52;
constexpr int kVersion = 1;

/// Makes the file first, so that it is never readable for others, not even for a moment.
void MakeFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        throw osa::Exception("cannot use settings database '" + path +
                             "': " + std::generic_category().message(errno));
    }
    ::close(fd);
}

}  // namespace

struct SqliteStore::Database {
    Database(const std::string& file, int flags, const char* vfs) : path(file) {
        const int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | flags, vfs);
        if (result != SQLITE_OK) {
            const std::string reason = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(result);
            sqlite3_close(handle);
            throw osa::Exception("cannot use settings database '" + path + "': " + reason);
        }
    }
    ~Database() { sqlite3_close(handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    [[noreturn]] void Fail(const std::string& reason) const {
        throw osa::Exception("cannot use settings database '" + path + "': " + reason);
    }
    void Check(int result) const {
        if (result == SQLITE_BUSY || result == SQLITE_LOCKED) {
            Fail("another process is using it");
        }
        if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE) {
            Fail(sqlite3_errmsg(handle));
        }
    }
    void Run(const char* sql) const { Check(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr)); }

    std::string path;
    sqlite3* handle = nullptr;
};

namespace {

/// One prepared statement; columns and parameters are BLOBs.
class Statement {
public:
    template <class Database>
    Statement(const Database& database, const char* sql)
        : _check([&database](int result) { database.Check(result); }) {
        _check(sqlite3_prepare_v2(database.handle, sql, -1, &_statement, nullptr));
    }
    ~Statement() { sqlite3_finalize(_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void Run(const auto&... texts) requires(std::convertible_to<decltype(texts), std::string_view>&&...) {
        Run([](const Statement&) {}, texts...);
    }
    /// Calls `row(statement)` for each row.
    template <class Row, class... Texts>
    requires std::invocable<Row, const Statement&>
    void Run(const Row& row, const Texts&... texts) {
        int index = 0;
        (Bind(++index, texts), ...);
        while (Step()) {
            row(*this);
        }
        _check(sqlite3_reset(_statement));
    }
    [[nodiscard]] bool Step() {
        const int result = sqlite3_step(_statement);
        _check(result);
        return result == SQLITE_ROW;
    }
    [[nodiscard]] std::string Text(int column) const {
        const void* bytes = sqlite3_column_blob(_statement, column);
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(_statement, column));
        return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
    }
    [[nodiscard]] int Number(int column) const { return sqlite3_column_int(_statement, column); }

private:
    void Bind(int index, std::string_view text) {
        // A null pointer would bind NULL, not an empty BLOB.
        const char* bytes = text.empty() ? "" : text.data();
        _check(sqlite3_bind_blob64(_statement, index, bytes, text.size(), SQLITE_STATIC));
    }

    std::function<void(int)> _check;
    sqlite3_stmt* _statement = nullptr;
};

template <class Database>
int ReadNumber(const Database& database, const char* sql) {
    Statement statement(database, sql);
    return statement.Step() ? statement.Number(0) : 0;
}

/// What a person put in by hand is of another type than what this writes, and would not be found by it.
template <class Database>
void TakeTextsAsBlobs(const Database& database) {
    database.Run(
        "BEGIN IMMEDIATE;"
        "UPDATE OR REPLACE groups SET name = CAST(ifnull(name, '') AS BLOB) WHERE typeof(name) <> 'blob';"
        "UPDATE OR REPLACE settings SET grp = CAST(ifnull(grp, '') AS BLOB), name = CAST(ifnull(name, '') AS "
        "BLOB)"
        " WHERE typeof(grp) <> 'blob' OR typeof(name) <> 'blob';"
        "COMMIT;");
}

template <class Database>
void CheckOrMakeTables(const Database& database) {
    const int application = ReadNumber(database, "PRAGMA application_id");
    const int version = ReadNumber(database, "PRAGMA user_version");
    if (application == kApplicationId && version == kVersion) {
        TakeTextsAsBlobs(database);
        return;
    }
    if (application != 0 || version != 0 || ReadNumber(database, "SELECT count(*) FROM sqlite_master") != 0) {
        database.Fail("it is no settings database of version " + std::to_string(kVersion));
    }
    database.Run(
        "BEGIN EXCLUSIVE;"
        "CREATE TABLE groups(name BLOB PRIMARY KEY) WITHOUT ROWID;"
        "CREATE TABLE settings(grp BLOB, name BLOB, value BLOB NOT NULL, PRIMARY KEY(grp, name)) WITHOUT "
        "ROWID;"
        "PRAGMA application_id = 1515539794;"
        "PRAGMA user_version = 1;"
        "COMMIT;");
}
static_assert(kApplicationId == 1515539794 && kVersion == 1);

template <class Database>
core::IniFile ReadAll(const Database& database) {
    core::IniFile document;
    Statement groups(database, "SELECT name FROM groups");
    while (groups.Step()) {
        (void)document[groups.Text(0)];
    }
    Statement settings(database, "SELECT grp, name, value FROM settings");
    while (settings.Step()) {
        document[settings.Text(0)][settings.Text(1)] = settings.Text(2);
    }
    return document;
}

/// Reads what the database holds of single groups, and writes what is to be different.
template <class Database>
class GroupWriter {
public:
    explicit GroupWriter(const Database& database)
        : _readGroup(database, "SELECT name, value FROM settings WHERE grp = ?1"),
          _addGroup(database, "INSERT OR IGNORE INTO groups VALUES(?1)"),
          _removeGroup(database, "DELETE FROM groups WHERE name = ?1"),
          _removeValues(database, "DELETE FROM settings WHERE grp = ?1"),
          _setValue(database, "INSERT OR REPLACE INTO settings VALUES(?1, ?2, ?3)"),
          _removeValue(database, "DELETE FROM settings WHERE grp = ?1 AND name = ?2") {}

    void Remove(const std::string& group) {
        _removeValues.Run(group);
        _removeGroup.Run(group);
    }

    void Put(const std::string& group, const core::IniFile::Group& values) {
        _addGroup.Run(group);
        const core::IniFile::Group before = Read(group);
        for (const auto& [name, value] : before) {
            if (values.find(name) == values.end()) {
                _removeValue.Run(group, name);
            }
        }
        for (const auto& [name, value] : values) {
            const auto old = before.find(name);
            if (old == before.end() || old->second != value) {
                _setValue.Run(group, name, value);
            }
        }
    }

private:
    core::IniFile::Group Read(const std::string& group) {
        core::IniFile::Group values;
        _readGroup.Run([&values](const Statement& row) { values[row.Text(0)] = row.Text(1); }, group);
        return values;
    }

    Statement _readGroup;
    Statement _addGroup;
    Statement _removeGroup;
    Statement _removeValues;
    Statement _setValue;
    Statement _removeValue;
};

/// All that `write` does with a `GroupWriter`, or nothing of it.
template <class Database, class Write>
void InOneTransaction(const Database& database, const Write& write) {
    database.Run("BEGIN IMMEDIATE");
    try {
        GroupWriter writer(database);
        write(writer);
        database.Run("COMMIT");
    } catch (...) {
        sqlite3_exec(database.handle, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

}  // namespace

SqliteStore::SqliteStore(const std::string& path) {
    MakeFile(path);
    _database = std::make_unique<Database>(path, 0, nullptr);
    Prepare();
}

SqliteStore::SqliteStore(const std::string& path, const MemoryVfs& vfs)
    : _database(std::make_unique<Database>(path, SQLITE_OPEN_CREATE, vfs.Name())) {
    Prepare();
}

void SqliteStore::Prepare() {
    _database->Run("PRAGMA locking_mode = EXCLUSIVE");
    _database->Run("PRAGMA journal_mode = WAL");
    _database->Run("PRAGMA synchronous = FULL");
    _database->Run("BEGIN EXCLUSIVE; COMMIT");
    CheckOrMakeTables(*_database);
}

SqliteStore::~SqliteStore() = default;

core::IniFile SqliteStore::Load() {
    return ReadAll(*_database);
}

void SqliteStore::Save(const core::IniFile& document) {
    std::set<std::string> removed;
    for (const auto& [name, values] : ReadAll(*_database)) {
        if (!document.HasGroup(name)) {
            removed.insert(name);
        }
    }
    SaveChanges(document, removed);
}

void SqliteStore::SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) {
    InOneTransaction(*_database, [&](auto& writer) {
        for (const std::string& group : removed) {
            writer.Remove(group);
        }
        for (const auto& [group, values] : changed) {
            writer.Put(group, values);
        }
    });
}

}  // namespace zumra::storage
