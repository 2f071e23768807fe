#include "client/FailingThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "support/Sanitized.h"

namespace zumra::test {

namespace {

std::atomic<int> goodThreads{-1};

}  // namespace

void FailThreadsAfter(int good) {
    goodThreads = good;
}

#ifdef ZUMRA_TEST_SANITIZED

bool CanFailThreads() {
    return false;
}

unsigned Scaled(unsigned repetitions) {
    return repetitions / 20 + 1;
}

#else

bool CanFailThreads() {
    return true;
}

unsigned Scaled(unsigned repetitions) {
    return repetitions;
}

bool TakeGoodThread() {
    int good = goodThreads;
    while (good > 0 && !goodThreads.compare_exchange_weak(good, good - 1)) {
    }
    return good != 0;
}

#endif

}  // namespace zumra::test

#ifndef ZUMRA_TEST_SANITIZED

/// Stands before the C library's.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*body)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return zumra::test::TakeGoodThread() ? real(thread, attributes, body, argument) : EAGAIN;
}

#endif
