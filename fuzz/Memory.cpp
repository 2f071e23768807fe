#include "Memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define ZUMRA_FUZZ_ALLOCATOR_HOOKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZUMRA_FUZZ_ALLOCATOR_HOOKS
#endif
#endif

namespace {

constexpr std::ptrdiff_t kNoLimit = std::numeric_limits<std::ptrdiff_t>::max();

/// Saving may have a thread of its own.
std::atomic<std::ptrdiff_t> inUse{0};
std::atomic<std::ptrdiff_t> limit{kNoLimit};

void Take(std::size_t size) noexcept {
    const auto taken = static_cast<std::ptrdiff_t>(size);
    if (inUse.fetch_add(taken, std::memory_order_relaxed) + taken > limit.load(std::memory_order_relaxed)) {
        limit.store(kNoLimit);
        std::fputs("does not hold: memory is bounded by the input\n", stderr);
        std::abort();
    }
}

void GiveBack(std::size_t size) noexcept {
    inUse.fetch_sub(static_cast<std::ptrdiff_t>(size), std::memory_order_relaxed);
}

}  // namespace

#ifdef ZUMRA_FUZZ_ALLOCATOR_HOOKS

// The sanitizer's own operators stay, with all that they check.
#if __has_include(<sanitizer/allocator_interface.h>)
#include <sanitizer/allocator_interface.h>
#else  // the compiler brings the library without its header
extern "C" {
std::size_t __sanitizer_get_allocated_size(const volatile void* memory);
int __sanitizer_install_malloc_and_free_hooks(void (*taken)(const volatile void*, std::size_t),
                                              void (*givenBack)(const volatile void*));
}
#endif

namespace {

void OnTaken(const volatile void* /*memory*/, std::size_t size) {
    Take(size);
}

void OnGivenBack(const volatile void* memory) {
    if (memory != nullptr) {
        GiveBack(__sanitizer_get_allocated_size(memory));
    }
}

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(&OnTaken, &OnGivenBack);

}  // namespace

#else

void* operator new(std::size_t size) {
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    Take(::malloc_usable_size(memory));
    return memory;
}

void operator delete(void* memory) noexcept {
    if (memory != nullptr) {
        GiveBack(::malloc_usable_size(memory));
        std::free(memory);
    }
}

void operator delete(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}

#endif

namespace zumra::fuzz {

MemoryBound::MemoryBound(std::size_t inputSize) noexcept {
    limit.store(inUse.load(std::memory_order_relaxed) +
                static_cast<std::ptrdiff_t>(kFactor * inputSize + kConstant));
}

MemoryBound::~MemoryBound() {
    limit.store(kNoLimit);
}

}  // namespace zumra::fuzz
