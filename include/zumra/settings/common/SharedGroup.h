#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "zumra/core/IniFile.h"

namespace zumra::settings::common {

/// A handle to the values of one group that many may read at once: the store, a reader, a notification and a
/// save hold the same group and never copy it. What a handle shows never changes under it, except through
/// `Edit` on that very handle.
///
/// Thread-safety: a handle itself is used by one thread at a time; handles to the same group may be used from
/// different threads without a lock. Copying costs one atomic increment. A default-made handle holds no
/// group; in a `Change` that stands for a group that was removed.
class SharedGroup {
public:
    using Group = core::IniFile::Group;

    SharedGroup() noexcept = default;
    explicit SharedGroup(Group values) : _node(new Node(std::move(values))) {}
    SharedGroup(const SharedGroup& other) noexcept : _node(other._node) {
        if (_node != nullptr) {
            _node->users.fetch_add(1, std::memory_order_relaxed);
        }
    }
    SharedGroup(SharedGroup&& other) noexcept : _node(std::exchange(other._node, nullptr)) {}
    SharedGroup& operator=(SharedGroup other) noexcept {
        std::swap(_node, other._node);
        return *this;
    }
    ~SharedGroup() { Release(); }

    explicit operator bool() const noexcept { return _node != nullptr; }
    const Group& operator*() const noexcept { return _node->values; }
    const Group* operator->() const noexcept { return &_node->values; }

    /// Whether this handle holds a group that no other handle holds.
    [[nodiscard]] bool Unshared() const noexcept {
        return _node != nullptr && _node->users.load(std::memory_order_acquire) == 1;
    }

    /// The values for changing: in place when this handle is the only one, otherwise of a fresh copy that
    /// only this handle holds. Requires a group. Throws `std::bad_alloc` and changes nothing when there is no
    /// memory.
    Group& Edit() {
        if (!Unshared()) {
            *this = SharedGroup(_node->values);
        }
        return _node->values;
    }

    /// Same group object, or equal values; two handles without a group are equal.
    friend bool operator==(const SharedGroup& a, const SharedGroup& b) {
        return a._node == b._node || (a && b && *a == *b);
    }
    friend bool operator!=(const SharedGroup& a, const SharedGroup& b) { return !(a == b); }

private:
    struct Node {
        explicit Node(Group&& v) : values(std::move(v)) {}
        std::atomic<std::uint32_t> users{1};
        Group values;
    };

    void Release() noexcept {
        if (_node != nullptr && _node->users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete _node;
        }
    }

    Node* _node = nullptr;
};

using GroupMap = std::map<std::string, SharedGroup, std::less<>>;

/// What one commit changed: each changed group that concerns anyone, as it is right after the commit, without
/// a group where the commit removed it. Shared by everyone whom the commit concerns, and never changed once
/// it was given to anyone.
struct Change {
    std::uint64_t revision = 0;
    GroupMap groups;
};

}  // namespace zumra::settings::common
