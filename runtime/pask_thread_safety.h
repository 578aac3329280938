// Marks that tell what a lock guards and who must hold it. clang checks them (-Wthread-safety); other compilers don't see them.
#pragma once

#ifdef __clang__
#define PASK_MARK(mark) __attribute__((mark))
#else
#define PASK_MARK(mark)
#endif

#define PASK_CAPABILITY(name)  PASK_MARK(capability(name))
#define PASK_SCOPED_CAPABILITY PASK_MARK(scoped_lockable)

#define PASK_GUARDED_BY(lock) PASK_MARK(guarded_by(lock))
#define PASK_REQUIRES(...)    PASK_MARK(requires_capability(__VA_ARGS__))
#define PASK_ACQUIRE(...)     PASK_MARK(acquire_capability(__VA_ARGS__))
#define PASK_RELEASE(...)     PASK_MARK(release_capability(__VA_ARGS__))
// Takes the lock exactly when it gives 0.
#define PASK_ACQUIRE_ON_0(...) PASK_MARK(try_acquire_capability(false, __VA_ARGS__))

// For what the checker can't follow; the place says why it is right all the same.
#define PASK_NO_THREAD_SAFETY_ANALYSIS PASK_MARK(no_thread_safety_analysis)
