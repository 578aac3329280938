// A manager record whose tables do nothing: every metadata object is a track with an identifier pair and an answer with
// something to play, every lookup succeeds. What is left is the library's own cost. A few objects at a time.
#pragma once

#include <velox/velox_lookup_keys.h>
#include <velox/velox_manager.h>

#include <string_view>

namespace null_manager {

inline char g_object;  // stands for every handle of the manager

template <class Handle>
Handle any() {
  return reinterpret_cast<Handle>(&g_object);
}

// Any entry that has nothing to give.
inline constexpr auto succeed = [](auto...) -> pask_status { return 0; };

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

inline velox_errorinfo_interface g_errorinfo = {.interface_release = succeed, .errorinfo_set = succeed};

inline velox_handlemanager_interface g_handles = {
    .interface_release = succeed,
    .handle_add = [](velox_client_ref, void* object, uint32_t, velox_handle_delete_fn destroy) -> pask_status {
      registration_of(nullptr) = {object, destroy};
      return 0;
    },
    .handle_validate = succeed,
    .reserved1 = nullptr,
    .handle_release = [](void* handle) -> pask_status {
      registered& its = registration_of(handle);
      its.object = nullptr;
      its.destroy(handle);
      return 0;
    },
    .reserved2 = nullptr,
    .handle_validate_user = succeed,
    .handle_validate_mdo = succeed};

inline velox_userinfo_interface g_users = {
    .interface_release = succeed, .reserved = nullptr, .user_addref = succeed, .user_release = succeed};

inline velox_lookup_interface g_lookups = {
    .interface_release = succeed,
    .reserved1 = nullptr,
    .lookup_create = [](velox_lookup_interface*, velox_lookup_callback_fn, void*,
                        velox_lookup_handle* lookup) -> pask_status {
      *lookup = any<velox_lookup_handle>();
      return 0;
    },
    .reserved2 = nullptr,
    .lookup_add_request = succeed,
    .lookup_add_data = succeed,
    .reserved3 = {},
    .lookup_request_option_set = succeed,
    .lookup_option_set = succeed,
    .lookup_execute = succeed,
    .lookup_get_result = [](velox_lookup_handle, const char*, velox_mdo_handle* result) -> pask_status {
      *result = any<velox_mdo_handle>();
      return 0;
    },
    .reserved4 = nullptr,
    .lookup_release = succeed};

inline velox_mdo_interface g_mdos = {
    .interface_release = succeed,
    .reserved1 = {},
    .mdo_addref = succeed,
    .mdo_release = succeed,
    .mdo_get_context = [](velox_mdo_handle, const char** context) -> pask_status {
      *context = VELOX_CTX_TRACK;
      return 0;
    },
    .reserved2 = nullptr,
    .mdo_value_get = [](velox_mdo_handle, const char*, uint32_t, const char** value) -> pask_status {
      *value = "12345678";
      return 0;
    },
    .reserved3 = nullptr,
    .mdo_child_count = [](velox_mdo_handle, const char*, uint32_t* count) -> pask_status {
      *count = 1;
      return 0;
    },
    .mdo_child_get = [](velox_mdo_handle, const char*, uint32_t, uintptr_t, velox_mdo_handle*) -> pask_status {
      return 0x90010003;
    }};

inline velox_listmanager_interface g_lists = {
    .interface_release = succeed, .reserved = {}, .list_element_get_type = succeed, .list_element_get_id = succeed};

inline pask_status interface_get(const char* name, uintptr_t, uintptr_t, void** table) {
  const std::string_view wanted = name;
  *table = wanted == VELOX_INTERFACE_ERRORINFO       ? static_cast<void*>(&g_errorinfo)
           : wanted == VELOX_INTERFACE_HANDLEMANAGER ? static_cast<void*>(&g_handles)
           : wanted == VELOX_INTERFACE_USERINFO      ? static_cast<void*>(&g_users)
           : wanted == VELOX_INTERFACE_LOOKUP        ? static_cast<void*>(&g_lookups)
           : wanted == VELOX_INTERFACE_MDO           ? static_cast<void*>(&g_mdos)
                                                     : static_cast<void*>(&g_lists);
  return 0;
}

inline const velox_manager_record g_record = {
    .magic = VELOX_MANAGER_MAGIC,
    .version = VELOX_MANAGER_VERSION,
    .client_register = [](uint32_t, const char*, velox_client_shutdown_fn, uintptr_t,
                          velox_client_ref* client) -> pask_status {
      *client = &g_object;
      return 0;
    },
    .client_unregister = succeed,
    .reserved = {},
    .interface_get = interface_get};

}  // namespace null_manager
