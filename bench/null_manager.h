// A manager record whose tables do nothing: every metadata object is a track with an identifier pair and an answer with
// something to play, every lookup succeeds. What is left is the library's own cost. A few objects at a time.
#pragma once

#include <velox/velox_manager.h>

namespace null_manager {

inline char g_object;  // stands for every handle of the manager

struct registered {
  void* object;
  velox_handle_delete_fn destroy;
};
inline registered g_registered[8];
inline registered& registration_of(const void* object) {
  registered* found = g_registered;
  while (found->object != object) ++found;
  return *found;
}

template <class Handle>
Handle any() {
  return reinterpret_cast<Handle>(&g_object);
}

inline pask_status table_release(void*) { return 0; }

inline velox_errorinfo_interface g_errorinfo = {
    table_release, [](pask_status, pask_status, const char*, const char*) -> pask_status { return 0; }};

inline velox_handlemanager_interface g_handles = {
    table_release,
    [](velox_client_ref, void* object, uint32_t, velox_handle_delete_fn destroy) -> pask_status {
      registration_of(nullptr) = {object, destroy};
      return 0;
    },
    [](const void*, uint32_t) -> pask_status { return 0; },
    nullptr,
    [](void* handle) -> pask_status {
      registered& its = registration_of(handle);
      its.object = nullptr;
      its.destroy(handle);
      return 0;
    },
    nullptr,
    [](velox_user_handle) -> pask_status { return 0; },
    [](velox_mdo_handle) -> pask_status { return 0; }};

inline velox_userinfo_interface g_users = {table_release, nullptr, [](velox_user_handle) -> pask_status { return 0; },
                                           [](velox_user_handle) -> pask_status { return 0; }};

inline velox_lookup_interface g_lookups = {
    table_release,
    nullptr,
    [](velox_lookup_interface*, velox_lookup_callback_fn, void*, velox_lookup_handle* lookup) -> pask_status {
      *lookup = any<velox_lookup_handle>();
      return 0;
    },
    nullptr,
    [](velox_lookup_handle, const char*, const char*, const char*, uintptr_t) -> pask_status { return 0; },
    [](velox_lookup_handle, const char*, const char*, const char*, uint32_t) -> pask_status { return 0; },
    {},
    [](velox_lookup_handle, const char*, const char*, const char*) -> pask_status { return 0; },
    [](velox_lookup_handle, const char*, const char*) -> pask_status { return 0; },
    [](velox_lookup_handle, velox_user_handle, void*) -> pask_status { return 0; },
    [](velox_lookup_handle, const char*, velox_mdo_handle* result) -> pask_status {
      *result = any<velox_mdo_handle>();
      return 0;
    },
    nullptr,
    [](velox_lookup_handle) -> pask_status { return 0; }};

inline velox_mdo_interface g_mdos = {
    table_release,
    {},
    [](velox_mdo_handle) -> pask_status { return 0; },
    [](velox_mdo_handle) -> pask_status { return 0; },
    [](velox_mdo_handle, const char** context) -> pask_status {
      *context = "velox_ctx_track";
      return 0;
    },
    nullptr,
    [](velox_mdo_handle, const char*, uint32_t, const char** value) -> pask_status {
      *value = "12345678";
      return 0;
    },
    nullptr,
    [](velox_mdo_handle, const char*, uint32_t* count) -> pask_status {
      *count = 1;
      return 0;
    },
    [](velox_mdo_handle, const char*, uint32_t, uintptr_t, velox_mdo_handle*) -> pask_status { return 0x90010003; }};

inline velox_listmanager_interface g_lists = {table_release,
                                              {},
                                              [](velox_list_element_handle, const char** type) -> pask_status {
                                                *type = "velox_list_type_genres";
                                                return 0;
                                              },
                                              [](velox_list_element_handle, int32_t* id) -> pask_status {
                                                *id = 7;
                                                return 0;
                                              }};

// The names differ at their eighth letter.
inline pask_status interface_get(const char* name, uintptr_t, uintptr_t, void** table) {
  switch (name[7]) {
    case 'e':
      *table = &g_errorinfo;
      return 0;
    case 'h':
      *table = &g_handles;
      return 0;
    case 'u':
      *table = &g_users;
      return 0;
    case 'm':
      *table = &g_mdos;
      return 0;
    default:
      *table = name[8] == 'o' ? static_cast<void*>(&g_lookups) : static_cast<void*>(&g_lists);
      return 0;
  }
}

inline const velox_manager_record g_record = {
    VELOX_MANAGER_MAGIC,
    VELOX_MANAGER_VERSION,
    [](uint32_t, const char*, velox_client_shutdown_fn, uintptr_t, velox_client_ref* client) -> pask_status {
      *client = &g_object;
      return 0;
    },
    [](velox_client_ref) -> pask_status { return 0; },
    {},
    interface_get};

}  // namespace null_manager
