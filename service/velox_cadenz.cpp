// Start and stop of the service, and the frame that its exported operations share.
//
// _g_initlock_cadenz is held during the whole of a start or stop, calls into the manager included; it lies on top of the
// modules' locks.
#include "velox_cadenz.h"

#include <type_traits>

#include "cadenz_frame.h"
#include "pask_guard.h"
#include "pask_lifecycle.h"
#include "pask_string.h"

static constexpr char BUILD_DATE[] = "2016-08-22 10:21-0700";

const velox_manager_record* g_cadenz_manager_interface;
velox_client_ref g_cadenz_client_ref;
velox_errorinfo_interface* g_cadenz_errorinfo_interface;
velox_handlemanager_interface* g_cadenz_handlemanager_interface;
velox_userinfo_interface* g_cadenz_userinfo_interface;
velox_lookup_interface* g_cadenz_lookup_interface;
velox_mdo_interface* g_cadenz_mdo_interface;
velox_listmanager_interface* g_cadenz_lists_interface;

static guarding_spinlock _g_initlock_cadenz;
static uint32_t _g_initcount_cadenz PASK_GUARDED_BY(_g_initlock_cadenz);  // read without it by velox_cadenz_initchecks

// ---- The frame ------------------------------------------------------------------------------------------------------

uint32_t cadenz_ready(const char* operation) {
  static constexpr char MESSAGE[] = "cadenz not initialized!";
  if (velox_cadenz_initchecks() != 0) [[likely]]
    return 0;
  if (pask_log_enabled(PKG_CADENZ, PASK_LOG_ERROR))
    g_pask_log_callback(0, operation, PASK_LOG_ERROR, CADENZ_ERR_NOT_INITED, MESSAGE);
  manager_errorinfo_set(CADENZ_ERR_NOT_INITED, CADENZ_ERR_NOT_INITED, operation, MESSAGE);
  return CADENZ_ERR_NOT_INITED;
}

uint32_t cadenz_handle_check(const char* operation, const void* handle, uint32_t magic) {
  if (!handle) return cadenz_end(operation, CADENZ_ERR_INVALID_ARG);
  const uint32_t status = g_cadenz_handlemanager_interface->handle_validate(handle, magic);
  return status ? cadenz_end(operation, status) : 0;
}

uint32_t cadenz_handle_release(const char* operation, void* handle, uint32_t magic) {
  PASK_TRY(cadenz_ready(operation));
  if (!handle) return cadenz_end(operation, 0);
  PASK_TRY(cadenz_handle_check(operation, handle, magic));
  g_cadenz_handlemanager_interface->handle_release(handle);
  return cadenz_end(operation, 0);
}

uint32_t cadenz_end(const char* operation, uint32_t status, const char* message) {
  const uint32_t word = status ? cadenz_fold(status) : 0;
  g_cadenz_errorinfo_interface->errorinfo_set(word, status, operation, message);
  return cadenz_end_without_errorinfo(operation, word);
}

uint32_t cadenz_end_unfolded(const char* operation, uint32_t status) {
  cadenz_end(operation, status);
  return status;
}

uint32_t cadenz_end_without_errorinfo(const char* operation, uint32_t status) {
  return cadenz_report(status, operation, 0);
}

// ---- Start and stop -------------------------------------------------------------------------------------------------

// Tells the service's own package and then the family's, each behind its level test.
template <class... Args>
static void message(uint32_t level, const char* format, Args... args) {
  static constexpr uint32_t PACKAGES[] = {PKG_CADENZ, PKG_FAMILY};
  for (const uint32_t package : PACKAGES)
    if (pask_log_enabled(package, level)) g_pask_log_callback(0, nullptr, level, package << 16, format, args...);
}

namespace {

// One of the manager's tables and the global that holds it.
struct table_slot {
  const char* name;
  void* (*get)();
  void (*set)(void* table);
};

template <auto& global>
constexpr table_slot slot(const char* name) {
  return {name, []() -> void* { return global; },
          [](void* table) { global = static_cast<std::remove_reference_t<decltype(global)>>(table); }};
}

constexpr table_slot k_errorinfo = slot<g_cadenz_errorinfo_interface>(VELOX_INTERFACE_ERRORINFO);
constexpr table_slot k_handlemanager = slot<g_cadenz_handlemanager_interface>(VELOX_INTERFACE_HANDLEMANAGER);
constexpr table_slot k_userinfo = slot<g_cadenz_userinfo_interface>(VELOX_INTERFACE_USERINFO);
constexpr table_slot k_lookup = slot<g_cadenz_lookup_interface>(VELOX_INTERFACE_LOOKUP);
constexpr table_slot k_mdo = slot<g_cadenz_mdo_interface>(VELOX_INTERFACE_MDO);
constexpr table_slot k_lists = slot<g_cadenz_lists_interface>(VELOX_INTERFACE_LISTMANAGER);

constexpr table_slot k_get_order[] = {k_errorinfo, k_handlemanager, k_userinfo, k_lookup, k_mdo, k_lists};
constexpr table_slot k_release_order[] = {k_lists, k_mdo, k_lookup, k_handlemanager, k_userinfo, k_errorinfo};

enum shutdown_mode : uint32_t {
  SHUTDOWN_ROLLBACK,  // the caller lets go of the modules
  SHUTDOWN_LAST_STOP,
  SHUTDOWN_FORCED,  // the manager itself stops: its refusal doesn't count
};

}  // namespace

static uint32_t tables_get() {
  for (const table_slot& row : k_get_order) {
    void* table = nullptr;
    PASK_TRY(g_cadenz_manager_interface->interface_get(row.name, 0, 0, &table));
    row.set(table);
  }
  return 0;
}

static void tables_release() {
  for (const table_slot& row : k_release_order) {
    void* table = row.get();
    if (!table) continue;
    (*static_cast<velox_interface_release_fn*>(table))(table);  // the first entry of every table
    row.set(nullptr);
  }
}

static uint32_t _cadenz_shutdown_func(shutdown_mode mode) {
  const uint32_t status = g_cadenz_manager_interface->client_unregister(g_cadenz_client_ref);
  if (status && mode != SHUTDOWN_FORCED) {
    message(PASK_LOG_ERROR, "Cadenz Shutdown Failed: services still in use");
    return status;
  }
  message(PASK_LOG_INFO, "Cadenz Shutdown");
  tables_release();
  g_cadenz_client_ref = nullptr;
  g_cadenz_manager_interface = nullptr;
  if (mode != SHUTDOWN_ROLLBACK) pask_steps_stop(g_cadenz_modules.stop, PASK_ALL_STEPS);
  return 0;
}

static void count_set(uint32_t count) PASK_REQUIRES(_g_initlock_cadenz) {
  __atomic_store_n(&_g_initcount_cadenz, count, __ATOMIC_RELEASE);
}

// Ends the service when the manager stops, whatever the count is.
static uint32_t _cadenz_client_shutdown() {
  const spinlock_hold held(_g_initlock_cadenz);
  if (_g_initcount_cadenz == 0) return PASK_BARE_NOT_INITED;
  PASK_TRY(_cadenz_shutdown_func(SHUTDOWN_FORCED));
  count_set(0);
  return 0;
}

static uint32_t join_manager(uint32_t* started) {
  PASK_TRY(pask_steps_start(g_cadenz_modules.start, started));
  PASK_TRY(g_cadenz_manager_interface->client_register(PKG_CADENZ, "VELOX Cadenz", _cadenz_client_shutdown, 0,
                                                       &g_cadenz_client_ref));
  return tables_get();
}

static uint32_t _cadenz_init_func(const velox_manager_record* manager) {
  g_cadenz_manager_interface = manager;
  uint32_t started = 0;
  if (const uint32_t status = join_manager(&started)) {
    _cadenz_shutdown_func(SHUTDOWN_ROLLBACK);
    pask_steps_stop(g_cadenz_modules.rollback, started);
    return cadenz_report(status);
  }
  message(PASK_LOG_INFO, "Cadenz Initialize: Version %s  Built %s", g_pask_version, BUILD_DATE);
  return 0;
}

static uint32_t start(const velox_manager_record* manager) {
  const spinlock_hold held(_g_initlock_cadenz);
  if (_g_initcount_cadenz == 0) PASK_TRY(_cadenz_init_func(manager));
  count_set(_g_initcount_cadenz + 1);
  return 0;
}

// The tables aren't there for certain while a start fails, so the linked name tells of the outcome.
static uint32_t initialize_end(uint32_t word, uint32_t source, const char* text) {
  static constexpr char OPERATION[] = "velox_cadenz_initialize";
  manager_errorinfo_set(word, source, OPERATION, text);
  return cadenz_end_without_errorinfo(OPERATION, word);
}

uint32_t velox_cadenz_initialize(const velox_manager_record* manager) {
  cadenz_trace("velox_cadenz_initialize( %p )", manager);
  if (!manager) return initialize_end(CADENZ_ERR_INVALID_ARG, CADENZ_ERR_INVALID_ARG, "given manager handle was null");
  if (manager->magic != VELOX_MANAGER_MAGIC)
    return initialize_end(CADENZ_ERR_BAD_RECORD, CADENZ_ERR_BAD_RECORD, nullptr);
  if (!pask_string_equal(manager->version, VELOX_MANAGER_VERSION, 1))
    return initialize_end(CADENZ_ERR_WRONG_VERSION, CADENZ_ERR_WRONG_VERSION,
                          "given manager handle was from a different version SDK");

  const uint32_t status = start(manager);
  return initialize_end(status ? CADENZ_ERR_INIT_FAILED : 0, status, nullptr);
}

static uint32_t stop() {
  const spinlock_hold held(_g_initlock_cadenz);
  if (_g_initcount_cadenz == 0) return CADENZ_ERR_NOT_INITED;
  if (_g_initcount_cadenz == 1) PASK_TRY(_cadenz_shutdown_func(SHUTDOWN_LAST_STOP));
  count_set(_g_initcount_cadenz - 1);
  return 0;
}

uint32_t velox_cadenz_shutdown(void) {
  static constexpr char OPERATION[] = "velox_cadenz_shutdown";
  cadenz_trace(OPERATION);
  const uint32_t status = stop();
  return status ? cadenz_end_without_errorinfo(OPERATION, cadenz_fold(status)) : 0;
}

int32_t velox_cadenz_initchecks(void) {
  return static_cast<int32_t>(__atomic_load_n(&_g_initcount_cadenz, __ATOMIC_ACQUIRE));
}

const char* velox_cadenz_get_version(void) {
  cadenz_trace("velox_cadenz_get_version");
  return g_pask_version;
}

const char* velox_cadenz_get_build_date(void) {
  cadenz_trace("velox_cadenz_get_build_date");
  return BUILD_DATE;
}
