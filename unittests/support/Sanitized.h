#pragma once

/// `ZUMRA_TEST_SANITIZED` is defined where a sanitizer replaces the allocator and the start of threads.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZUMRA_TEST_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZUMRA_TEST_SANITIZED
#endif
#endif
