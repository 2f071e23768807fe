#include "server/FailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t untilFailure = 0;
thread_local bool forEver = false;
thread_local bool failed = false;

bool MustFail() noexcept {
    if (untilFailure == 0) {
        return failed && forEver;
    }
    if (--untilFailure > 0) {
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
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace zumra::testing {

FailingMemory::FailingMemory(std::size_t failAt, bool forGood) noexcept {
    failed = false;
    forEver = forGood;
    untilFailure = failAt;
}

FailingMemory::~FailingMemory() {
    untilFailure = 0;
    forEver = false;
    failed = false;
}

bool FailingMemory::Failed() const noexcept {
    return failed;
}

}  // namespace zumra::testing
