#pragma once

#include <cstddef>
#include <vector>

namespace zumra::check {

/// Tells how many threads were started since it was made and still run.
class LeftThreads {
public:
    LeftThreads();

    /// Waits for a moment when there are some: a thread that was joined is gone a little after the join.
    [[nodiscard]] std::size_t Count() const;

private:
    std::vector<long> _before;
};

}  // namespace zumra::check
