// zel/critsec.h - scope guard for CriticalSectionLock.
//
// A CriticalSection locks the CriticalSectionLock it is given for as long as
// the guard lives, and unlocks it when the scope ends, also when an exception
// leaves the scope. Guards on one lock nest within one thread.
//
//   {
//     Zel::CriticalSection guard(g_table_lock);
//     g_table.push_back(entry);
//   }

#ifndef ZEL_CRITSEC_H_
#define ZEL_CRITSEC_H_

#include "zel/critsec_lock.h"
#include "zel/export.h"
#include "zel/thread_annotations.h"

namespace Zel {

class ZEL_EXPORT ZEL_SCOPED_CAPABILITY CriticalSection {
 public:
  // Locks `lock`, which must outlive the guard.
  explicit CriticalSection(const CriticalSectionLock& lock) ZEL_ACQUIRE(lock);
  ~CriticalSection() ZEL_RELEASE();

  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

 private:
  const CriticalSectionLock* lock_;  // not owned
};

}  // namespace Zel

#endif  // ZEL_CRITSEC_H_
