// Start and stop of the manager, its record and the way to the interface tables. The lifecycle lock is held across a whole
// start or stop; nothing that a client calls takes it.
#include "standin.h"

#include <atomic>
#include <mutex>

namespace standin {

namespace {

std::mutex s_lifecycle_lock;
std::atomic<uint32_t> s_starts{0};  // written under the lock

struct interface_row {
  std::string_view name;
  const void* table;
};

constexpr interface_row k_interfaces[] = {
    {VELOX_INTERFACE_ERRORINFO, &g_errorinfo_table},
    {VELOX_INTERFACE_HANDLEMANAGER, &g_handlemanager_table},
    {VELOX_INTERFACE_USERINFO, &g_userinfo_table},
    {VELOX_INTERFACE_LOOKUP, &g_lookup_table},
    {VELOX_INTERFACE_MDO, &g_mdo_table},
    {VELOX_INTERFACE_LISTMANAGER, &g_listmanager_table},
};

pask_status interface_get(const char* name, uintptr_t, uintptr_t, void** table) {
  if (missing(name) || !table) return VELOX_STANDIN_ERR_INVALID_ARG;
  for (const interface_row& row : k_interfaces)
    if (row.name == name) {
      *table = const_cast<void*>(row.table);
      return 0;
    }
  return VELOX_STANDIN_ERR_NOT_FOUND;
}

pask_status register_while_started(uint32_t package, const char* name, velox_client_shutdown_fn shutdown,
                                   uintptr_t zero, velox_client_ref* client) {
  if (s_starts.load() == 0) return VELOX_STANDIN_ERR_NOT_INITED;
  return client_register(package, name, shutdown, zero, client);
}

constexpr velox_manager_record k_record = {
    VELOX_MANAGER_MAGIC, VELOX_MANAGER_VERSION, register_while_started, client_unregister, {}, interface_get,
};

}  // namespace

pask_status interface_release(void*) { return 0; }

}  // namespace standin

pask_status velox_standin_start(const velox_manager_record** record) {
  if (!record) return VELOX_STANDIN_ERR_INVALID_ARG;
  const std::lock_guard hold(standin::s_lifecycle_lock);
  ++standin::s_starts;
  *record = &standin::k_record;
  return 0;
}

pask_status velox_standin_stop(void) {
  const std::lock_guard hold(standin::s_lifecycle_lock);
  if (standin::s_starts == 0) return VELOX_STANDIN_ERR_NOT_INITED;
  if (--standin::s_starts != 0) return 0;
  const pask_status ended = standin::guarded([]() -> pask_status { return standin::clients_end(), 0; });
  if (ended != 0) {
    ++standin::s_starts;
    return ended;
  }
  standin::default_provider_stop();
  return 0;
}

int64_t velox_standin_live_objects(void) {
  using namespace standin;
  return live_users() + live_mdos() + live_list_elements() + live_lookups() + registered_handles();
}
