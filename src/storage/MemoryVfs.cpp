#include "storage/MemoryVfs.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

/// SQLite provides the room for it.
struct OpenedFile {
    sqlite3_file base;  ///< first: SQLite sees nothing else of it
    MemoryVfs* vfs;
    std::string name;
    std::shared_ptr<std::string> data;
    bool deleteOnClose;
};

OpenedFile& Of(sqlite3_file* file) {
    return *static_cast<OpenedFile*>(static_cast<void*>(file));
}

MemoryVfs& Of(sqlite3_vfs* vfs) {
    return *static_cast<MemoryVfs*>(vfs->pAppData);
}

/// Two of them at a time need names of their own.
unsigned NextNumber() {
    static std::atomic<unsigned> next{0};
    return next++;
}

/// What SQLite calls must not throw.
template <class Work>
int Guarded(const Work& work) {
    try {
        return work();
    } catch (const std::exception&) {
        return SQLITE_IOERR_NOMEM;
    }
}

}  // namespace

struct MemoryVfsCalls {
    using Call = MemoryVfs::Call;

    static int Ask(OpenedFile& file, Call call) { return file.vfs->Before(call, file.name); }

    static int Close(sqlite3_file* file) {
        OpenedFile& opened = Of(file);
        if (opened.deleteOnClose) {
            opened.vfs->files.erase(opened.name);
        }
        opened.~OpenedFile();
        return SQLITE_OK;
    }
    static int Read(sqlite3_file* file, void* buffer, int size, sqlite3_int64 offset) {
        OpenedFile& opened = Of(file);
        if (const int error = Ask(opened, Call::kRead)) {
            return error;
        }
        const auto wanted = static_cast<std::size_t>(size);
        const std::size_t from = std::min(static_cast<std::size_t>(offset), opened.data->size());
        const std::size_t got = opened.data->copy(static_cast<char*>(buffer), wanted, from);
        // SQLite relies on the rest being zero.
        std::memset(static_cast<char*>(buffer) + got, 0, wanted - got);
        return got == wanted ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
    }
    static int Write(sqlite3_file* file, const void* buffer, int size, sqlite3_int64 offset) {
        OpenedFile& opened = Of(file);
        if (const int error = Ask(opened, Call::kWrite)) {
            return error;
        }
        return Guarded([&] {
            const auto from = static_cast<std::size_t>(offset);
            const auto count = static_cast<std::size_t>(size);
            opened.data->resize(std::max(opened.data->size(), from + count));
            opened.data->replace(from, count, static_cast<const char*>(buffer), count);
            return SQLITE_OK;
        });
    }
    static int Truncate(sqlite3_file* file, sqlite3_int64 size) {
        OpenedFile& opened = Of(file);
        if (const int error = Ask(opened, Call::kTruncate)) {
            return error;
        }
        return Guarded([&] {
            opened.data->resize(static_cast<std::size_t>(size));
            return SQLITE_OK;
        });
    }
    static int Sync(sqlite3_file* file, int) { return Ask(Of(file), Call::kSync); }
    static int Size(sqlite3_file* file, sqlite3_int64* size) {
        OpenedFile& opened = Of(file);
        *size = static_cast<sqlite3_int64>(opened.data->size());
        return Ask(opened, Call::kSize);
    }
    static int Lock(sqlite3_file*, int) { return SQLITE_OK; }
    static int IsReserved(sqlite3_file*, int* reserved) {
        *reserved = 0;
        return SQLITE_OK;
    }
    static int Control(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
    static int SectorSize(sqlite3_file*) { return 512; }
    /// As SQLite assumes of the system's files.
    static int Characteristics(sqlite3_file*) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; }

    static int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        static constexpr sqlite3_io_methods kMethods{
            1,       Close,      Read,    Write,      Truncate,        Sync,    Size,    Lock,
            Lock,    IsReserved, Control, SectorSize, Characteristics, nullptr, nullptr, nullptr,
            nullptr, nullptr,    nullptr};
        file->pMethods = nullptr;
        return Guarded([&] {
            MemoryVfs& memory = Of(vfs);
            std::string path = name != nullptr ? name : "nameless " + std::to_string(memory._nameless++);
            if (const int error = memory.Before(Call::kOpen, path)) {
                return error;
            }
            auto found = memory.files.find(path);
            if (found == memory.files.end()) {
                if ((flags & SQLITE_OPEN_CREATE) == 0) {
                    return SQLITE_CANTOPEN;
                }
                found = memory.files.emplace(path, std::make_shared<std::string>()).first;
            }
            const bool deleted = (flags & SQLITE_OPEN_DELETEONCLOSE) != 0;
            new (file) OpenedFile{{&kMethods}, &memory, std::move(path), found->second, deleted};
            if (outFlags != nullptr) {
                *outFlags = flags;
            }
            return SQLITE_OK;
        });
    }
    static int Delete(sqlite3_vfs* vfs, const char* name, int) {
        return Guarded([&] {
            if (const int error = Of(vfs).Before(Call::kDelete, name)) {
                return error;
            }
            return Of(vfs).files.erase(name) != 0 ? SQLITE_OK : SQLITE_IOERR_DELETE_NOENT;
        });
    }
    static int Access(sqlite3_vfs* vfs, const char* name, int, int* result) {
        return Guarded([&] {
            const auto found = Of(vfs).files.find(name);
            // An empty file counts as none, as it does for SQLite's own files.
            *result = found != Of(vfs).files.end() && !found->second->empty() ? 1 : 0;
            return Of(vfs).Before(Call::kAccess, name);
        });
    }
    static int FullPath(sqlite3_vfs*, const char* name, int room, char* path) {
        if (std::strlen(name) >= static_cast<std::size_t>(room)) {
            return SQLITE_CANTOPEN;
        }
        std::strcpy(path, name);
        return SQLITE_OK;
    }
};

MemoryVfs::MemoryVfs() : _name("zumra memory " + std::to_string(NextNumber())) {
    const sqlite3_vfs* system = sqlite3_vfs_find(nullptr);
    if (system == nullptr) {
        throw osa::Exception("SQLite cannot be used here");
    }
    // Time and chance are the system's.
    _vfs = *system;
    _vfs.iVersion = 1;
    _vfs.szOsFile = sizeof(OpenedFile);
    _vfs.mxPathname = PATH_MAX;
    _vfs.pNext = nullptr;
    _vfs.zName = _name.c_str();
    _vfs.pAppData = this;
    _vfs.xOpen = MemoryVfsCalls::Open;
    _vfs.xDelete = MemoryVfsCalls::Delete;
    _vfs.xAccess = MemoryVfsCalls::Access;
    _vfs.xFullPathname = MemoryVfsCalls::FullPath;
    if (sqlite3_vfs_register(&_vfs, 0) != SQLITE_OK) {
        throw osa::Exception("SQLite takes no files in memory");
    }
}

MemoryVfs::~MemoryVfs() {
    sqlite3_vfs_unregister(&_vfs);
}

int MemoryVfs::Before(Call, const std::string&) {
    return SQLITE_OK;
}

}  // namespace zumra::storage
