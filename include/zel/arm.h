// zel/arm.h - response-time measurement through ARM 4.0.
//
// The server brackets each operation it wants measured with an ARM transaction.
// The ARM 4.0 runtime (an agent's libarm4.so, see zel/arm4.h for the binding) is
// not linked: it is loaded by name the first time the process registers itself.
// When the process does not ask, asks with level 0, or the runtime cannot be
// loaded, ARM is off and every call below returns ARM_OFF (-21000) at once,
// without touching any runtime, taking any lock or allocating.
//
// Start-up, from one thread, before workers begin transactions:
//
//   // One per measured operation, normally a static object of its module.
//   static Zel::ArmApplication::OperationRegistrar g_checkout(Zel::UString(u"Checkout"));
//
//   Zel::ArmBuffer identity(true);
//   Zel::ArmApplication::register_application(1, Zel::UString(u"server"), &identity);
//   Zel::ArmApplication::start_application(nullptr, Zel::UString(u"group"),
//                                          Zel::UString(u"instance"));
//
// Per request, on the worker thread that serves it:
//
//   arm_correlator* base = Zel::ArmPerThreadOperationStack::get_base_correlator();
//   if (base != nullptr) *base = correlator_from_request;  // or leave it empty
//   Zel::ArmPerThreadOperationStack::start_transaction(g_checkout.tran_id, nullptr, true);
//   ...  // nested operations start and stop their own transactions
//   Zel::ArmPerThreadOperationStack::stop_transaction(ARM_STATUS_GOOD, nullptr);
//
// Optional data travels in an ArmBuffer of at most four sub-buffers, filled from
// the builders below. The calls that take a `const ArmBuffer*` (except
// register_application) consume it: its sub-buffers and its own strings are
// freed when the call returns and the buffer is left empty for reuse.
//
// Failures of the runtime come back as its negative codes; only misuse while
// building buffers throws (QRPException, reason code 40, message QZMLK0670E).

#ifndef ZEL_ARM_H_
#define ZEL_ARM_H_

#include <pthread.h>

#include <cstdint>
#include <map>
#include <vector>

#include "zel/arm4.h"
#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

// What every ARM call of the library returns while ARM is off. Deliberately
// outside the standard's reserved range, so it is never mistaken for a
// runtime's own code.
constexpr int ARM_OFF = -21000;

// The ARM switch: 0 is off, any other value on. A plain 32-bit integer, so that
// callers pass a level without a cast.
using arm_level_t = std::int32_t;

class ArmAppIdentyBuffer;
class ArmAppContextBuffer;
class ArmTransIdentyBuffer;
class ArmTransContextBuffer;
class ArmMetricBindingsBuffer;
class ArmMetricValuesBuffer;

// An ARM 4.0 buffer: up to four sub-buffers and the UTF-8 strings they point
// to. Each add_buffer appends one sub-buffer and throws QZMLK0670E, leaving
// the buffer as it was, when four are there already. Not copyable: the
// record handed to the runtime points into the object.
class ZEL_EXPORT ArmBuffer {
 public:
  using string_pool_t = std::map<UString, const char*>;

  static constexpr int MAX_SUBBUFFERS = 4;

  // With `global_pool` the strings go to g_str_pool and live until the process
  // ends; otherwise to the buffer's own pool, freed by clear().
  explicit ArmBuffer(bool global_pool);
  ~ArmBuffer();
  ArmBuffer(const ArmBuffer&) = delete;
  ArmBuffer& operator=(const ArmBuffer&) = delete;

  // Frees every sub-buffer and the own pool's strings; count becomes 0.
  // g_str_pool is untouched.
  void clear();

  // Throws QZMLK0670E "ArmBuffer::<operation>():  Max Buffer count exceeded."
  // when the buffer already holds four sub-buffers.
  void check_buff_length(const UString& operation);

  // The pooled, zero-terminated UTF-8 form of `s`: from `buffer`'s pool as its
  // flag says, shared with g_str_pool when the string is already there. The
  // same text gives the same pointer for as long as the pool keeps it.
  static const char* pool_string(ArmBuffer* buffer, const UString& s);
  static const char* pool_string(const UString& s, string_pool_t& pool);

  // Character set (107): UTF-8 (106), flags 0.
  void add_buffer();
  // Arrival time (4): a value from ArmApplication::get_arrival_time.
  void add_buffer(const long long& arrival);
  // User (3): name, whether `id` is valid, the 16-byte id.
  void add_buffer(const UString& user, bool id_valid, arm_id& id);
  // System address (6): a copy of the `address_length` bytes at `address`.
  void add_buffer(short address_format, short address_length, const unsigned char* address,
                  bool id_valid, arm_id& id);
  // Diagnostic detail (7): the first 4095 characters of `detail`.
  void add_buffer(const UString& detail);
  // Application identity (102). Empties the builder's properties and names.
  void add_buffer(ArmAppIdentyBuffer& b);
  // Application identity (102), or transaction identity (104) with
  // `transaction`; a 104 carries the builder's uri when it has one.
  void add_buffer(ArmAppIdentyBuffer& b, bool transaction);
  // Transaction identity (104) with b.uri (null when empty); clears b.uri.
  void add_buffer(ArmTransIdentyBuffer& b);
  // Application context (103), or transaction context (105) with
  // `transaction`. Empties the builder's values.
  void add_buffer(ArmAppContextBuffer& b, bool transaction);
  void add_buffer(ArmAppContextBuffer& b);
  // Transaction context (105) with b.uri (null when empty); clears b.uri.
  void add_buffer(ArmTransContextBuffer& b);
  // Metric bindings (106), in the order added; empties the builder.
  void add_buffer(ArmMetricBindingsBuffer& b);
  // Metric values (5), in the order added; empties the builder.
  void add_buffer(ArmMetricValuesBuffer& b);

  // The number of sub-buffers held (0 to 4).
  int count() const { return buffer4_.count; }
  bool empty() const { return buffer4_.count == 0; }
  bool global_pool() const { return global_pool_; }
  // The record to hand to a runtime; it points into this object.
  const arm_buffer4_t* buffer4() const { return &buffer4_; }

  // The process-wide pool. Filled while the application and its transactions
  // are registered (one thread); only read afterwards. Never shrinks.
  static string_pool_t g_str_pool;

 private:
  friend class ArmApplication;
  friend class ArmPerThreadOperationStack;

  // The record to pass for a buffer argument of an ARM call: null for a null
  // or empty buffer.
  static const arm_buffer4_t* passed(const ArmBuffer* buffer);
  // Frees what a consumed buffer held. The calls that consume a buffer take it
  // as `const ArmBuffer*`, hence the mutable members.
  void release() const;
  // Checks the count, then allocates a zeroed block of `bytes` and appends it.
  void* append_subbuffer(const char* operation, std::size_t bytes, arm_subbuffer_format_t format);
  void add_identity(ArmAppIdentyBuffer& b, bool transaction);
  void add_context(ArmAppContextBuffer& b, bool transaction);

  bool global_pool_;
  mutable arm_buffer4_t buffer4_;
  mutable arm_subbuffer_t* subbuffers_[MAX_SUBBUFFERS];
  mutable string_pool_t own_pool_;
};

// Identity properties (name and value) and context names of an application or
// transaction, kept as UStrings until ArmBuffer::add_buffer turns them into a
// sub-buffer. Add every context name before the first identity property: a
// context value's place is the position its name has among all strings added.
class ZEL_EXPORT ArmAppIdentyBuffer {
 public:
  ArmAppIdentyBuffer();
  virtual ~ArmAppIdentyBuffer();
  ArmAppIdentyBuffer(const ArmAppIdentyBuffer&) = default;
  ArmAppIdentyBuffer& operator=(const ArmAppIdentyBuffer&) = default;

  // Both throw QZMLK0670E "ArmIdentityBuffer:: trying to register too many
  // properties" when properties and names together are already 19. The one
  // combined limit, not the standard's per-kind ones, is deliberate.
  void add_identity_prop(const UChar* name, const UChar* value);
  // A repeated name is added again; the context index then holds its latest
  // position.
  void add_context_prop(const UString& name);
  void check_max_num_properties() const;

  // A copy of the map from context name to position, for a context builder.
  // It survives add_buffer, which empties everything else.
  std::map<UString, int> ctx_indicies() const;

 private:
  friend class ArmBuffer;
  // The URI a transaction identity carries; none for an application.
  virtual UString* transaction_uri() { return nullptr; }

  std::vector<UString> strings_;
  std::vector<int> identity_name_positions_;
  std::vector<int> identity_value_positions_;
  std::vector<int> context_name_positions_;
  std::map<UString, int> context_index_;
};

class ZEL_EXPORT ArmTransIdentyBuffer : public ArmAppIdentyBuffer {
 public:
  UString uri;

 private:
  UString* transaction_uri() override { return &uri; }
};

// Context values for the names of an identity builder, made from its
// ctx_indicies().
class ZEL_EXPORT ArmAppContextBuffer {
 public:
  explicit ArmAppContextBuffer(const std::map<UString, int>& ctx_indicies);
  virtual ~ArmAppContextBuffer();
  ArmAppContextBuffer(const ArmAppContextBuffer&) = default;
  ArmAppContextBuffer& operator=(const ArmAppContextBuffer&) = default;

  // Throws QZMLK0670E "ArmContextBuffer:: trying to add unknown context
  // property" when `name` is not in the index.
  void add_ctx_prop(const UString& name, const UString& value);

 private:
  friend class ArmBuffer;
  virtual UString* transaction_uri() { return nullptr; }

  std::vector<UString> values_;
  std::vector<int> positions_;
  std::map<UString, int> context_index_;
};

class ZEL_EXPORT ArmTransContextBuffer : public ArmAppContextBuffer {
 public:
  explicit ArmTransContextBuffer(const std::map<UString, int>& ctx_indicies)
      : ArmAppContextBuffer(ctx_indicies) {}

  UString uri;

 private:
  UString* transaction_uri() override { return &uri; }
};

// Which metric slot carries which metric definition, for a transaction's
// registration.
class ZEL_EXPORT ArmMetricBindingsBuffer {
 public:
  // Appends without any check.
  void add_binding(unsigned char slot, arm_id id);

 private:
  friend class ArmBuffer;
  std::vector<arm_metric_binding_t> bindings_;
};

// Metric values for slots 0 to 5 and the string metric in slot 6.
class ZEL_EXPORT ArmMetricValuesBuffer {
 public:
  struct ZEL_EXPORT value_t {
    value_t();
    // Copies the bytes of the value that its format uses and no more.
    value_t(const value_t& other);
    value_t& operator=(const value_t& other);

    unsigned char slot;
    unsigned char format;  // ARM_METRIC_FORMAT_...
    short usage;
    bool valid;
    union {
      std::int32_t value32;
      std::int64_t value64;
      arm_metric_cntrdivr32_t counter_divisor;
      arm_metric_gaugedivr32_t gauge_divisor;
      const UString* string;  // the buffer's string metric
    } value;
  };

  ArmMetricValuesBuffer() = default;
  // String entries of the copy refer to the copy's own string metric.
  ArmMetricValuesBuffer(const ArmMetricValuesBuffer& other);
  ArmMetricValuesBuffer& operator=(const ArmMetricValuesBuffer& other);

  // The numeric forms throw QZMLK0670E "ArmMetricValuesBuffer:: illegal slot #
  // for non-string metric" for a slot above 5. `format` is not checked.
  void add_value(unsigned char slot, unsigned char format, short usage, bool valid, int value);
  void add_value(unsigned char slot, unsigned char format, short usage, bool valid,
                 long long value);
  // Formats 3 and 6.
  void add_value(unsigned char slot, short usage, bool valid, arm_metric_cntrdivr32 value);
  void add_value(unsigned char slot, short usage, bool valid, arm_metric_gaugedivr32 value);
  // Slot 6, format 10: keeps the first 32 characters of `value`. A second call
  // replaces the string, and both entries then refer to the new one.
  void add_value(short usage, bool valid, const UString& value);
  void check_non_string_slot(unsigned char slot) const;

 private:
  friend class ArmBuffer;
  void repoint_strings();

  std::vector<value_t> values_;
  UString string_metric_;
};

// The process-wide ARM state: the runtime, the application, the transaction
// definitions. Static members only; the g_ members are written during start-up
// and only read afterwards, without any lock.
class ZEL_EXPORT ArmApplication {
 public:
  ArmApplication() = delete;

  // One kind of server operation, measured as an ARM transaction definition.
  // Construction appends the registrar to g_registrars; register_application
  // registers every registrar constructed before it and fills tran_id. Meant
  // to be a static object of the module that defines the operation: the
  // registry never destroys a registrar, nor forgets one that is destroyed.
  class ZEL_EXPORT OperationRegistrar {
   public:
    explicit OperationRegistrar(const UString& name);
    // Virtual only so that derived registrars build cleanly under strict
    // warnings.
    virtual ~OperationRegistrar();

    // May add sub-buffers (a transaction identity, metric bindings) to the
    // buffer passed with the registration. This one adds nothing.
    virtual void user_data(ArmBuffer& buffer) const;

    UString name;
    // The runtime's id of the definition, for start_transaction; zero until
    // registered.
    arm_id_t tran_id;
  };

  // Loads libarm4.so and binds its entry points.
  class ZEL_EXPORT ArmRuntimeLoader {
   public:
    ArmRuntimeLoader() = delete;

    // 0 when the runtime is (already) loaded with all seven entry points;
    // ARM_OFF when it cannot be loaded or lacks one, after logging the
    // loader's message to the "Zel" logger (if there is one). A failed load
    // is tried again by the next call.
    static int load_runtime();

    static void* g_arm4_handle;
    static decltype(&::arm_register_application) g_fnc_arm_register_application;
    static decltype(&::arm_start_application) g_fnc_arm_start_application;
    static decltype(&::arm_start_transaction) g_fnc_arm_start_transaction;
    static decltype(&::arm_stop_transaction) g_fnc_arm_stop_transaction;
    static decltype(&::arm_register_transaction) g_fnc_arm_register_transaction;
    static decltype(&::arm_get_error_message) g_fnc_arm_get_error_message;
    static decltype(&::arm_get_arrival_time) g_fnc_arm_get_arrival_time;
  };

  // Holds the destructor of the per-thread operation stacks' key.
  struct ZEL_EXPORT global_data_t {
    // Frees a thread's stack record and all its entries; ignores null.
    static void delete_stack(void* data);
  };

  // Switches ARM on with `level` and registers the application `app_name` and
  // then every registrar, in order of construction. `buffer` must not be null;
  // it is passed when not empty and left as it is. Returns 0 for level 0
  // (ARM off, nothing loaded); ARM_OFF when the runtime cannot be loaded (both
  // failures logged) or the thread key cannot be made; else the runtime's code
  // of the last registration. Any result but success of every registration
  // leaves ARM off.
  static int register_application(arm_level_t level, const UString& app_name,
                                  const ArmBuffer* buffer);

  // Starts the application instance; empty group or instance go as null, and
  // `buffer` may be null. A failure switches ARM off for the process.
  static int start_application(const ArmBuffer* buffer, const UString& app_group,
                               const UString& app_instance);

  // Registers one transaction definition with a fresh input id; `name` is
  // UTF-8 and `buffer` may be null.
  static int register_transaction(const char* name, const int flags, const arm_buffer4* buffer,
                                  arm_id* out_id);

  // The runtime's text for `code` in `buf` (ARM_MSG_BUFFER_LENGTH bytes).
  static int get_error_message(const int charset, const int code, char* buf);

  // The runtime's opaque arrival time, for ArmBuffer::add_buffer(arrival).
  static int get_arrival_time(long long* arrival);

  static arm_level_t g_level;
  static arm_id_t g_app_id;
  static arm_app_start_handle_t g_app_handle;
  // Every registrar constructed so far; null until the first one. Never freed.
  static std::vector<OperationRegistrar*>* g_registrars;
  // Key of the per-thread operation stacks, made anew by each
  // register_application; valid while g_level is not 0.
  static pthread_key_t global_data;
};

// Each thread's stack of running ARM transactions. Starting a transaction makes
// it a child of the thread's innermost running one, or of the thread's base
// correlator for the outermost; stopping pops it. Everything is a no-operation
// giving ARM_OFF, false, 0 or null while ARM is off; each thread touches only
// its own stack, so nothing is locked. Transactions must be stopped on the
// thread that started them.
class ZEL_EXPORT ArmPerThreadOperationStack {
 public:
  ArmPerThreadOperationStack() = delete;

  // One depth of a thread's stack. Entries are made when a depth is first
  // reached and reused afterwards; destroying one destroys those after it.
  struct ZEL_EXPORT stack_entry_t {
    stack_entry_t();
    ~stack_entry_t();
    stack_entry_t(const stack_entry_t&) = delete;
    stack_entry_t& operator=(const stack_entry_t&) = delete;

    arm_tran_start_handle_t handle;
    arm_correlator_t correlator;  // parent of the next deeper transaction
    stack_entry_t* next;
  };

  // The thread's base correlator, parent of its outermost transaction, for the
  // caller to fill (a new thread's is empty). Makes the thread's stack on first
  // call: start_transaction gives ARM_OFF on a thread that never called this.
  // Null while ARM is off.
  static arm_correlator* get_base_correlator();

  // Starts an instance of `tran_id` (an OperationRegistrar's tran_id) and
  // pushes it when the runtime succeeds. Always asks for a trace and binds to
  // the thread; `in_process` adds ARM_FLAG_CORR_IN_PROCESS. `buffer` may be
  // null.
  static int start_transaction(const arm_id& tran_id, const ArmBuffer* buffer,
                               const bool in_process) {
    // Every server call comes here: with ARM off it costs one load, inline.
    if (ArmApplication::g_level == 0) return ARM_OFF;
    return start_running(tran_id, buffer, in_process);
  }
  // Pops the innermost transaction and stops it with `status`; the pop stands
  // whatever the runtime answers. ARM_OFF when none runs.
  static int stop_transaction(const int status, const ArmBuffer* buffer) {
    if (ArmApplication::g_level == 0) return ARM_OFF;
    return stop_running(status, buffer);
  }

  static bool doing_local_operation();
  // The innermost transaction's handle, 0 when none.
  static long long current_local_operation();
  // The innermost transaction's correlator, to pass to a called process; null
  // when none.
  static const arm_correlator* current_local_correlator();

 private:
  // start_transaction and stop_transaction once ARM is found on.
  static int start_running(const arm_id& tran_id, const ArmBuffer* buffer, bool in_process);
  static int stop_running(int status, const ArmBuffer* buffer);
};

}  // namespace Zel

#endif  // ZEL_ARM_H_
