#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "storage/FileCalls.h"

namespace zumra::storage {

/// Thrown by the call during which the power fails.
struct PowerCut {};

/// One directory of files in memory that knows what has reached the disk: the bytes of a file only after its
/// `fsync`, names only after the `fsync` of the directory. Can fail any call, or cut the power at it.
class FakeFiles : public IFileCalls {
public:
    struct Inode {
        std::string data;
        std::string synced;
    };
    using Names = std::map<std::string, std::shared_ptr<Inode>>;

    /// How much of what was not synced reached the disk all the same.
    struct Luck {
        std::size_t nameChanges = 0;  ///< so many of the changes to names, in order
        enum Data { kSyncedOnly, kHalf, kAll } data = kSyncedOnly;
    };

    int Open(const char* path, int flags, mode_t mode) override;
    ssize_t Read(int fd, void* buffer, std::size_t size) override;
    ssize_t Write(int fd, const void* buffer, std::size_t size) override;
    int Fsync(int fd) override;
    int Close(int fd) override;
    int Rename(const char* from, const char* to) override;
    int Link(const char* from, const char* to) override;
    int Unlink(const char* path) override;

    /// Call number `call` (from 0) fails with `error`, once.
    void FailAt(std::size_t call, int error);
    void CutAt(std::size_t call);
    void NoHardLinks() { _hardLinks = false; }
    void WriteAtMost(std::size_t bytes) { _writeAtMost = bytes; }
    /// What the machine finds when it starts again.
    void Reboot(const Luck& luck);
    void Disarm();

    [[nodiscard]] std::size_t Calls() const { return _calls; }
    [[nodiscard]] std::size_t OpenDescriptors() const { return _open.size(); }
    [[nodiscard]] std::size_t UnsyncedNameChanges() const { return _history.size(); }
    [[nodiscard]] const std::vector<std::string>& CallNames() const { return _callNames; }
    [[nodiscard]] bool Exists(const std::string& path) const { return _names.count(path) != 0; }
    /// For arranging: as if written and synced long ago.
    void Put(const std::string& path, const std::string& data);
    [[nodiscard]] std::string Get(const std::string& path) const;

private:
    struct Descriptor {
        std::shared_ptr<Inode> inode;  ///< null: the directory
        std::size_t position = 0;
    };

    bool Fails(const char* name);
    void NamesChanged() { _history.push_back(_names); }

    Names _names;
    Names _syncedNames;
    std::vector<Names> _history;  ///< after each change to names since the directory was synced
    std::map<int, Descriptor> _open;
    int _nextDescriptor = 100;
    std::size_t _calls = 0;
    std::vector<std::string> _callNames;
    std::size_t _failAt = static_cast<std::size_t>(-1);
    int _error = 0;
    std::size_t _cutAt = static_cast<std::size_t>(-1);
    bool _hardLinks = true;
    std::size_t _writeAtMost = static_cast<std::size_t>(-1);
};

}  // namespace zumra::storage
