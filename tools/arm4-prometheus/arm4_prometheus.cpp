// arm4-prometheus: an ARM 4.0 runtime that serves what it measures as
// Prometheus metrics.
//
// Loaded as libarm4.so in place of a measurement agent. The first application
// to register starts an HTTP server on the address ZEL_ARM_PROMETHEUS names,
// whose /metrics page carries, labelled application, transaction and status
// (good, aborted, failed, unknown):
//
//   zel_arm_transactions_total            counter of transactions stopped
//   zel_arm_transaction_duration_seconds  histogram of their response times
//
// Environment, read when the first application registers:
//   ZEL_ARM_PROMETHEUS          host:port to serve on, 127.0.0.1:9464 when unset
//                               (loopback: nothing is exposed unless asked)
//   ZEL_ARM_PROMETHEUS_BUCKETS  histogram upper bounds in seconds, comma-separated
//                               and increasing; by default 100 us doubling to 26.2 s
// An address that is not host:port, one that cannot be served on, or a bucket
// list that is not one makes arm_register_application fail (the instrumented
// program then runs with ARM off) and says why on standard error.
//
// Names beyond the first 1,000 distinct transaction names are counted as
// transaction="other", so that a caller cannot grow the metrics without bound.
//
// Locking: g_lock guards the ids and handles. The metric objects each
// transaction updates are looked up when it is registered, so a stop touches
// only prometheus-cpp's own counter and histogram, never g_lock, and the thread
// that serves a scrape never takes g_lock.

#include <prometheus/counter.h>
#include <prometheus/exposer.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <unicode/unistr.h>

#include <array>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "arm4_bookkeeping.h"
#include "strings/detail/annotated_mutex.h"
#include "zel/arm4.h"
#include "zel/thread_annotations.h"

// The entry points are this library's whole interface: exported, unlike
// everything else in it.
#define ARM4_PROMETHEUS_EXPORT __attribute__((visibility("default")))

namespace {

enum error_t : arm_error_t {
  ERROR_NULL_ARGUMENT = -2,   // a required pointer is null
  ERROR_UNKNOWN_ID = -3,      // no such application or transaction definition
  ERROR_UNKNOWN_HANDLE = -4,  // no such started application or running transaction
  ERROR_ADDRESS = -5,         // ZEL_ARM_PROMETHEUS is not host:port
  ERROR_SERVE = -6,           // nothing can serve metrics on that address
  ERROR_BUCKETS = -7,         // ZEL_ARM_PROMETHEUS_BUCKETS is not a list of bounds
  ERROR_METRICS = -8,         // a metric could not be made (out of memory)
};

constexpr std::size_t MAX_TRANSACTION_NAMES = 1000;
constexpr const char* OTHER_TRANSACTIONS = "other";
constexpr const char* STATUS_NAMES[] = {"good", "aborted", "failed", "unknown"};
constexpr int STATUS_COUNT = 4;

using Clock = std::chrono::steady_clock;

// The series of one application and transaction label, one per status.
struct Series {
  std::array<prometheus::Counter*, STATUS_COUNT> transactions{};
  std::array<prometheus::Histogram*, STATUS_COUNT> durations{};
};

struct Running {
  Clock::time_point started;
  const Series* series;
};

struct Exporter {
  std::shared_ptr<prometheus::Registry> registry;
  prometheus::Family<prometheus::Counter>* transactions = nullptr;
  prometheus::Family<prometheus::Histogram>* durations = nullptr;
  prometheus::Histogram::BucketBoundaries buckets;
  std::unique_ptr<prometheus::Exposer> exposer;
};

// Everything below is guarded by g_lock.
Zel::detail::AnnotatedMutex g_lock;
arm4_common::Bookkeeping<Running, const Series*> g_book ZEL_GUARDED_BY(g_lock);
// Made by the first registration that succeeds and never destroyed: threads of
// the measured program may still stop transactions while it exits.
Exporter* g_exporter ZEL_GUARDED_BY(g_lock) = nullptr;
std::set<std::string> g_transaction_names ZEL_GUARDED_BY(g_lock);
std::map<std::string, Series> g_series
    ZEL_GUARDED_BY(g_lock);  // application + '\0' + transaction label

void say(const std::string& why) { std::fprintf(stderr, "arm4-prometheus: %s\n", why.c_str()); }

// Label values must be UTF-8: bytes that are not become U+FFFD.
std::string label_value(const std::string& text) {
  std::string out;
  return icu::UnicodeString::fromUTF8(text).toUTF8String(out);
}

// "host:port" with a port from 1 to 65535; the host is left to the server,
// which also takes names and [IPv6] addresses.
bool valid_address(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == address.size()) return false;
  // A comma would make the server listen on a second address.
  if (address.find_first_of(", \t") != std::string::npos) return false;
  const std::string port = address.substr(colon + 1);
  if (port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) return false;
  const long number = std::strtol(port.c_str(), nullptr, 10);
  return number >= 1 && number <= 65535;
}

// The bounds ZEL_ARM_PROMETHEUS_BUCKETS lists; false when it is not a list of
// positive, finite, increasing numbers.
bool parse_buckets(const std::string& list, prometheus::Histogram::BucketBoundaries* out) {
  out->clear();
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    const std::string item = list.substr(start, end - start);
    char* rest = nullptr;
    const double bound = std::strtod(item.c_str(), &rest);
    if (item.empty() || std::isspace(static_cast<unsigned char>(item[0])) || *rest != '\0' ||
        !std::isfinite(bound) || bound <= 0 || (!out->empty() && bound <= out->back())) {
      return false;
    }
    out->push_back(bound);
    start = end + 1;
  }
  return true;
}

prometheus::Histogram::BucketBoundaries default_buckets() {
  prometheus::Histogram::BucketBoundaries bounds;
  // 100 us doubling up to 26.2144 s: 19 bounds.
  for (int doublings = 0; doublings <= 18; ++doublings) {
    bounds.push_back(std::ldexp(0.0001, doublings));
  }
  return bounds;
}

// Starts serving metrics; 0 or the error that says why it cannot.
arm_error_t start_exporter() ZEL_REQUIRES(g_lock) {
  const char* address_setting = std::getenv("ZEL_ARM_PROMETHEUS");
  const std::string address = address_setting != nullptr ? address_setting : "127.0.0.1:9464";
  if (!valid_address(address)) {
    say("ZEL_ARM_PROMETHEUS='" + address + "' is not host:port; ARM stays off");
    return ERROR_ADDRESS;
  }
  auto exporter = std::make_unique<Exporter>();
  const char* bucket_setting = std::getenv("ZEL_ARM_PROMETHEUS_BUCKETS");
  if (bucket_setting == nullptr) {
    exporter->buckets = default_buckets();
  } else if (!parse_buckets(bucket_setting, &exporter->buckets)) {
    say(std::string("ZEL_ARM_PROMETHEUS_BUCKETS='") + bucket_setting +
        "' is not a comma-separated list of increasing positive seconds; ARM stays off");
    return ERROR_BUCKETS;
  }
  try {
    exporter->registry = std::make_shared<prometheus::Registry>();
    exporter->transactions = &prometheus::BuildCounter()
                                  .Name("zel_arm_transactions_total")
                                  .Help("ARM transactions stopped")
                                  .Register(*exporter->registry);
    exporter->durations = &prometheus::BuildHistogram()
                               .Name("zel_arm_transaction_duration_seconds")
                               .Help("Response time of ARM transactions, start to stop")
                               .Register(*exporter->registry);
    exporter->exposer = std::make_unique<prometheus::Exposer>(address);
    exporter->exposer->RegisterCollectable(exporter->registry);
  } catch (const std::exception& e) {
    say("cannot serve metrics on " + address + " (" + e.what() + "); ARM stays off");
    return ERROR_SERVE;
  }
  g_exporter = exporter.release();
  return 0;
}

// The series a new definition counts in, made on first use.
const Series* series_for(const std::string& application, const std::string& transaction)
    ZEL_REQUIRES(g_lock) {
  std::string label = label_value(transaction);
  if (g_transaction_names.count(label) == 0) {
    if (g_transaction_names.size() < MAX_TRANSACTION_NAMES) {
      g_transaction_names.insert(label);
    } else {
      label = OTHER_TRANSACTIONS;
    }
  }
  const auto [found, created] = g_series.try_emplace(application + '\0' + label);
  if (created) {
    // Erased again should a metric fail to be made, so that no half-made series stays.
    try {
      const std::string application_label = label_value(application);
      for (int status = 0; status < STATUS_COUNT; ++status) {
        const prometheus::Labels labels = {{"application", application_label},
                                           {"transaction", label},
                                           {"status", STATUS_NAMES[status]}};
        found->second.transactions[status] = &g_exporter->transactions->Add(labels);
        found->second.durations[status] = &g_exporter->durations->Add(labels, g_exporter->buckets);
      }
    } catch (const std::exception&) {
      g_series.erase(found);
      return nullptr;
    }
  }
  return &found->second;
}

const char* error_text(arm_error_t code) {
  switch (code) {
    case ERROR_NULL_ARGUMENT:
      return "arm4-prometheus: a required argument is null";
    case ERROR_UNKNOWN_ID:
      return "arm4-prometheus: unknown application or transaction id";
    case ERROR_UNKNOWN_HANDLE:
      return "arm4-prometheus: unknown application or transaction handle";
    case ERROR_ADDRESS:
      return "arm4-prometheus: ZEL_ARM_PROMETHEUS is not host:port";
    case ERROR_SERVE:
      return "arm4-prometheus: metrics cannot be served on the address ZEL_ARM_PROMETHEUS names";
    case ERROR_BUCKETS:
      return "arm4-prometheus: ZEL_ARM_PROMETHEUS_BUCKETS is not a comma-separated list of "
             "increasing positive seconds";
    case ERROR_METRICS:
      return "arm4-prometheus: out of memory for a metric";
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" {

ARM4_PROMETHEUS_EXPORT arm_error_t arm_register_application(const arm_char_t* app_name,
                                                            const arm_id_t* input_app_id,
                                                            arm_int32_t flags,
                                                            const arm_buffer4_t* buffer4,
                                                            arm_id_t* output_app_id) {
  static_cast<void>(input_app_id), static_cast<void>(flags), static_cast<void>(buffer4);
  if (app_name == nullptr || output_app_id == nullptr) return ERROR_NULL_ARGUMENT;
  const Zel::detail::AnnotatedLock guard(g_lock);
  if (g_exporter == nullptr) {
    const arm_error_t refused = start_exporter();
    if (refused != 0) return refused;
  }
  *output_app_id = g_book.register_application(app_name);
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_start_application(
    const arm_id_t* app_id, const arm_char_t* app_group, const arm_char_t* app_instance,
    arm_int32_t flags, const arm_buffer4_t* buffer4, arm_app_start_handle_t* app_handle) {
  static_cast<void>(app_group), static_cast<void>(app_instance);
  static_cast<void>(flags), static_cast<void>(buffer4);
  if (app_id == nullptr || app_handle == nullptr) return ERROR_NULL_ARGUMENT;
  const Zel::detail::AnnotatedLock guard(g_lock);
  if (g_book.application_name(*app_id) == nullptr) return ERROR_UNKNOWN_ID;
  *app_handle = g_book.start_application();
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_register_transaction(
    const arm_id_t* app_id, const arm_char_t* tran_name, const arm_id_t* input_tran_id,
    arm_int32_t flags, const arm_buffer4_t* buffer4, arm_id_t* output_tran_id) {
  static_cast<void>(input_tran_id), static_cast<void>(flags), static_cast<void>(buffer4);
  if (app_id == nullptr || tran_name == nullptr || output_tran_id == nullptr) {
    return ERROR_NULL_ARGUMENT;
  }
  const Zel::detail::AnnotatedLock guard(g_lock);
  auto* definition = g_book.register_transaction(*app_id, tran_name);
  if (definition == nullptr) return ERROR_UNKNOWN_ID;
  if (definition->data == nullptr) {
    definition->data = series_for(definition->application, definition->name);
    if (definition->data == nullptr) return ERROR_METRICS;
  }
  *output_tran_id = definition->id;
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_start_transaction(
    arm_app_start_handle_t app_handle, const arm_id_t* tran_id,
    const arm_correlator_t* parent_correlator, arm_int32_t flags, const arm_buffer4_t* buffer4,
    arm_tran_start_handle_t* tran_handle, arm_correlator_t* current_correlator) {
  static_cast<void>(parent_correlator), static_cast<void>(flags), static_cast<void>(buffer4);
  if (tran_id == nullptr || tran_handle == nullptr) return ERROR_NULL_ARGUMENT;
  const Clock::time_point started = Clock::now();
  const Zel::detail::AnnotatedLock guard(g_lock);
  if (!g_book.started(app_handle)) return ERROR_UNKNOWN_HANDLE;
  const auto* definition = g_book.definition(*tran_id);
  if (definition == nullptr) return ERROR_UNKNOWN_ID;
  *tran_handle = g_book.new_transaction_handle();
  g_book.start_transaction(*tran_handle, Running{started, definition->data});
  // This runtime does not correlate: the correlator it hands out is empty.
  if (current_correlator != nullptr) std::memset(current_correlator->opaque, 0, 2);
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_stop_transaction(arm_tran_start_handle_t tran_handle,
                                                        arm_tran_status_t tran_status,
                                                        arm_int32_t flags,
                                                        const arm_buffer4_t* buffer4) {
  static_cast<void>(flags), static_cast<void>(buffer4);
  const Clock::time_point stopped = Clock::now();
  Running running;
  {
    const Zel::detail::AnnotatedLock guard(g_lock);
    const Running* found = g_book.running(tran_handle);
    if (found == nullptr) return ERROR_UNKNOWN_HANDLE;
    running = *found;
    g_book.stop_transaction(tran_handle);
  }
  // A status the standard does not define is counted, as unknown, not lost.
  const int status =
      tran_status >= 0 && tran_status < STATUS_COUNT ? tran_status : ARM_STATUS_UNKNOWN;
  running.series->transactions[status]->Increment();
  running.series->durations[status]->Observe(
      std::chrono::duration<double>(stopped - running.started).count());
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_get_error_message(arm_charset_t charset, arm_error_t code,
                                                         arm_message_buffer_t msg) {
  if (msg == nullptr) return ERROR_NULL_ARGUMENT;
  // Every text is ASCII, the same in each character set a caller may ask for.
  static_cast<void>(charset);
  arm4_common::write_error_message("arm4-prometheus", error_text(code), code, msg);
  return 0;
}

ARM4_PROMETHEUS_EXPORT arm_error_t arm_get_arrival_time(arm_arrival_time_t* opaque_time) {
  if (opaque_time == nullptr) return ERROR_NULL_ARGUMENT;
  *opaque_time =
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
  return 0;
}

}  // extern "C"
