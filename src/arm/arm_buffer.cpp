#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "zel/arm.h"
#include "zel/qrpexception.h"
#include "zel/umessage.h"

namespace Zel {

ArmBuffer::string_pool_t ArmBuffer::g_str_pool;

namespace {

// Frees the strings of g_str_pool at unload. Defined after the pool, so it is
// destroyed before it.
struct GlobalPoolReaper {
  ~GlobalPoolReaper() {
    for (auto& entry : ArmBuffer::g_str_pool) delete[] entry.second;
    ArmBuffer::g_str_pool.clear();
  }
} g_global_pool_reaper;

constexpr int kMaxProperties = ARM_PROPERTY_MAX_COUNT - 1;  // identity and context together
constexpr unsigned char kStringMetricSlot = ARM_METRIC_MAX_COUNT - 1;
constexpr UString::size_type kStringMetricChars = 32;

// The library's ARM refusals share reason code 40 with the file-system
// failures; deliberately, as callers have always seen them.
[[noreturn]] void refuse(const std::string& reason) {
  QRPException::raise(QRPException::QRP_RC_FILE_SYSTEM,
                      UMessage(zelutil, 20, UMessage::Arg(reason)), nullptr, nullptr,
                      QRPException::QRP_LOG_ERROR);
}

// The first `n` characters of `s`, a surrogate pair counting as one, so that a
// cut never leaves half a character that UTF-8 could not carry.
UString first_characters(const UString& s, UString::size_type n) {
  const std::u16string_view units = s.view();
  std::size_t end = 0;
  for (UString::size_type characters = 0; characters < n && end < units.size(); ++characters) {
    const bool pair = end + 1 < units.size() && (units[end] & 0xFC00) == 0xD800 &&
                      (units[end + 1] & 0xFC00) == 0xDC00;
    end += pair ? 2 : 1;
  }
  return end == units.size() ? s : s.substr(0, static_cast<UString::size_type>(end));
}

// Offset of an array of T placed after `bytes` bytes of a block.
template <typename T>
std::size_t aligned_for(std::size_t bytes) {
  return (bytes + alignof(T) - 1) / alignof(T) * alignof(T);
}

template <typename T>
T* at_offset(void* block, std::size_t offset) {
  return reinterpret_cast<T*>(static_cast<char*>(block) + offset);
}

}  // namespace

// --- ArmBuffer ----------------------------------------------------------------

ArmBuffer::ArmBuffer(bool global_pool)
    : global_pool_(global_pool), buffer4_{0, subbuffers_}, subbuffers_{} {}

ArmBuffer::~ArmBuffer() { clear(); }

void ArmBuffer::clear() { release(); }

void ArmBuffer::release() const {
  for (int i = 0; i < buffer4_.count; ++i) {
    std::free(subbuffers_[i]);
    subbuffers_[i] = nullptr;
  }
  buffer4_.count = 0;
  for (auto& entry : own_pool_) delete[] entry.second;
  own_pool_.clear();
}

const arm_buffer4_t* ArmBuffer::passed(const ArmBuffer* buffer) {
  return buffer != nullptr && buffer->buffer4_.count != 0 ? &buffer->buffer4_ : nullptr;
}

void ArmBuffer::check_buff_length(const UString& operation) {
  if (buffer4_.count >= MAX_SUBBUFFERS) {
    refuse("ArmBuffer::" + operation.utf8_str() + "():  Max Buffer count exceeded.");
  }
}

void* ArmBuffer::append_subbuffer(const char* operation, std::size_t bytes,
                                  arm_subbuffer_format_t format) {
  check_buff_length(UString(Utf8String(operation)));
  void* block = std::calloc(1, bytes);
  if (block == nullptr) throw std::bad_alloc();
  auto* header = static_cast<arm_subbuffer_t*>(block);
  header->format = format;
  subbuffers_[buffer4_.count++] = header;
  return block;
}

const char* ArmBuffer::pool_string(ArmBuffer* buffer, const UString& s) {
  if (buffer->global_pool_) return pool_string(s, g_str_pool);
  return pool_string(s, buffer->own_pool_);
}

const char* ArmBuffer::pool_string(const UString& s, string_pool_t& pool) {
  const auto found = pool.find(s);
  if (found != pool.end()) return found->second;
  if (&pool != &g_str_pool) {
    const auto shared = g_str_pool.find(s);
    if (shared != g_str_pool.end()) return shared->second;
  }
  const Utf8String bytes = s.utf8_str();
  char* copy = new char[bytes.size() + 1];
  std::memcpy(copy, bytes.c_str(), bytes.size() + 1);
  try {
    pool.emplace(s, copy);
  } catch (...) {
    delete[] copy;
    throw;
  }
  return copy;
}

void ArmBuffer::add_buffer() {
  auto* sub = static_cast<arm_subbuffer_charset_t*>(append_subbuffer(
      "add_charset_buffer", sizeof(arm_subbuffer_charset_t), ARM_SUBBUFFER_CHARSET));
  sub->charset = ARM_CHARSET_UTF8;  // no flags: the block comes zeroed
}

void ArmBuffer::add_buffer(const long long& arrival) {
  auto* sub = static_cast<arm_subbuffer_arrival_time_t*>(append_subbuffer(
      "add_buffer", sizeof(arm_subbuffer_arrival_time_t), ARM_SUBBUFFER_ARRIVAL_TIME));
  sub->opaque_time = arrival;
}

void ArmBuffer::add_buffer(const UString& user, bool id_valid, arm_id& id) {
  check_buff_length(UString(u"add_buffer"));
  const char* name = pool_string(this, user);
  auto* sub = static_cast<arm_subbuffer_user_t*>(
      append_subbuffer("add_buffer", sizeof(arm_subbuffer_user_t), ARM_SUBBUFFER_USER));
  sub->name = name;
  sub->id_valid = id_valid ? ARM_TRUE : ARM_FALSE;
  sub->id = id;
}

void ArmBuffer::add_buffer(short address_format, short address_length, const unsigned char* address,
                           bool id_valid, arm_id& id) {
  const std::size_t length = address_length > 0 ? static_cast<std::size_t>(address_length) : 0;
  const std::size_t bytes_at = sizeof(arm_subbuffer_system_address_t);
  auto* sub = static_cast<arm_subbuffer_system_address_t*>(
      append_subbuffer("add_buffer", bytes_at + length, ARM_SUBBUFFER_SYSTEM_ADDRESS));
  sub->address_format = address_format;
  sub->address_length = address_length;
  if (length != 0 && address != nullptr) {
    auto* copy = at_offset<arm_uint8_t>(sub, bytes_at);
    std::memcpy(copy, address, length);
    sub->address = copy;
  }
  sub->id_valid = id_valid ? ARM_TRUE : ARM_FALSE;
  sub->id = id;
}

void ArmBuffer::add_buffer(const UString& detail) {
  check_buff_length(UString(u"add_buffer"));
  const char* text = pool_string(this, first_characters(detail, ARM_DIAG_DETAIL_MAX_CHARS));
  auto* sub = static_cast<arm_subbuffer_diag_detail_t*>(append_subbuffer(
      "add_buffer", sizeof(arm_subbuffer_diag_detail_t), ARM_SUBBUFFER_DIAG_DETAIL));
  sub->diag_detail = text;
}

void ArmBuffer::add_buffer(ArmAppIdentyBuffer& b) { add_identity(b, false); }
void ArmBuffer::add_buffer(ArmAppIdentyBuffer& b, bool transaction) {
  add_identity(b, transaction);
}
void ArmBuffer::add_buffer(ArmTransIdentyBuffer& b) { add_identity(b, true); }
void ArmBuffer::add_buffer(ArmAppContextBuffer& b, bool transaction) {
  add_context(b, transaction);
}
void ArmBuffer::add_buffer(ArmAppContextBuffer& b) { add_context(b, false); }
void ArmBuffer::add_buffer(ArmTransContextBuffer& b) { add_context(b, true); }

// Application (102) and transaction (104) identities share their leading
// fields, so one block layout serves both.
void ArmBuffer::add_identity(ArmAppIdentyBuffer& b, bool transaction) {
  check_buff_length(UString(u"add_buffer"));
  const std::size_t properties = b.identity_name_positions_.size();
  const std::size_t names = b.context_name_positions_.size();
  const std::size_t fixed =
      transaction ? sizeof(arm_subbuffer_tran_identity_t) : sizeof(arm_subbuffer_app_identity_t);
  const std::size_t properties_at = aligned_for<arm_property_t>(fixed);
  const std::size_t names_at =
      aligned_for<const char*>(properties_at + properties * sizeof(arm_property_t));

  // Pool first: pooling may throw, and nothing is appended before it is done.
  std::vector<arm_property_t> pooled(properties);
  for (std::size_t i = 0; i < properties; ++i) {
    pooled[i].name = pool_string(this, b.strings_[b.identity_name_positions_[i]]);
    pooled[i].value = pool_string(this, b.strings_[b.identity_value_positions_[i]]);
  }
  std::vector<const char*> pooled_names(names);
  for (std::size_t j = 0; j < names; ++j) {
    pooled_names[j] = pool_string(this, b.strings_[b.context_name_positions_[j]]);
  }
  UString* uri = transaction ? b.transaction_uri() : nullptr;
  const char* pooled_uri = uri != nullptr && !uri->empty() ? pool_string(this, *uri) : nullptr;

  void* block =
      append_subbuffer("add_buffer", names_at + names * sizeof(const char*),
                       transaction ? ARM_SUBBUFFER_TRAN_IDENTITY : ARM_SUBBUFFER_APP_IDENTITY);
  auto* sub = static_cast<arm_subbuffer_app_identity_t*>(block);
  sub->identity_property_count = static_cast<arm_int32_t>(properties);
  if (properties != 0) {
    auto* array = at_offset<arm_property_t>(block, properties_at);
    std::copy(pooled.begin(), pooled.end(), array);
    sub->identity_property_array = array;
  }
  sub->context_name_count = static_cast<arm_int32_t>(names);
  if (names != 0) {
    auto* array = at_offset<const char*>(block, names_at);
    std::copy(pooled_names.begin(), pooled_names.end(), array);
    sub->context_name_array = array;
  }
  if (transaction) {
    static_cast<arm_subbuffer_tran_identity_t*>(block)->uri = pooled_uri;
    if (uri != nullptr) uri->clear();
  }

  b.strings_.clear();
  b.identity_name_positions_.clear();
  b.identity_value_positions_.clear();
  b.context_name_positions_.clear();
}

// Each value goes to the position its context name had among the identity
// builder's strings. No renumbering: names added after identity properties
// leave null gaps, deliberately.
void ArmBuffer::add_context(ArmAppContextBuffer& b, bool transaction) {
  check_buff_length(UString(u"add_buffer"));
  std::size_t count = 0;
  for (int position : b.positions_) {
    count = std::max(count, static_cast<std::size_t>(position) + 1);
  }
  const std::size_t fixed =
      transaction ? sizeof(arm_subbuffer_tran_context_t) : sizeof(arm_subbuffer_app_context_t);
  const std::size_t values_at = aligned_for<const char*>(fixed);

  std::vector<const char*> pooled(count, nullptr);
  for (std::size_t i = 0; i < b.values_.size(); ++i) {
    pooled[static_cast<std::size_t>(b.positions_[i])] = pool_string(this, b.values_[i]);
  }
  UString* uri = transaction ? b.transaction_uri() : nullptr;
  const char* pooled_uri = uri != nullptr && !uri->empty() ? pool_string(this, *uri) : nullptr;

  void* block =
      append_subbuffer("add_buffer", values_at + count * sizeof(const char*),
                       transaction ? ARM_SUBBUFFER_TRAN_CONTEXT : ARM_SUBBUFFER_APP_CONTEXT);
  auto* sub = static_cast<arm_subbuffer_app_context_t*>(block);
  sub->context_value_count = static_cast<arm_int32_t>(count);
  if (count != 0) {
    auto* array = at_offset<const char*>(block, values_at);
    std::copy(pooled.begin(), pooled.end(), array);
    sub->context_value_array = array;
  }
  if (transaction) {
    static_cast<arm_subbuffer_tran_context_t*>(block)->uri = pooled_uri;
    if (uri != nullptr) uri->clear();
  }

  b.values_.clear();
  b.positions_.clear();
}

void ArmBuffer::add_buffer(ArmMetricBindingsBuffer& b) {
  const std::size_t count = b.bindings_.size();
  const std::size_t array_at =
      aligned_for<arm_metric_binding_t>(sizeof(arm_subbuffer_metric_bindings_t));
  void* block = append_subbuffer("add_buffer", array_at + count * sizeof(arm_metric_binding_t),
                                 ARM_SUBBUFFER_METRIC_BINDINGS);
  auto* sub = static_cast<arm_subbuffer_metric_bindings_t*>(block);
  sub->count = static_cast<arm_int32_t>(count);
  if (count != 0) {
    auto* array = at_offset<arm_metric_binding_t>(block, array_at);
    std::copy(b.bindings_.begin(), b.bindings_.end(), array);
    sub->metric_binding_array = array;
  }
  b.bindings_.clear();
}

void ArmBuffer::add_buffer(ArmMetricValuesBuffer& b) {
  check_buff_length(UString(u"add_buffer"));
  const std::size_t count = b.values_.size();
  const bool has_string =
      std::any_of(b.values_.begin(), b.values_.end(), [](const ArmMetricValuesBuffer::value_t& v) {
        return v.format == ARM_METRIC_FORMAT_STRING32;
      });
  const char* string32 = has_string ? pool_string(this, b.string_metric_) : nullptr;

  const std::size_t array_at = aligned_for<arm_metric_t>(sizeof(arm_subbuffer_metric_values_t));
  void* block = append_subbuffer("add_buffer", array_at + count * sizeof(arm_metric_t),
                                 ARM_SUBBUFFER_METRIC_VALUES);
  auto* sub = static_cast<arm_subbuffer_metric_values_t*>(block);
  sub->count = static_cast<arm_int32_t>(count);
  if (count != 0) {
    auto* array = at_offset<arm_metric_t>(block, array_at);
    for (std::size_t i = 0; i < count; ++i) {
      const ArmMetricValuesBuffer::value_t& v = b.values_[i];
      arm_metric_t& m = array[i];
      m.slot = v.slot;
      m.format = v.format;
      m.usage = v.usage;
      m.valid = v.valid ? ARM_TRUE : ARM_FALSE;
      switch (v.format) {
        case ARM_METRIC_FORMAT_COUNTER32:
        case ARM_METRIC_FORMAT_GAUGE32:
        case ARM_METRIC_FORMAT_NUMERICID32:
          m.metric_u.counter32 = v.value.value32;
          break;
        case ARM_METRIC_FORMAT_COUNTER64:
        case ARM_METRIC_FORMAT_GAUGE64:
        case ARM_METRIC_FORMAT_NUMERICID64:
          m.metric_u.counter64 = v.value.value64;
          break;
        case ARM_METRIC_FORMAT_CNTRDIVR32:
          m.metric_u.counterdivisor32 = v.value.counter_divisor;
          break;
        case ARM_METRIC_FORMAT_GAUGEDIVR32:
          m.metric_u.gaugedivisor32 = v.value.gauge_divisor;
          break;
        case ARM_METRIC_FORMAT_STRING32:
          m.metric_u.string32 = string32;
          break;
        default:
          break;  // an unknown format carries no value
      }
    }
    sub->metric_value_array = array;
  }
  b.values_.clear();
}

// --- Identity and context builders --------------------------------------------

ArmAppIdentyBuffer::ArmAppIdentyBuffer() = default;
ArmAppIdentyBuffer::~ArmAppIdentyBuffer() = default;

void ArmAppIdentyBuffer::check_max_num_properties() const {
  if (identity_name_positions_.size() + context_name_positions_.size() >=
      static_cast<std::size_t>(kMaxProperties)) {
    refuse("ArmIdentityBuffer:: trying to register too many properties");
  }
}

void ArmAppIdentyBuffer::add_identity_prop(const UChar* name, const UChar* value) {
  check_max_num_properties();
  identity_name_positions_.push_back(static_cast<int>(strings_.size()));
  strings_.emplace_back(name);
  identity_value_positions_.push_back(static_cast<int>(strings_.size()));
  strings_.emplace_back(value);
}

void ArmAppIdentyBuffer::add_context_prop(const UString& name) {
  check_max_num_properties();
  const int position = static_cast<int>(strings_.size());
  context_name_positions_.push_back(position);
  context_index_[name] = position;
  strings_.push_back(name);
}

std::map<UString, int> ArmAppIdentyBuffer::ctx_indicies() const { return context_index_; }

ArmAppContextBuffer::ArmAppContextBuffer(const std::map<UString, int>& ctx_indicies)
    : context_index_(ctx_indicies) {}
ArmAppContextBuffer::~ArmAppContextBuffer() = default;

void ArmAppContextBuffer::add_ctx_prop(const UString& name, const UString& value) {
  const auto found = context_index_.find(name);
  if (found == context_index_.end()) {
    refuse("ArmContextBuffer:: trying to add unknown context property");
  }
  positions_.push_back(found->second);
  values_.push_back(value);
}

// --- Metric builders ----------------------------------------------------------

void ArmMetricBindingsBuffer::add_binding(unsigned char slot, arm_id id) {
  arm_metric_binding_t binding{};
  binding.slot = slot;
  binding.id = id;
  bindings_.push_back(binding);
}

ArmMetricValuesBuffer::value_t::value_t() : slot(0), format(0), usage(0), valid(false) {
  std::memset(&value, 0, sizeof value);
}

ArmMetricValuesBuffer::value_t::value_t(const value_t& other) : value_t() { *this = other; }

ArmMetricValuesBuffer::value_t& ArmMetricValuesBuffer::value_t::operator=(const value_t& other) {
  if (this == &other) return *this;
  slot = other.slot;
  format = other.format;
  usage = other.usage;
  valid = other.valid;
  std::memset(&value, 0, sizeof value);
  switch (format) {
    case ARM_METRIC_FORMAT_COUNTER32:
    case ARM_METRIC_FORMAT_GAUGE32:
    case ARM_METRIC_FORMAT_NUMERICID32:
      std::memcpy(&value, &other.value, 4);
      break;
    case ARM_METRIC_FORMAT_COUNTER64:
    case ARM_METRIC_FORMAT_CNTRDIVR32:
    case ARM_METRIC_FORMAT_GAUGE64:
    case ARM_METRIC_FORMAT_GAUGEDIVR32:
    case ARM_METRIC_FORMAT_NUMERICID64:
      std::memcpy(&value, &other.value, 8);
      break;
    case ARM_METRIC_FORMAT_STRING32:
      value.string = other.value.string;  // a pointer's width, whatever the platform's
      break;
    default:
      break;
  }
  return *this;
}

ArmMetricValuesBuffer::ArmMetricValuesBuffer(const ArmMetricValuesBuffer& other)
    : values_(other.values_), string_metric_(other.string_metric_) {
  repoint_strings();
}

ArmMetricValuesBuffer& ArmMetricValuesBuffer::operator=(const ArmMetricValuesBuffer& other) {
  if (this == &other) return *this;
  values_ = other.values_;
  string_metric_ = other.string_metric_;
  repoint_strings();
  return *this;
}

void ArmMetricValuesBuffer::repoint_strings() {
  for (value_t& v : values_) {
    if (v.format == ARM_METRIC_FORMAT_STRING32) v.value.string = &string_metric_;
  }
}

namespace {

// A value record with everything but the value itself.
ArmMetricValuesBuffer::value_t metric_value(unsigned char slot, unsigned char format, short usage,
                                            bool valid) {
  ArmMetricValuesBuffer::value_t v;
  v.slot = slot;
  v.format = format;
  v.usage = usage;
  v.valid = valid;
  return v;
}

}  // namespace

void ArmMetricValuesBuffer::check_non_string_slot(unsigned char slot) const {
  if (slot >= kStringMetricSlot) {
    refuse("ArmMetricValuesBuffer:: illegal slot # for non-string metric");
  }
}

void ArmMetricValuesBuffer::add_value(unsigned char slot, unsigned char format, short usage,
                                      bool valid, int value) {
  check_non_string_slot(slot);
  value_t v = metric_value(slot, format, usage, valid);
  v.value.value32 = value;
  values_.push_back(v);
}

void ArmMetricValuesBuffer::add_value(unsigned char slot, unsigned char format, short usage,
                                      bool valid, long long value) {
  check_non_string_slot(slot);
  value_t v = metric_value(slot, format, usage, valid);
  v.value.value64 = value;
  values_.push_back(v);
}

void ArmMetricValuesBuffer::add_value(unsigned char slot, short usage, bool valid,
                                      arm_metric_cntrdivr32 value) {
  check_non_string_slot(slot);
  value_t v = metric_value(slot, ARM_METRIC_FORMAT_CNTRDIVR32, usage, valid);
  v.value.counter_divisor = value;
  values_.push_back(v);
}

void ArmMetricValuesBuffer::add_value(unsigned char slot, short usage, bool valid,
                                      arm_metric_gaugedivr32 value) {
  check_non_string_slot(slot);
  value_t v = metric_value(slot, ARM_METRIC_FORMAT_GAUGEDIVR32, usage, valid);
  v.value.gauge_divisor = value;
  values_.push_back(v);
}

void ArmMetricValuesBuffer::add_value(short usage, bool valid, const UString& value) {
  string_metric_ = first_characters(value, kStringMetricChars);
  value_t v = metric_value(kStringMetricSlot, ARM_METRIC_FORMAT_STRING32, usage, valid);
  v.value.string = &string_metric_;
  values_.push_back(v);
}

}  // namespace Zel
