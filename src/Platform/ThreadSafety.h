// SPDX-License-Identifier: MIT
#pragma once

// Who guards what, checked by clang's -Wthread-safety and empty elsewhere.
#if defined(__clang__)
#define QUILLBROOK_THREAD(x) __attribute__((x))
#else
#define QUILLBROOK_THREAD(x)
#endif
#define QB_CAPABILITY(x) QUILLBROOK_THREAD(capability(x))
#define QB_SCOPED_CAPABILITY QUILLBROOK_THREAD(scoped_lockable)
#define QB_GUARDED_BY(x) QUILLBROOK_THREAD(guarded_by(x))
#define QB_REQUIRES(...) QUILLBROOK_THREAD(requires_capability(__VA_ARGS__))
#define QB_REQUIRES_SHARED(...) QUILLBROOK_THREAD(requires_shared_capability(__VA_ARGS__))
#define QB_EXCLUDES(...) QUILLBROOK_THREAD(locks_excluded(__VA_ARGS__))
#define QB_ACQUIRE(...) QUILLBROOK_THREAD(acquire_capability(__VA_ARGS__))
#define QB_ACQUIRE_SHARED(...) QUILLBROOK_THREAD(acquire_shared_capability(__VA_ARGS__))
#define QB_RELEASE(...) QUILLBROOK_THREAD(release_capability(__VA_ARGS__))
#define QB_RELEASE_SHARED(...) QUILLBROOK_THREAD(release_shared_capability(__VA_ARGS__))
#define QB_RELEASE_GENERIC(...) QUILLBROOK_THREAD(release_generic_capability(__VA_ARGS__))
#define QB_NO_THREAD_SAFETY_ANALYSIS QUILLBROOK_THREAD(no_thread_safety_analysis)
