#include "zel/critsec.h"

namespace Zel {

CriticalSection::CriticalSection(const CriticalSectionLock& lock) : lock_(&lock) { lock_->lock(); }

CriticalSection::~CriticalSection() { lock_->unlock(); }

}  // namespace Zel
