#include "zel/critsec_lock.h"

namespace Zel {

// Results of the pthread calls are not checked: a recursive, process-private
// mutex on valid storage cannot fail to initialise, lock or unlock for its
// owner, and callers have no way to recover if it did.
CriticalSectionLock::CriticalSectionLock() : mutex_(new pthread_mutex_t()) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_PRIVATE);
  pthread_mutex_init(mutex_, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CriticalSectionLock::~CriticalSectionLock() {
  pthread_mutex_destroy(mutex_);
  delete mutex_;
}

// The operating-system mutex underneath is not annotated, so these two are where
// the analysis takes the declarations on trust.
void CriticalSectionLock::lock() const ZEL_NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_lock(mutex_); }

void CriticalSectionLock::unlock() const ZEL_NO_THREAD_SAFETY_ANALYSIS {
  pthread_mutex_unlock(mutex_);
}

}  // namespace Zel
