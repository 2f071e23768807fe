#pragma once

#include <cstddef>

namespace zumra::test {

/// While it lives, the `failAt`-th allocation (the first is 1) by the operator new fails, and with `forGood`
/// every one after it. One at a time.
class FailingMemory {
public:
    /// Whose allocations count and fail.
    enum Whose { kThisThreads, kEveryThreads };

    explicit FailingMemory(std::size_t failAt, bool forGood = false, Whose whose = kThisThreads) noexcept;
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether an allocation failed.
    [[nodiscard]] bool Failed() const noexcept;
    /// How many allocations from here the first failure is; 0 after it.
    [[nodiscard]] std::size_t Left() const noexcept;

    /// Lets this thread's allocations succeed while it lives: for what a test itself needs meanwhile.
    class Pause {
    public:
        Pause() noexcept;
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        const bool _before;
    };
};

/// How many allocations of the operator new, by all threads, were not given back so far.
[[nodiscard]] std::ptrdiff_t LiveAllocations() noexcept;

}  // namespace zumra::test
