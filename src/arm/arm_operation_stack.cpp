#include "detail/thread_record.h"
#include "zel/arm.h"

namespace Zel {

namespace {

using arm_detail::thread_record_t;
using Entry = ArmPerThreadOperationStack::stack_entry_t;
using Loader = ArmApplication::ArmRuntimeLoader;

// Trace every request and bind to the thread: fixed choices, deliberately not
// left to the caller.
constexpr arm_int32_t kStartFlags = ARM_FLAG_TRACE_REQUEST | ARM_FLAG_BIND_THREAD;

// The calling thread's record, or null. Only to be called while ARM is on:
// the key exists only then.
thread_record_t* this_thread_record() {
  return static_cast<thread_record_t*>(pthread_getspecific(ArmApplication::global_data));
}

// The running top of this thread's stack, or null.
Entry* top_entry() {
  if (ArmApplication::g_level == 0) return nullptr;
  const thread_record_t* record = this_thread_record();
  return record != nullptr ? record->top : nullptr;
}

}  // namespace

ArmPerThreadOperationStack::stack_entry_t::stack_entry_t()
    : handle(0), correlator{}, next(nullptr) {}

ArmPerThreadOperationStack::stack_entry_t::~stack_entry_t() {
  // Iteratively, so that no depth of nesting can exhaust the thread's stack.
  stack_entry_t* rest = next;
  while (rest != nullptr) {
    stack_entry_t* after = rest->next;
    rest->next = nullptr;
    delete rest;
    rest = after;
  }
}

arm_correlator* ArmPerThreadOperationStack::get_base_correlator() {
  if (ArmApplication::g_level == 0) return nullptr;
  thread_record_t* record = this_thread_record();
  if (record == nullptr) {
    record = new thread_record_t();
    if (pthread_setspecific(ArmApplication::global_data, record) != 0) {
      delete record;
      return nullptr;
    }
  }
  return &record->base_correlator;
}

// ARM may have been switched off since the inline check of the caller; the
// thread key is valid either way, as it is never deleted.
int ArmPerThreadOperationStack::start_running(const arm_id& tran_id, const ArmBuffer* buffer,
                                              bool in_process) {
  thread_record_t* record = this_thread_record();
  if (record == nullptr) return ARM_OFF;

  Entry* entry;
  const arm_correlator_t* parent;
  if (record->top == nullptr) {
    entry = record->first;
    parent = &record->base_correlator;
  } else {
    if (record->top->next == nullptr) record->top->next = new Entry();
    entry = record->top->next;
    parent = &record->top->correlator;
  }
  const arm_int32_t flags = kStartFlags | (in_process ? ARM_FLAG_CORR_IN_PROCESS : 0);
  const int result = Loader::g_fnc_arm_start_transaction(ArmApplication::g_app_handle, &tran_id,
                                                         parent, flags, ArmBuffer::passed(buffer),
                                                         &entry->handle, &entry->correlator);
  if (result >= 0) record->top = entry;
  if (buffer != nullptr) buffer->release();
  return result;
}

int ArmPerThreadOperationStack::stop_running(int status, const ArmBuffer* buffer) {
  thread_record_t* record = this_thread_record();
  if (record == nullptr || record->top == nullptr) return ARM_OFF;

  // Popped before the runtime is asked: the pop stands whatever it answers.
  Entry* entry = record->top;
  Entry* below = nullptr;
  for (Entry* e = record->first; e != entry; e = e->next) below = e;
  record->top = below;

  const int result =
      Loader::g_fnc_arm_stop_transaction(entry->handle, status, 0, ArmBuffer::passed(buffer));
  if (buffer != nullptr) buffer->release();
  return result;
}

bool ArmPerThreadOperationStack::doing_local_operation() { return top_entry() != nullptr; }

long long ArmPerThreadOperationStack::current_local_operation() {
  const Entry* top = top_entry();
  return top != nullptr ? top->handle : 0;
}

const arm_correlator* ArmPerThreadOperationStack::current_local_correlator() {
  const Entry* top = top_entry();
  return top != nullptr ? &top->correlator : nullptr;
}

}  // namespace Zel
