#include "storage/OpenStore.h"

#include <utility>

#include "storage/FileCalls.h"
#include "storage/IniFileStore.h"
#include "storage/SqliteStore.h"
#include "storage/StoreLock.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

/// Everything is in the daemon's own memory already.
class MemoryStore : public ISettingsStore {
public:
    [[nodiscard]] core::IniFile Load() override { return {}; }
    void Save(const core::IniFile&) override {}
    void SaveChanges(const core::IniFile&, const std::set<std::string>&) override {}
};

/// An INI file together with what it needs to be ours alone.
class LockedIniFileStore : public ISettingsStore {
public:
    LockedIniFileStore(const std::string& path, IniFileStore::Warn warn)
        : _lock(path), _store(_calls, path, std::move(warn)) {}
    [[nodiscard]] core::IniFile Load() override { return _store.Load(); }
    void Save(const core::IniFile& document) override { _store.Save(document); }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        _store.SaveChanges(changed, removed);
    }

private:
    StoreLock _lock;
    SystemFileCalls _calls;
    IniFileStore _store;
};

/// An INI file as it is on disk now.
class SeenIniFileStore : public MemoryStore {
public:
    explicit SeenIniFileStore(std::string path) : _path(std::move(path)) {}
    [[nodiscard]] core::IniFile Load() override {
        SystemFileCalls calls;
        return IniFileStore(calls, _path, {}).Look();
    }

private:
    const std::string _path;
};

/// A database as it is on disk now.
class SeenSqliteStore : public MemoryStore {
public:
    explicit SeenSqliteStore(std::string path) : _path(std::move(path)) {}
    [[nodiscard]] core::IniFile Load() override {
        SystemFileCalls calls;
        return LookAtDatabase(calls, _path);
    }

private:
    const std::string _path;
};

[[noreturn]] void Refuse(const std::string& uri) {
    throw osa::Exception("'" + uri + "' names no store; expected ini:PATH, sqlite:PATH or memory:");
}

enum class Kind { kIni, kSqlite, kMemory };

struct Place {
    Kind kind;
    std::string path;
};

Place Parse(const std::string& uri) {
    const auto colon = uri.find(':');
    const auto slash = uri.find('/');
    if (slash != std::string::npos && (colon == std::string::npos || slash < colon)) {
        return {Kind::kIni, uri};
    }
    const std::string scheme = uri.substr(0, colon);
    const std::string path = colon == std::string::npos ? std::string() : uri.substr(colon + 1);
    if (scheme == "ini" && !path.empty()) {
        return {Kind::kIni, path};
    }
    if (scheme == "sqlite" && !path.empty()) {
        return {Kind::kSqlite, path};
    }
    if (uri == "memory:") {
        return {Kind::kMemory, ""};
    }
    Refuse(uri);
}

}  // namespace

std::unique_ptr<ISettingsStore> OpenStore(const std::string& uri,
                                          std::function<void(const std::string&)> warn) {
    const Place place = Parse(uri);
    switch (place.kind) {
        case Kind::kIni:
            return std::make_unique<LockedIniFileStore>(place.path, std::move(warn));
        case Kind::kSqlite:
            return std::make_unique<SqliteStore>(place.path);
        case Kind::kMemory:
            break;
    }
    return std::make_unique<MemoryStore>();
}

std::unique_ptr<ISettingsStore> LookAtStore(const std::string& uri) {
    const Place place = Parse(uri);
    if (place.kind == Kind::kIni) {
        return std::make_unique<SeenIniFileStore>(place.path);
    }
    if (place.kind == Kind::kSqlite) {
        return std::make_unique<SeenSqliteStore>(place.path);
    }
    return std::make_unique<MemoryStore>();
}

std::string PathOfStore(const std::string& uri) {
    return Parse(uri).path;
}

}  // namespace zumra::storage
