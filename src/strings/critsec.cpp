#include "zel/critsec.h"

namespace Zel {

// The analysis cannot see that `lock_` is `lock`; the declarations carry the
// contract that callers are checked against.
CriticalSection::CriticalSection(const CriticalSectionLock& lock) ZEL_NO_THREAD_SAFETY_ANALYSIS
    : lock_(&lock) {
  lock_->lock();
}

CriticalSection::~CriticalSection() ZEL_NO_THREAD_SAFETY_ANALYSIS { lock_->unlock(); }

}  // namespace Zel
