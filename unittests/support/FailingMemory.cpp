#include "support/FailingMemory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::ptrdiff_t> live{0};

thread_local bool counts = false;
std::atomic<bool> everyoneCounts{false};
thread_local bool paused = false;

/// 0: none is to fail any more, unless for good.
std::atomic<std::size_t> untilFailure{0};
std::atomic<bool> forEver{false};
std::atomic<bool> failed{false};

bool MustFail() noexcept {
    if (paused || !(counts || everyoneCounts.load(std::memory_order_relaxed))) {
        return false;
    }
    std::size_t left = untilFailure.load();
    do {
        if (left == 0) {
            return failed && forEver;
        }
    } while (!untilFailure.compare_exchange_weak(left, left - 1));
    if (left > 1) {
        return false;
    }
    failed = true;
    return true;
}

}  // namespace

void* operator new(std::size_t size) {
    void* memory = MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    live.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void operator delete(void* memory) noexcept {
    if (memory != nullptr) {
        live.fetch_sub(1, std::memory_order_relaxed);
        std::free(memory);
    }
}

void operator delete(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}

namespace zumra::test {

FailingMemory::FailingMemory(std::size_t failAt, bool forGood, Whose whose) noexcept {
    failed = false;
    forEver = forGood;
    untilFailure = failAt;
    counts = true;
    everyoneCounts = whose == kEveryThreads;
}

FailingMemory::~FailingMemory() {
    everyoneCounts = false;
    counts = false;
    untilFailure = 0;
    forEver = false;
}

bool FailingMemory::Failed() const noexcept {
    return failed;
}

std::size_t FailingMemory::Left() const noexcept {
    return untilFailure;
}

FailingMemory::Pause::Pause() noexcept : _before(paused) {
    paused = true;
}

FailingMemory::Pause::~Pause() {
    paused = _before;
}

std::ptrdiff_t LiveAllocations() noexcept {
    return live.load(std::memory_order_relaxed);
}

}  // namespace zumra::test
