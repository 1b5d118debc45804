/* zel/arm4.h - the ARM 4.0 C binding, as far as libzelutil uses it.
 *
 * ARM 4.0 (Application Response Measurement) is a standard C interface between
 * an instrumented program and a measurement agent, the runtime library
 * libarm4.so. libzelutil never links that runtime: it loads it by name at run
 * time (zel/arm.h), so it declares the part of the binding it needs here, in
 * the standard's own names, types and values. Any conforming runtime can
 * therefore be loaded, and a runtime can include this header to check its
 * entry points against it.
 *
 * Plain C, global namespace. Every record is a typedef of a tagged struct, so
 * both spellings name it (`arm_id` and `arm_id_t`):
 *
 *   arm_buffer4_t buffer;
 *   arm_subbuffer_t* subbuffers[1];
 *   arm_subbuffer_charset_t charset = {{ARM_SUBBUFFER_CHARSET}, ARM_CHARSET_UTF8, 0};
 *   subbuffers[0] = &charset.header;
 *   buffer.count = 1;
 *   buffer.subbuffer_array = subbuffers;
 *
 * Every entry point returns an arm_error_t: negative is a failure, zero or
 * positive success.
 */

#ifndef ZEL_ARM4_H_
#define ZEL_ARM4_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* --- Scalar types ------------------------------------------------------- */

typedef char arm_char_t;
typedef int8_t arm_int8_t;
typedef uint8_t arm_uint8_t;
typedef int16_t arm_int16_t;
typedef uint16_t arm_uint16_t;
typedef int32_t arm_int32_t;
typedef uint32_t arm_uint32_t;
typedef int64_t arm_int64_t;
typedef uint64_t arm_uint64_t;

typedef arm_int32_t arm_boolean_t;
typedef arm_int32_t arm_error_t;
typedef arm_int32_t arm_tran_status_t;
typedef arm_int32_t arm_charset_t;
typedef arm_int32_t arm_sysaddr_format_t;
typedef arm_int32_t arm_subbuffer_format_t;

typedef arm_int64_t arm_arrival_time_t;
typedef arm_int64_t arm_stop_time_t;
typedef arm_int64_t arm_response_time_t;

typedef arm_int64_t arm_app_start_handle_t;
typedef arm_int64_t arm_tran_start_handle_t;
typedef arm_int64_t arm_tran_block_handle_t;

typedef arm_uint8_t arm_metric_format_t;
typedef arm_uint8_t arm_metric_slot_t;
typedef arm_int16_t arm_metric_usage_t;
typedef arm_int16_t arm_correlator_length_t;

/* --- Constants ---------------------------------------------------------- */

#define ARM_FALSE 0
#define ARM_TRUE 1

#define ARM_STATUS_GOOD 0
#define ARM_STATUS_ABORTED 1
#define ARM_STATUS_FAILED 2
#define ARM_STATUS_UNKNOWN 3

#define ARM_SUBBUFFER_USER 3
#define ARM_SUBBUFFER_ARRIVAL_TIME 4
#define ARM_SUBBUFFER_METRIC_VALUES 5
#define ARM_SUBBUFFER_SYSTEM_ADDRESS 6
#define ARM_SUBBUFFER_DIAG_DETAIL 7
#define ARM_SUBBUFFER_APP_IDENTITY 102
#define ARM_SUBBUFFER_APP_CONTEXT 103
#define ARM_SUBBUFFER_TRAN_IDENTITY 104
#define ARM_SUBBUFFER_TRAN_CONTEXT 105
#define ARM_SUBBUFFER_METRIC_BINDINGS 106
#define ARM_SUBBUFFER_CHARSET 107

/* Format 9 is retired. */
#define ARM_METRIC_FORMAT_COUNTER32 1
#define ARM_METRIC_FORMAT_COUNTER64 2
#define ARM_METRIC_FORMAT_CNTRDIVR32 3
#define ARM_METRIC_FORMAT_GAUGE32 4
#define ARM_METRIC_FORMAT_GAUGE64 5
#define ARM_METRIC_FORMAT_GAUGEDIVR32 6
#define ARM_METRIC_FORMAT_NUMERICID32 7
#define ARM_METRIC_FORMAT_NUMERICID64 8
#define ARM_METRIC_FORMAT_STRING32 10

#define ARM_METRIC_MAX_COUNT 7 /* slots 0 to 6 */
#define ARM_PROPERTY_MAX_COUNT 20
#define ARM_DIAG_DETAIL_MAX_CHARS 4095
#define ARM_MSG_BUFFER_CHARS 255
#define ARM_MSG_BUFFER_LENGTH (ARM_MSG_BUFFER_CHARS * 3 + 1) /* 766 bytes of UTF-8 */

/* IANA MIBenum numbers. */
#define ARM_CHARSET_ASCII 3
#define ARM_CHARSET_UTF8 106

#define ARM_FLAG_NONE 0
#define ARM_FLAG_TRACE_REQUEST 1
#define ARM_FLAG_BIND_THREAD 2
#define ARM_FLAG_CORR_IN_PROCESS 4

#define ARM_CORR_MAX_LENGTH 512

/* Error codes -20999 to -20000 are reserved for the standard's own use. */

typedef arm_char_t arm_message_buffer_t[ARM_MSG_BUFFER_LENGTH];

/* --- Compound types ----------------------------------------------------- */

typedef struct arm_id {
  union {
    arm_uint8_t uint8[16];
    arm_uint32_t uint32[4];
    arm_uint64_t uint64[2];
  } id_u;
} arm_id_t;

/* Opaque to the application; the runtime writes it and reads it back. */
typedef struct arm_correlator {
  arm_uint8_t opaque[ARM_CORR_MAX_LENGTH];
} arm_correlator_t;

typedef struct arm_metric_cntrdivr32 {
  arm_int32_t counter;
  arm_int32_t divisor;
} arm_metric_cntrdivr32_t;

typedef struct arm_metric_gaugedivr32 {
  arm_int32_t gauge;
  arm_int32_t divisor;
} arm_metric_gaugedivr32_t;

typedef struct arm_metric {
  arm_metric_slot_t slot;
  arm_metric_format_t format;
  arm_metric_usage_t usage;
  arm_boolean_t valid;
  union {
    arm_int32_t counter32;
    arm_int64_t counter64;
    arm_metric_cntrdivr32_t counterdivisor32;
    arm_int32_t gauge32;
    arm_int64_t gauge64;
    arm_metric_gaugedivr32_t gaugedivisor32;
    arm_int32_t numericid32;
    arm_int64_t numericid64;
    const arm_char_t* string32;
  } metric_u;
} arm_metric_t;

typedef struct arm_metric_binding {
  arm_metric_slot_t slot;
  arm_id_t id;
} arm_metric_binding_t;

typedef struct arm_property {
  const arm_char_t* name;
  const arm_char_t* value;
} arm_property_t;

/* The header every sub-buffer starts with. */
typedef struct arm_subbuffer {
  arm_subbuffer_format_t format;
} arm_subbuffer_t;

typedef struct arm_buffer4 {
  arm_int32_t count;
  arm_subbuffer_t** subbuffer_array;
} arm_buffer4_t;

typedef struct arm_subbuffer_charset {
  arm_subbuffer_t header;
  arm_charset_t charset;
  arm_int32_t flags;
} arm_subbuffer_charset_t;

typedef struct arm_subbuffer_app_identity {
  arm_subbuffer_t header;
  arm_int32_t identity_property_count;
  const arm_property_t* identity_property_array;
  arm_int32_t context_name_count;
  const arm_char_t** context_name_array;
} arm_subbuffer_app_identity_t;

typedef struct arm_subbuffer_app_context {
  arm_subbuffer_t header;
  arm_int32_t context_value_count;
  const arm_char_t** context_value_array;
} arm_subbuffer_app_context_t;

typedef struct arm_subbuffer_tran_identity {
  arm_subbuffer_t header;
  arm_int32_t identity_property_count;
  const arm_property_t* identity_property_array;
  arm_int32_t context_name_count;
  const arm_char_t** context_name_array;
  const arm_char_t* uri;
} arm_subbuffer_tran_identity_t;

typedef struct arm_subbuffer_tran_context {
  arm_subbuffer_t header;
  arm_int32_t context_value_count;
  const arm_char_t** context_value_array;
  const arm_char_t* uri;
} arm_subbuffer_tran_context_t;

typedef struct arm_subbuffer_arrival_time {
  arm_subbuffer_t header;
  arm_arrival_time_t opaque_time;
} arm_subbuffer_arrival_time_t;

typedef struct arm_subbuffer_metric_bindings {
  arm_subbuffer_t header;
  arm_int32_t count;
  const arm_metric_binding_t* metric_binding_array;
} arm_subbuffer_metric_bindings_t;

typedef struct arm_subbuffer_metric_values {
  arm_subbuffer_t header;
  arm_int32_t count;
  const arm_metric_t* metric_value_array;
} arm_subbuffer_metric_values_t;

typedef struct arm_subbuffer_user {
  arm_subbuffer_t header;
  const arm_char_t* name;
  arm_boolean_t id_valid;
  arm_id_t id;
} arm_subbuffer_user_t;

typedef struct arm_subbuffer_system_address {
  arm_subbuffer_t header;
  arm_int16_t address_format;
  arm_int16_t address_length;
  const arm_uint8_t* address;
  arm_boolean_t id_valid;
  arm_id_t id;
} arm_subbuffer_system_address_t;

typedef struct arm_subbuffer_diag_detail {
  arm_subbuffer_t header;
  const arm_char_t* diag_detail;
} arm_subbuffer_diag_detail_t;

/* --- The entry points libzelutil binds ------------------------------------
 *
 * Declared so that a runtime can be checked against them; libzelutil itself
 * reaches them only through the pointers its loader binds.
 */

arm_error_t arm_register_application(const arm_char_t* app_name, const arm_id_t* input_app_id,
                                     arm_int32_t flags, const arm_buffer4_t* buffer4,
                                     arm_id_t* output_app_id);

arm_error_t arm_start_application(const arm_id_t* app_id, const arm_char_t* app_group,
                                  const arm_char_t* app_instance, arm_int32_t flags,
                                  const arm_buffer4_t* buffer4, arm_app_start_handle_t* app_handle);

arm_error_t arm_register_transaction(const arm_id_t* app_id, const arm_char_t* tran_name,
                                     const arm_id_t* input_tran_id, arm_int32_t flags,
                                     const arm_buffer4_t* buffer4, arm_id_t* output_tran_id);

arm_error_t arm_start_transaction(arm_app_start_handle_t app_handle, const arm_id_t* tran_id,
                                  const arm_correlator_t* parent_correlator, arm_int32_t flags,
                                  const arm_buffer4_t* buffer4,
                                  arm_tran_start_handle_t* tran_handle,
                                  arm_correlator_t* current_correlator);

arm_error_t arm_stop_transaction(arm_tran_start_handle_t tran_handle, arm_tran_status_t tran_status,
                                 arm_int32_t flags, const arm_buffer4_t* buffer4);

arm_error_t arm_get_arrival_time(arm_arrival_time_t* opaque_time);

arm_error_t arm_get_error_message(arm_charset_t charset, arm_error_t code,
                                  arm_message_buffer_t msg);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZEL_ARM4_H_ */
