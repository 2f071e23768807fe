#pragma once

/// Lets the system refuse threads to this test program.
namespace zumra::test {

/// From now on `good` threads can be started and no more; -1: as many as one likes.
void FailThreadsAfter(int good);
/// False where a sanitizer has to see the real thing.
[[nodiscard]] bool CanFailThreads();

/// A number of repetitions, less of them under a sanitizer.
[[nodiscard]] unsigned Scaled(unsigned repetitions);

}  // namespace zumra::test
