#pragma once

#include <mutex>

// clang's thread-safety analysis; other compilers see nothing.
#if defined(__clang__)
#define ZQM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZQM_THREAD_ANNOTATION(x)
#endif
#define ZQM_GUARDED_BY(lock) ZQM_THREAD_ANNOTATION(guarded_by(lock))
#define ZQM_REQUIRES(lock) ZQM_THREAD_ANNOTATION(requires_capability(lock))

namespace zqm {

/// A mutual-exclusion lock that the compiler can check.
class ZQM_THREAD_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() ZQM_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    void unlock() ZQM_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

/// Holds a Mutex for a scope.
class ZQM_THREAD_ANNOTATION(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ZQM_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() ZQM_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace zqm
