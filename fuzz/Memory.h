#pragma once

#include <cstddef>

namespace zumra::fuzz {

/// While it lives, what the program takes from the heap may not exceed what it had before by more than
/// 64 times the size of the input and a constant; the program ends, and so reports the input, where it does.
/// One at a time.
class MemoryBound {
public:
    explicit MemoryBound(std::size_t inputSize) noexcept;
    ~MemoryBound();
    MemoryBound(const MemoryBound&) = delete;
    MemoryBound& operator=(const MemoryBound&) = delete;

private:
    /// For what does not depend on the input: buffers, connections, the defaults.
    static constexpr std::size_t kConstant = std::size_t{192} << 10;
    static constexpr std::size_t kFactor = 64;
};

}  // namespace zumra::fuzz
