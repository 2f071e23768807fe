#include "storage/FakeFiles.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zumra::storage {

bool FakeFiles::Fails(const char* name) {
    const std::size_t call = _calls++;
    _callNames.emplace_back(name);
    if (call == _cutAt) {
        throw PowerCut{};
    }
    if (call == _failAt) {
        errno = _error;
        return true;
    }
    return false;
}

int FakeFiles::Open(const char* path, int flags, mode_t) {
    if (Fails("open")) {
        return -1;
    }
    Descriptor descriptor;
    if ((flags & O_DIRECTORY) == 0) {
        auto found = _names.find(path);
        if (found == _names.end()) {
            if ((flags & O_CREAT) == 0) {
                errno = ENOENT;
                return -1;
            }
            found = _names.emplace(path, std::make_shared<Inode>()).first;
            NamesChanged();
        }
        if ((flags & O_TRUNC) != 0) {
            found->second->data.clear();
        }
        descriptor.inode = found->second;
    }
    const int fd = _nextDescriptor++;
    _open[fd] = descriptor;
    return fd;
}

ssize_t FakeFiles::Read(int fd, void* buffer, std::size_t size) {
    if (Fails("read")) {
        return -1;
    }
    Descriptor& descriptor = _open.at(fd);
    const std::string& data = descriptor.inode->data;
    const std::size_t count = std::min(size, data.size() - descriptor.position);
    std::memcpy(buffer, data.data() + descriptor.position, count);
    descriptor.position += count;
    return static_cast<ssize_t>(count);
}

ssize_t FakeFiles::Write(int fd, const void* buffer, std::size_t size) {
    if (Fails("write")) {
        return -1;
    }
    const std::size_t count = std::min(size, _writeAtMost);
    _open.at(fd).inode->data.append(static_cast<const char*>(buffer), count);
    return static_cast<ssize_t>(count);
}

int FakeFiles::Fsync(int fd) {
    if (Fails("fsync")) {
        return -1;
    }
    const Descriptor& descriptor = _open.at(fd);
    if (descriptor.inode != nullptr) {
        descriptor.inode->synced = descriptor.inode->data;
    } else {
        _syncedNames = _names;
        _history.clear();
    }
    return 0;
}

int FakeFiles::Close(int fd) {
    if (_open.erase(fd) == 0) {
        throw std::logic_error("closed twice");
    }
    return Fails("close") ? -1 : 0;
}

int FakeFiles::Rename(const char* from, const char* to) {
    if (Fails("rename")) {
        return -1;
    }
    const auto found = _names.find(from);
    if (found == _names.end()) {
        errno = ENOENT;
        return -1;
    }
    const auto inode = found->second;
    const auto target = _names.find(to);
    if (target != _names.end() && target->second == inode) {
        return 0;
    }
    _names[to] = inode;
    _names.erase(from);
    NamesChanged();
    return 0;
}

int FakeFiles::Link(const char* from, const char* to) {
    if (Fails("link")) {
        return -1;
    }
    const auto found = _names.find(from);
    if (found == _names.end() || !_hardLinks || _names.count(to) != 0) {
        errno = found == _names.end() ? ENOENT : !_hardLinks ? EPERM : EEXIST;
        return -1;
    }
    _names[to] = found->second;
    NamesChanged();
    return 0;
}

int FakeFiles::Unlink(const char* path) {
    if (Fails("unlink")) {
        return -1;
    }
    if (_names.erase(path) == 0) {
        errno = ENOENT;
        return -1;
    }
    NamesChanged();
    return 0;
}

void FakeFiles::FailAt(std::size_t call, int error) {
    _failAt = _calls + call;
    _error = error;
}

void FakeFiles::CutAt(std::size_t call) {
    _cutAt = _calls + call;
}

void FakeFiles::Disarm() {
    _failAt = _cutAt = static_cast<std::size_t>(-1);
}

void FakeFiles::Reboot(const Luck& luck) {
    Disarm();
    _open.clear();
    const std::size_t kept = std::min(luck.nameChanges, _history.size());
    _names = kept == 0 ? _syncedNames : _history[kept - 1];
    _history.clear();
    _syncedNames = _names;
    for (auto& [name, inode] : _names) {
        if (luck.data == Luck::kSyncedOnly) {
            inode->data = inode->synced;
        } else if (luck.data == Luck::kHalf && inode->data != inode->synced) {
            inode->data.resize(inode->data.size() / 2);
        }
        inode->synced = inode->data;
    }
}

void FakeFiles::Put(const std::string& path, const std::string& data) {
    _names[path] = std::make_shared<Inode>(Inode{data, data});
    _syncedNames = _names;
}

std::string FakeFiles::Get(const std::string& path) const {
    const auto found = _names.find(path);
    return found == _names.end() ? std::string() : found->second->data;
}

}  // namespace zumra::storage
