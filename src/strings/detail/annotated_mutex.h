// A std::mutex that clang's thread-safety analysis knows as a lock.
//
// The standard library's mutex and guards carry no annotations here, so data
// guarded by one cannot be checked. The libraries that sit below libzelutil's
// CriticalSectionLock (the logging layer, the ARM trace runtime) use these two
// instead:
//
//   Zel::detail::AnnotatedMutex mutex_;
//   int count_ ZEL_GUARDED_BY(mutex_);
//   ...
//   Zel::detail::AnnotatedLock lock(mutex_);
//   ++count_;

#ifndef ZEL_STRINGS_DETAIL_ANNOTATED_MUTEX_H_
#define ZEL_STRINGS_DETAIL_ANNOTATED_MUTEX_H_

#include <mutex>

#include "zel/thread_annotations.h"

namespace Zel::detail {

class ZEL_CAPABILITY("mutex") AnnotatedMutex {
 public:
  void lock() ZEL_ACQUIRE() { mutex_.lock(); }
  void unlock() ZEL_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds the mutex for the life of the guard.
class ZEL_SCOPED_CAPABILITY AnnotatedLock {
 public:
  explicit AnnotatedLock(AnnotatedMutex& mutex) ZEL_ACQUIRE(mutex) : mutex_(mutex) {
    mutex_.lock();
  }
  ~AnnotatedLock() ZEL_RELEASE() { mutex_.unlock(); }

  AnnotatedLock(const AnnotatedLock&) = delete;
  AnnotatedLock& operator=(const AnnotatedLock&) = delete;

 private:
  AnnotatedMutex& mutex_;
};

}  // namespace Zel::detail

#endif  // ZEL_STRINGS_DETAIL_ANNOTATED_MUTEX_H_
