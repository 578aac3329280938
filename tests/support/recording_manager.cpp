#include "recording_manager.h"

#include <velox/velox_standin.h>

#include <cstdio>
#include <mutex>

namespace recording {
namespace {

const velox_manager_record* s_real;
velox_manager_record s_record;
std::mutex s_lock;  // guards all of this
std::vector<std::string> s_calls, s_errors, s_log;
std::string s_fail_name;
int64_t s_fail_in = -1;
pask_status s_fail_word;
bool s_failed;

std::string text(const char* value) { return value ? value : "(null)"; }

// Writes a call down and decides whether it fails.
pask_status call(const std::string& name, const std::string& arguments = "") {
  const std::lock_guard held(s_lock);
  s_calls.push_back(arguments.empty() ? name : name + " " + arguments);
  if (s_fail_in < 0 || (!s_fail_name.empty() && s_fail_name != name)) return 0;
  if (s_fail_in-- != 0) return 0;
  s_failed = true;
  return s_fail_word;
}

// A call with a result: when it fails nothing is done.
template <class Work>
pask_status passed(const std::string& name, const std::string& arguments, Work work) {
  const pask_status failure = call(name, arguments);
  return failure ? failure : work();
}

// A call whose result nobody looks at: it is done in any case.
template <class Work>
pask_status done(const std::string& name, Work work) {
  const pask_status failure = call(name);
  const pask_status status = work();
  return failure ? failure : status;
}

template <class Table>
Table* real(const char* name) {
  void* table = nullptr;
  s_real->interface_get(name, 0, 0, &table);
  return static_cast<Table*>(table);
}

template <class Table>
struct wrapped {
  Table mine;
  Table* theirs;
};

wrapped<velox_errorinfo_interface> s_errorinfo;
wrapped<velox_handlemanager_interface> s_handles;
wrapped<velox_userinfo_interface> s_users;
wrapped<velox_lookup_interface> s_lookups;
wrapped<velox_mdo_interface> s_mdos;
wrapped<velox_listmanager_interface> s_lists;

pask_status released(void* table) {
  const char* name = table == &s_errorinfo.mine ? "errorinfo"
                     : table == &s_handles.mine ? "handlemanager"
                     : table == &s_users.mine   ? "userinfo"
                     : table == &s_lookups.mine ? "lookup"
                     : table == &s_mdos.mine    ? "mdo"
                                                : "listmanager";
  return call("interface_release", name);
}

void wrap_tables() {
  s_errorinfo.theirs = real<velox_errorinfo_interface>(VELOX_INTERFACE_ERRORINFO);
  s_errorinfo.mine = {released, [](pask_status word, pask_status source, const char* operation, const char* message) {
                        char words[32];
                        std::snprintf(words, sizeof words, "%08x %08x ", word, source);
                        {
                          const std::lock_guard held(s_lock);
                          s_errors.push_back(words + text(operation) + (message ? " " + text(message) : ""));
                        }
                        return s_errorinfo.theirs->errorinfo_set(word, source, operation, message);
                      }};

  s_handles.theirs = real<velox_handlemanager_interface>(VELOX_INTERFACE_HANDLEMANAGER);
  s_handles.mine = *s_handles.theirs;
  s_handles.mine.interface_release = released;
  s_handles.mine.handle_add = [](velox_client_ref client, void* object, uint32_t magic,
                                 velox_handle_delete_fn destroy) {
    return passed("handle_add", "", [&] { return s_handles.theirs->handle_add(client, object, magic, destroy); });
  };
  s_handles.mine.handle_validate = [](const void* handle, uint32_t magic) {
    return passed("handle_validate", "", [&] { return s_handles.theirs->handle_validate(handle, magic); });
  };
  s_handles.mine.handle_release = [](void* handle) {
    return done("handle_release", [&] { return s_handles.theirs->handle_release(handle); });
  };
  s_handles.mine.handle_validate_user = [](velox_user_handle user) {
    return passed("handle_validate_user", "", [&] { return s_handles.theirs->handle_validate_user(user); });
  };

  s_users.theirs = real<velox_userinfo_interface>(VELOX_INTERFACE_USERINFO);
  s_users.mine = *s_users.theirs;
  s_users.mine.interface_release = released;
  s_users.mine.user_addref = [](velox_user_handle user) {
    return done("user_addref", [&] { return s_users.theirs->user_addref(user); });
  };
  s_users.mine.user_release = [](velox_user_handle user) {
    return done("user_release", [&] { return s_users.theirs->user_release(user); });
  };

  s_lookups.theirs = real<velox_lookup_interface>(VELOX_INTERFACE_LOOKUP);
  s_lookups.mine = *s_lookups.theirs;
  s_lookups.mine.interface_release = released;
  s_lookups.mine.lookup_create = [](velox_lookup_interface* table, velox_lookup_callback_fn callback, void* data,
                                    velox_lookup_handle* lookup) {
    return passed("lookup_create", table == &s_lookups.mine ? "" : "foreign table",
                  [&] { return s_lookups.theirs->lookup_create(s_lookups.theirs, callback, data, lookup); });
  };
  s_lookups.mine.lookup_add_request = [](velox_lookup_handle lookup, const char* type, const char* request,
                                         const char* radio, uintptr_t one) {
    return passed("lookup_add_request",
                  text(type) + " " + text(request) + " " + text(radio) + " " + std::to_string(one),
                  [&] { return s_lookups.theirs->lookup_add_request(lookup, type, request, radio, one); });
  };
  s_lookups.mine.lookup_add_data = [](velox_lookup_handle lookup, const char* request, const char* key,
                                      const char* value, uint32_t ordinal) {
    return passed("lookup_add_data",
                  text(request) + " " + text(key) + " " + text(value) + " " + std::to_string(ordinal),
                  [&] { return s_lookups.theirs->lookup_add_data(lookup, request, key, value, ordinal); });
  };
  s_lookups.mine.lookup_request_option_set = [](velox_lookup_handle lookup, const char* request, const char* key,
                                                const char* value) {
    return passed("lookup_request_option_set", text(request) + " " + text(key) + " " + text(value),
                  [&] { return s_lookups.theirs->lookup_request_option_set(lookup, request, key, value); });
  };
  s_lookups.mine.lookup_option_set = [](velox_lookup_handle lookup, const char* key, const char* value) {
    return passed("lookup_option_set", text(key) + " " + text(value),
                  [&] { return s_lookups.theirs->lookup_option_set(lookup, key, value); });
  };
  s_lookups.mine.lookup_execute = [](velox_lookup_handle lookup, velox_user_handle user, void* null) {
    return passed("lookup_execute", "", [&] { return s_lookups.theirs->lookup_execute(lookup, user, null); });
  };
  s_lookups.mine.lookup_get_result = [](velox_lookup_handle lookup, const char* request, velox_mdo_handle* result) {
    return passed("lookup_get_result", text(request),
                  [&] { return s_lookups.theirs->lookup_get_result(lookup, request, result); });
  };
  s_lookups.mine.lookup_release = [](velox_lookup_handle lookup) {
    return done(lookup ? "lookup_release" : "lookup_release_null",
                [&] { return s_lookups.theirs->lookup_release(lookup); });
  };

  s_mdos.theirs = real<velox_mdo_interface>(VELOX_INTERFACE_MDO);
  s_mdos.mine = *s_mdos.theirs;
  s_mdos.mine.interface_release = released;
  s_mdos.mine.mdo_addref = [](velox_mdo_handle mdo) {
    return passed("mdo_addref", "", [&] { return s_mdos.theirs->mdo_addref(mdo); });
  };
  s_mdos.mine.mdo_release = [](velox_mdo_handle mdo) {
    return done(mdo ? "mdo_release" : "mdo_release_null", [&] { return s_mdos.theirs->mdo_release(mdo); });
  };
  s_mdos.mine.mdo_get_context = [](velox_mdo_handle mdo, const char** context) {
    return passed("mdo_get_context", "", [&] { return s_mdos.theirs->mdo_get_context(mdo, context); });
  };
  s_mdos.mine.mdo_value_get = [](velox_mdo_handle mdo, const char* key, uint32_t ordinal, const char** value) {
    return passed("mdo_value_get", text(key), [&] { return s_mdos.theirs->mdo_value_get(mdo, key, ordinal, value); });
  };
  s_mdos.mine.mdo_child_get = [](velox_mdo_handle mdo, const char* key, uint32_t ordinal, uintptr_t zero,
                                 velox_mdo_handle* child) {
    return passed("mdo_child_get", text(key),
                  [&] { return s_mdos.theirs->mdo_child_get(mdo, key, ordinal, zero, child); });
  };

  s_lists.theirs = real<velox_listmanager_interface>(VELOX_INTERFACE_LISTMANAGER);
  s_lists.mine = *s_lists.theirs;
  s_lists.mine.interface_release = released;
  s_lists.mine.list_element_get_type = [](velox_list_element_handle element, const char** type) {
    return passed("list_element_get_type", "", [&] { return s_lists.theirs->list_element_get_type(element, type); });
  };
  s_lists.mine.list_element_get_id = [](velox_list_element_handle element, int32_t* id) {
    return passed("list_element_get_id", "", [&] { return s_lists.theirs->list_element_get_id(element, id); });
  };
}

pask_status table_get(const char* name, uintptr_t, uintptr_t, void** table) {
  return passed("interface_get", name, [&]() -> pask_status {
    const std::string wanted = name;
    *table = wanted == VELOX_INTERFACE_ERRORINFO       ? static_cast<void*>(&s_errorinfo.mine)
             : wanted == VELOX_INTERFACE_HANDLEMANAGER ? static_cast<void*>(&s_handles.mine)
             : wanted == VELOX_INTERFACE_USERINFO      ? static_cast<void*>(&s_users.mine)
             : wanted == VELOX_INTERFACE_LOOKUP        ? static_cast<void*>(&s_lookups.mine)
             : wanted == VELOX_INTERFACE_MDO           ? static_cast<void*>(&s_mdos.mine)
                                                       : static_cast<void*>(&s_lists.mine);
    return 0;
  });
}

void log_line(int32_t line, const char* file, uint32_t level, uint32_t word, const char* format, ...) {
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, "|%u|%08x|", level, word);
  const std::lock_guard held(s_lock);
  s_log.push_back((line ? "N|" : "0|") + text(file) + numbers + text(format));
}

std::vector<std::string> taken(std::vector<std::string>* from) {
  std::vector<std::string> all;
  const std::lock_guard held(s_lock);
  all.swap(*from);
  return all;
}

}  // namespace

const velox_manager_record* start() {
  velox_standin_start(&s_real);
  s_record = *s_real;
  s_record.client_register = [](uint32_t package, const char* name, velox_client_shutdown_fn shutdown, uintptr_t zero,
                                velox_client_ref* client) {
    return passed("client_register", std::to_string(package) + " " + text(name),
                  [&] { return s_real->client_register(package, name, shutdown, zero, client); });
  };
  s_record.client_unregister = [](velox_client_ref client) {
    return passed("client_unregister", client ? "" : "null", [&] { return s_real->client_unregister(client); });
  };
  s_record.interface_get = table_get;
  wrap_tables();
  velox_standin_log_set(log_line);
  take();
  take_errors();
  take_log();
  return &s_record;
}

void stop() {
  velox_standin_stop();
  velox_standin_log_set(nullptr);
}

void fail(uint32_t nth, pask_status word) { fail("", nth, word); }

void fail(const std::string& name, uint32_t nth, pask_status word) {
  s_fail_name = name;
  s_fail_in = nth;
  s_fail_word = word;
  s_failed = false;
}

bool fail_end() {
  s_fail_in = -1;
  return s_failed;
}

std::vector<std::string> take(const std::string& prefix) {
  std::vector<std::string> wanted;
  for (const std::string& line : taken(&s_calls))
    if (line.compare(0, prefix.size(), prefix) == 0) wanted.push_back(line);
  return wanted;
}

std::vector<std::string> take_errors() { return taken(&s_errors); }
std::vector<std::string> take_log() { return taken(&s_log); }

}  // namespace recording
