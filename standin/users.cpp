// Users: a name under a counted handle.
#include <memory>
#include <string>

#include "handle_table.h"
#include "standin.h"

namespace standin {

namespace {

struct user {
  std::string name;
};

constinit typed_table<user, velox_user_handle> s_users{handle_kind::user};

pask_status user_addref(velox_user_handle handle) { return s_users.addref(handle) ? 0 : VELOX_STANDIN_ERR_HANDLE; }
pask_status user_release(velox_user_handle handle) { return s_users.release(handle) ? 0 : VELOX_STANDIN_ERR_HANDLE; }

}  // namespace

const velox_userinfo_interface g_userinfo_table = {interface_release, nullptr, user_addref, user_release};

bool user_alive(velox_user_handle handle) { return s_users.alive(handle); }
int64_t live_users() { return s_users.size(); }

}  // namespace standin

using namespace standin;

pask_status velox_standin_user_create(const char* name, velox_user_handle* handle) {
  if (missing(name) || !handle) return VELOX_STANDIN_ERR_INVALID_ARG;
  return guarded([&]() -> pask_status {
    auto made = std::make_unique<user>(user{name});
    *handle = s_users.insert(made.get());
    made.release();
    return 0;
  });
}

pask_status velox_standin_user_addref(velox_user_handle handle) { return user_addref(handle); }
void velox_standin_user_release(velox_user_handle handle) { user_release(handle); }

const char* velox_standin_user_name(velox_user_handle handle) {
  const user* found = s_users.find(handle);
  return found ? found->name.c_str() : nullptr;
}
