/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API of the modem access library, libmodemapi_vendor, as this daemon uses it.
//
// On a device the vendor's closed library implements it; on a host the simulated modem library
// (host/modem-sim) does. The daemon reaches the modem through these functions only, so either
// implementation links in without a change to the daemon.
//
// Conventions of the library:
//  - Every function returns a modem_api_result_type: 0 on success, anything else (negative
//    values included) a failure. The positive codes 1 to 10 are named below.
//  - Synchronous calls return the final outcome; results are written to the pointers given
//    before the call returns.
//  - Asynchronous calls (those taking a modem_api_async_cb) only start the operation. When one
//    returns 0, the library calls the callback exactly once, later, on a thread of its own, with
//    a modem_api_async_response record and the user data given to the call. When one returns
//    non-zero, the callback is never called.
//  - Events (service connected and disconnected, the PDC answers) are delivered to the callback
//    set with modem_api_set_event_callback, on a thread of the library, for the event types
//    subscribed with modem_api_subscribe_event.
//  - Every function may be called from any thread. Callbacks must not block for long: they run
//    on the library's own threads.

#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// ---- Results -----------------------------------------------------------------------------------

// A plain int, not a C enum: the library may return values outside the named ones.
typedef int32_t modem_api_result_type;

enum {
    MODEM_API_SUCCESS = 0,
    MODEM_API_GENERIC_FAILURE = 1,
    MODEM_API_NO_MEMORY = 2,
    MODEM_API_INVALID_ARGUMENT = 3,
    MODEM_API_INTERNAL_ERROR = 4,
    MODEM_API_NOT_SUPPORTED = 5,
    MODEM_API_TIMEOUT = 6,
    MODEM_API_TRANSPORT_ERROR = 7,
    MODEM_API_SERVICE_NOT_READY = 8,
    MODEM_API_BUSY = 9,
    MODEM_API_NO_RESOURCES = 10,
};

// ---- QMI services ------------------------------------------------------------------------------

enum {
    MODEM_API_SERVICE_WDS = 1,
    MODEM_API_SERVICE_DMS = 2,
    MODEM_API_SERVICE_NAS = 3,
    MODEM_API_SERVICE_SAR = 17,
    MODEM_API_SERVICE_PDC = 36,
    MODEM_API_SERVICE_VS = 228,
};

// ---- Events ------------------------------------------------------------------------------------

// A plain int for the same reason as the result type.
typedef int32_t modem_api_event_type;

enum {
    // data: the QMI service id as a 4-byte int.
    MODEM_API_EVENT_SERVICE_CONNECTED = 0,
    MODEM_API_EVENT_SERVICE_DISCONNECTED = 1,
    // data: a modem_pdc_active_config_info_event (answer to modem_pdc_get_activate_config_info).
    MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO = 17,
    // data: a modem_pdc_config_info_event (answer to modem_pdc_get_config_info).
    MODEM_API_EVENT_PDC_CONFIG_INFO = 18,
};

// Called on the library's event thread. data is valid only during the call.
typedef void (*modem_api_event_cb)(modem_api_event_type event, void* data, size_t len);

// ---- Asynchronous replies ----------------------------------------------------------------------

#define MODEM_API_ASYNC_RESPONSE_SIZE 548
#define MODEM_API_ASYNC_PAYLOAD_SIZE (MODEM_API_ASYNC_RESPONSE_SIZE - 8)

// The record every asynchronous call is answered with. All fields in host byte order.
typedef struct modem_api_async_response {
    uint32_t msg_id;                                // the library's own id of the request
    uint32_t result;                                // a modem_api_result_type
    uint8_t payload[MODEM_API_ASYNC_PAYLOAD_SIZE];  // request-specific, see each call
} modem_api_async_response;

// Called once per accepted asynchronous call, on a library thread; data is valid only during
// the call. The result argument repeats the record's result word.
typedef void (*modem_api_async_cb)(const void* data, unsigned long len, void* user_data,
                                   modem_api_result_type result);

// ---- Start-up, connections and subscriptions ---------------------------------------------------

modem_api_result_type modem_api_init_pre(void);
modem_api_result_type modem_api_set_event_callback(modem_api_event_cb cb);
modem_api_result_type modem_api_subscribe_event(modem_api_event_type event);

// Requests a connection to a QMI service; the outcome is reported by the connected event.
// flags: 0.
modem_api_result_type modem_api_init_qmi_connection(int32_t service_id, int32_t flags);
modem_api_result_type modem_api_release_qmi_connection(int32_t service_id);

// Bind a service's client to a modem subscription (0 or 1).
modem_api_result_type modem_api_bind_nas_subscription(int32_t instance_id);
modem_api_result_type modem_api_bind_vs_subscription(int32_t instance_id);
modem_api_result_type modem_api_bind_wds_subscription(int32_t instance_id);

modem_api_result_type modem_api_get_version(uint8_t* version);

// ---- DMS: device management --------------------------------------------------------------------

modem_api_result_type modem_get_operating_mode(int* mode);
modem_api_result_type modem_set_operating_mode(int mode);

// ---- NAS: network access -----------------------------------------------------------------------

modem_api_result_type modem_get_nr_network_mode(int* mode);
modem_api_result_type modem_switch_nr_network_mode(int mode);
modem_api_result_type modem_get_vonr_mode(int* mode);
modem_api_result_type modem_set_vonr_mode(int mode);

// ---- SAR ---------------------------------------------------------------------------------------

modem_api_result_type modem_set_sar_dsi(int state);

// ---- WDS: IMS profiles -------------------------------------------------------------------------

#define MODEM_QDP_MAX_PROFILES 24

// Identifies one profile of the modem; opaque to callers, 8 bytes.
typedef struct modem_qdp_profile_id {
    uint32_t technology;
    uint32_t index;
} modem_qdp_profile_id;

// Fills at most *count entries of profiles (*count: capacity in, profiles found out).
modem_api_result_type modem_qdp_get_ims_profile(modem_qdp_profile_id* profiles, uint8_t* count);
modem_api_result_type modem_qdp_delete_ims_profile(const modem_qdp_profile_id* profile);

// ---- Diagnostics -------------------------------------------------------------------------------

// Forces antenna switch diversity. Needs no QMI service connection.
modem_api_result_type modem_diag_pan_force_asdiv(int mode);

// ---- VS: vendor-specific, synchronous ----------------------------------------------------------

#define MODEM_NV_ITEM_MAX_SIZE 512
#define MODEM_EFS_FILE_MAX_SIZE 10240

// *len: the buffer's size in, the item's length out.
modem_api_result_type modem_read_nv_for_subid(uint8_t sub_id, int32_t nv_id, uint8_t index,
                                              uint8_t* buf, size_t* len);
modem_api_result_type modem_write_nv_for_subid(uint8_t sub_id, int32_t nv_id, const uint8_t* data,
                                               size_t len);
// *len: the buffer's size in, the file's length out.
modem_api_result_type modem_read_efs_for_subid(uint8_t sub_id, int32_t efs_id, uint8_t* buf,
                                               size_t* len);
modem_api_result_type modem_write_efs_for_subid(uint8_t sub_id, int32_t efs_id, const uint8_t* data,
                                                size_t len);
modem_api_result_type modem_del_efs_for_subid(uint8_t sub_id, int32_t efs_id);
modem_api_result_type modem_del_efs_file_dir(int32_t efs_id);

modem_api_result_type modem_restore_qcn_data(void);
// Restarts the modem: every service disconnects, then connects again.
modem_api_result_type modem_subsystem_reboot(void);

#define MODEM_PROPERTY_KEY_BUFFER_SIZE 52
#define MODEM_PROPERTY_VALUE_BUFFER_SIZE 512

// key: zero-terminated, in a buffer of MODEM_PROPERTY_KEY_BUFFER_SIZE bytes.
modem_api_result_type modem_api_delete_modem_property_sync(const char* key);
modem_api_result_type modem_api_get_simlock_fuse_status(int* state);
modem_api_result_type modem_get_qst_mode(int* mode);
modem_api_result_type modem_set_qst_mode(int mode);
modem_api_result_type modem_notify_screen_state(bool screen_on);

// ---- VS: vendor-specific, asynchronous ---------------------------------------------------------
//
// Payloads of the reply record (modem_api_async_response.payload, i.e. from byte 8):
//  - build time, build id: a uint32_t text length, then the text (not zero-terminated);
//  - get modem property: the value, zero-terminated;
//  - get power save mode: one byte, non-zero meaning on;
//  - all others: none.

#define MODEM_MBN_NAME_BUFFER_SIZE 64

// The set-property request, 576 bytes, zero-filled before use.
typedef struct modem_api_property_record {
    uint8_t reserved;  // 0
    char key[55];      // zero-terminated
    uint32_t key_len;
    char value[MODEM_PROPERTY_VALUE_BUFFER_SIZE];  // zero-terminated
    uint32_t value_len;
} modem_api_property_record;

modem_api_result_type modem_get_build_time(void* user_data, modem_api_async_cb cb);
modem_api_result_type modem_get_build_id(void* user_data, modem_api_async_cb cb);
modem_api_result_type modem_api_set_radio_info_report_enabled(bool enabled, void* user_data,
                                                              modem_api_async_cb cb);
// name: zero-terminated, in a buffer of MODEM_MBN_NAME_BUFFER_SIZE bytes.
modem_api_result_type modem_api_active_mbn(const char* name, void* user_data,
                                           modem_api_async_cb cb);
modem_api_result_type modem_api_remove_rat_mask(void* user_data, modem_api_async_cb cb);
// key: zero-terminated, in a buffer of MODEM_PROPERTY_KEY_BUFFER_SIZE bytes.
modem_api_result_type modem_api_get_modem_property(const char* key, void* user_data,
                                                   modem_api_async_cb cb);
modem_api_result_type modem_api_set_modem_property(const modem_api_property_record* record,
                                                   void* user_data, modem_api_async_cb cb);
// The 5G power save switch.
modem_api_result_type modem_api_get_power_save_mode(void* user_data, modem_api_async_cb cb);
modem_api_result_type modem_api_set_power_save_mode(bool on, void* user_data,
                                                    modem_api_async_cb cb);
// The 5G power save mode.
modem_api_result_type modem_api_set_power_save_status(uint8_t mode, void* user_data,
                                                      modem_api_async_cb cb);
modem_api_result_type modem_abort_rrc_connection(void* user_data, modem_api_async_cb cb);

// ---- PDC: modem configurations -----------------------------------------------------------------

#define MODEM_PDC_CONFIG_ID_SIZE 124
#define MODEM_PDC_ACTIVE_INFO_SIZE 124
#define MODEM_PDC_META_INFO_SIZE 256

// The answer to modem_pdc_get_activate_config_info, as event 17; 140 bytes, little-endian.
typedef struct modem_pdc_active_config_info_event {
    int32_t result;       // a modem_api_result_type
    uint8_t token_valid;  // non-zero when token holds the request's token
    uint8_t padding[3];
    uint32_t token;
    uint8_t info[MODEM_PDC_ACTIVE_INFO_SIZE];
    uint32_t info_len;  // valid bytes of info
} modem_pdc_active_config_info_event;

// The answer to modem_pdc_get_config_info, as event 18; 272 bytes, little-endian.
typedef struct modem_pdc_config_info_event {
    int32_t result;
    uint8_t token_valid;
    uint8_t padding[3];
    uint32_t token;
    uint8_t info[MODEM_PDC_META_INFO_SIZE];
    uint32_t info_len;
} modem_pdc_config_info_event;

// Answered by event 17 carrying token.
modem_api_result_type modem_pdc_get_activate_config_info(int config_type, uint32_t token);
// Answered by event 18 carrying token. data: the configuration's id, len bytes.
modem_api_result_type modem_pdc_get_config_info(const uint8_t* data, uint32_t len, uint32_t token);
modem_api_result_type modem_pdc_delete_all_mbns(void);
// config_id: zero-terminated, in a buffer of MODEM_PDC_CONFIG_ID_SIZE bytes.
modem_api_result_type modem_pdc_set_selected_config_info(int config_type, const char* config_id);
// One chunk of a configuration: chunks of one config_id are sent in order, each with the total.
modem_api_result_type modem_pdc_load_configuration(const char* config_id, const void* chunk,
                                                   uint32_t chunk_len, uint32_t total_len);
modem_api_result_type modem_pdc_activate_config(int config_type);
modem_api_result_type modem_pdc_deactivate_config(int config_type);

#ifdef __cplusplus
}  // extern "C"

static_assert(sizeof(modem_api_async_response) == MODEM_API_ASYNC_RESPONSE_SIZE,
              "asynchronous reply record must be 548 bytes");
static_assert(sizeof(modem_api_property_record) == 576, "property record must be 576 bytes");
static_assert(sizeof(modem_qdp_profile_id) == 8, "profile id must be 8 bytes");
static_assert(sizeof(modem_pdc_active_config_info_event) == 140, "event 17 must be 140 bytes");
static_assert(sizeof(modem_pdc_config_info_event) == 272, "event 18 must be 272 bytes");
#endif
