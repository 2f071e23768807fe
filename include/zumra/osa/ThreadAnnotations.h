#pragma once

/// Lock annotations that clang checks with -Wthread-safety; other compilers ignore them.
#if defined(__clang__)
#define ZUMRA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZUMRA_THREAD_ATTRIBUTE(x)
#endif

#define ZUMRA_CAPABILITY(name) ZUMRA_THREAD_ATTRIBUTE(capability(name))
#define ZUMRA_SCOPED_CAPABILITY ZUMRA_THREAD_ATTRIBUTE(scoped_lockable)
#define ZUMRA_GUARDED_BY(mutex) ZUMRA_THREAD_ATTRIBUTE(guarded_by(mutex))
#define ZUMRA_PT_GUARDED_BY(mutex) ZUMRA_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
#define ZUMRA_REQUIRES(...) ZUMRA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZUMRA_ACQUIRE(...) ZUMRA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZUMRA_RELEASE(...) ZUMRA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZUMRA_TRY_ACQUIRE(...) ZUMRA_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ZUMRA_EXCLUDES(...) ZUMRA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZUMRA_NO_THREAD_SAFETY_ANALYSIS ZUMRA_THREAD_ATTRIBUTE(no_thread_safety_analysis)
