// zel/critsec_lock.h - the library's recursive mutex.
//
// CriticalSectionLock is the mutex; CriticalSection (zel/critsec.h) is the scope
// guard that holds it. The names are the reverse of the usual ones, deliberately.
// The thread that holds the lock may lock it again and must unlock it as often,
// so a guarded function can call another that takes the same lock.
//
//   static Zel::CriticalSectionLock g_lock;
//   void add(...) {
//     Zel::CriticalSection guard(g_lock);
//     ...  // released when `guard` leaves scope, exception or not
//   }
//
// It also meets the standard's Lockable-without-try requirements (lock/unlock),
// so std::lock_guard and std::unique_lock work with it as well. It is a
// capability for clang's thread-safety analysis (zel/thread_annotations.h):
// data marked ZEL_GUARDED_BY(lock) must be touched only through a
// CriticalSection on it.

#ifndef ZEL_CRITSEC_LOCK_H_
#define ZEL_CRITSEC_LOCK_H_

#include <pthread.h>

#include "zel/export.h"
#include "zel/thread_annotations.h"

namespace Zel {

class ZEL_EXPORT ZEL_CAPABILITY("mutex") CriticalSectionLock {
 public:
  // A process-private recursive mutex, ready to use.
  CriticalSectionLock();
  ~CriticalSectionLock();

  // Copying would share, and later free twice, the one mutex.
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

  // Blocks until the calling thread holds the mutex; at once if it already does.
  void lock() const ZEL_ACQUIRE();
  // Releases one level of holding.
  void unlock() const ZEL_RELEASE();

 private:
  // On the heap and owned, so that the object's address may change without
  // moving the operating-system mutex.
  pthread_mutex_t* mutex_;
};

}  // namespace Zel

#endif  // ZEL_CRITSEC_LOCK_H_
