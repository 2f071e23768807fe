#pragma once

#include <cstddef>

namespace zumra::testing {

/// While it lives, the `failAt`-th allocation (the first is 1) of this thread by the operator new fails, and
/// with `forGood` every one after it.
class FailingMemory {
public:
    explicit FailingMemory(std::size_t failAt, bool forGood = false) noexcept;
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether an allocation failed.
    [[nodiscard]] bool Failed() const noexcept;
};

}  // namespace zumra::testing
