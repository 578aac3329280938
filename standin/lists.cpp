// List elements: the list's type text, a number and a name under a counted handle.
#include <memory>
#include <optional>
#include <string>

#include "handle_table.h"
#include "standin.h"

namespace standin {

namespace {

struct list_element {
  std::string type;
  int32_t id;
  std::optional<std::string> name;
};

constinit typed_table<list_element, velox_list_element_handle> s_elements{handle_kind::list_element};

pask_status list_element_get_type(velox_list_element_handle element, const char** type) {
  if (!type) return VELOX_STANDIN_ERR_INVALID_ARG;
  const list_element* found = s_elements.find(element);
  if (!found) return VELOX_STANDIN_ERR_HANDLE;
  *type = found->type.c_str();
  return 0;
}

pask_status list_element_get_id(velox_list_element_handle element, int32_t* id) {
  if (!id) return VELOX_STANDIN_ERR_INVALID_ARG;
  const list_element* found = s_elements.find(element);
  if (!found) return VELOX_STANDIN_ERR_HANDLE;
  *id = found->id;
  return 0;
}

}  // namespace

const velox_listmanager_interface g_listmanager_table = {
    interface_release, {}, list_element_get_type, list_element_get_id};

int64_t live_list_elements() { return s_elements.size(); }

}  // namespace standin

using namespace standin;

pask_status velox_standin_list_element_create(const char* type, int32_t id, const char* name,
                                              velox_list_element_handle* element) {
  if (missing(type) || !element) return VELOX_STANDIN_ERR_INVALID_ARG;
  return guarded([&]() -> pask_status {
    auto made = std::make_unique<list_element>(list_element{type, id, std::nullopt});
    if (name) made->name = name;
    *element = s_elements.insert(made.get());
    made.release();
    return 0;
  });
}

pask_status velox_standin_list_element_addref(velox_list_element_handle element) {
  return s_elements.addref(element) ? 0 : VELOX_STANDIN_ERR_HANDLE;
}

void velox_standin_list_element_release(velox_list_element_handle element) { s_elements.release(element); }

const char* velox_standin_list_element_name(velox_list_element_handle element) {
  const list_element* found = s_elements.find(element);
  return found && found->name ? found->name->c_str() : nullptr;
}
