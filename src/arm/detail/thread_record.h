// The per-thread record behind ArmPerThreadOperationStack, kept as the value of
// the thread key ArmApplication::global_data and freed by its destructor.
#ifndef ZEL_SRC_ARM_DETAIL_THREAD_RECORD_H_
#define ZEL_SRC_ARM_DETAIL_THREAD_RECORD_H_

#include "zel/arm.h"

namespace Zel {
namespace arm_detail {

struct thread_record_t {
  thread_record_t() : base_correlator{}, first(&first_entry), top(nullptr) {}
  thread_record_t(const thread_record_t&) = delete;
  thread_record_t& operator=(const thread_record_t&) = delete;

  arm_correlator_t base_correlator;                  // parent of the outermost transaction
  ArmPerThreadOperationStack::stack_entry_t* first;  // never null
  ArmPerThreadOperationStack::stack_entry_t* top;    // null when nothing runs
  // The first entry lives in the record, so that a thread's first transaction
  // needs no allocation of its own.
  ArmPerThreadOperationStack::stack_entry_t first_entry;
};

}  // namespace arm_detail
}  // namespace Zel

#endif  // ZEL_SRC_ARM_DETAIL_THREAD_RECORD_H_
