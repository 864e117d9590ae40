#pragma once

// Names for clang's thread-safety analysis. Other compilers see nothing.
#if defined(__clang__)
#define FSYS_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define FSYS_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) FSYS_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY FSYS_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) FSYS_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) FSYS_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define REQUIRES(...) FSYS_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) FSYS_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) FSYS_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) FSYS_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) FSYS_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define RELEASE(...) FSYS_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(x) FSYS_THREAD_ATTRIBUTE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS FSYS_THREAD_ATTRIBUTE(no_thread_safety_analysis)
