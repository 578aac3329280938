#include "recording_manager.h"

#include <velox/velox_standin.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <type_traits>

namespace recording {
namespace {

const velox_manager_record* s_real;
velox_manager_record s_record;
std::mutex s_lock;  // guards all of this
std::vector<std::string> s_calls, s_errors, s_log;
std::string s_fail_name, s_spared;
int64_t s_fail_in = -1;
pask_status s_fail_word;
bool s_failed;

std::string text(const char* value) { return value ? value : "(null)"; }

// Writes a call down and decides whether it fails.
pask_status call(const std::string& line) {
  const std::lock_guard held(s_lock);
  s_calls.push_back(line);
  const std::string name = line.substr(0, line.find(' '));
  if (s_fail_in < 0 || (s_fail_name.empty() ? name == s_spared : name != s_fail_name)) return 0;
  if (s_fail_in-- != 0) return 0;
  s_failed = true;
  return s_fail_word;
}

// A call with a result: when it fails nothing is done.
template <class Work>
pask_status passed(const std::string& name, const std::string& arguments, Work work) {
  const pask_status failure = call(arguments.empty() ? name : name + " " + arguments);
  return failure ? failure : work();
}

// One of the stand-in's tables, and mine that goes in front of it.
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

template <class T>
void describe(std::string* to, T value) {
  if constexpr (std::is_same_v<T, const char*>) *to += " " + text(value);
  if constexpr (std::is_integral_v<T>) *to += " " + std::to_string(value);
  if constexpr (std::is_same_v<T, velox_lookup_handle> || std::is_same_v<T, velox_mdo_handle>)
    if (!value) *to += " null";
  if constexpr (std::is_same_v<T, velox_lookup_interface*>)
    if (value != &s_lookups.mine) *to += " foreign table";
}

template <size_t size>
struct literal {
  char text[size];
  constexpr literal(const char (&from)[size]) { std::copy(from, from + size, text); }
};

// Puts a recording entry in front of the stand-in's. With `always`, for results that nobody looks at, a call that is to fail
// does its work all the same.
template <auto& table, auto entry, literal name, bool always, class Table, class... Args>
void hook_entry(pask_status (*Table::*)(Args...)) {
  table.mine.*entry = [](Args... args) -> pask_status {
    std::string told;
    (describe(&told, args), ...);
    const pask_status failure = call(name.text + told);
    if (failure && !always) return failure;
    const pask_status status = (table.theirs->*entry)(args...);
    return failure ? failure : status;
  };
}
#define ENTRY(table, name)       &std::remove_reference_t<decltype(table.mine)>::name
#define HOOK(table, name)        hook_entry<table, ENTRY(table, name), #name, false>(ENTRY(table, name))
#define HOOK_ALWAYS(table, name) hook_entry<table, ENTRY(table, name), #name, true>(ENTRY(table, name))

template <auto& table, literal name>
void wrap(const char* interface) {
  void* real = nullptr;
  s_real->interface_get(interface, 0, 0, &real);
  table.theirs = static_cast<decltype(table.theirs)>(real);
  table.mine = *table.theirs;
  table.mine.interface_release = [](void*) { return call(std::string("interface_release ") + name.text); };
}

pask_status error_set(pask_status word, pask_status source, const char* operation, const char* message) {
  char words[32];
  std::snprintf(words, sizeof words, "%08x %08x ", word, source);
  {
    const std::lock_guard held(s_lock);
    s_errors.push_back(words + text(operation) + (message ? " " + text(message) : ""));
  }
  return s_errorinfo.theirs->errorinfo_set(word, source, operation, message);
}

void wrap_tables() {
  wrap<s_errorinfo, "errorinfo">(VELOX_INTERFACE_ERRORINFO);
  wrap<s_handles, "handlemanager">(VELOX_INTERFACE_HANDLEMANAGER);
  wrap<s_users, "userinfo">(VELOX_INTERFACE_USERINFO);
  wrap<s_lookups, "lookup">(VELOX_INTERFACE_LOOKUP);
  wrap<s_mdos, "mdo">(VELOX_INTERFACE_MDO);
  wrap<s_lists, "listmanager">(VELOX_INTERFACE_LISTMANAGER);
  s_errorinfo.mine.errorinfo_set = error_set;
  HOOK(s_handles, handle_add);
  HOOK(s_handles, handle_validate);
  HOOK_ALWAYS(s_handles, handle_release);
  HOOK(s_handles, handle_validate_user);
  HOOK(s_handles, handle_validate_mdo);
  HOOK_ALWAYS(s_users, user_addref);
  HOOK_ALWAYS(s_users, user_release);
  HOOK(s_lookups, lookup_create);
  HOOK(s_lookups, lookup_add_request);
  HOOK(s_lookups, lookup_add_data);
  HOOK(s_lookups, lookup_request_option_set);
  HOOK(s_lookups, lookup_option_set);
  HOOK(s_lookups, lookup_execute);
  HOOK(s_lookups, lookup_get_result);
  HOOK_ALWAYS(s_lookups, lookup_release);
  HOOK(s_mdos, mdo_addref);
  HOOK_ALWAYS(s_mdos, mdo_release);
  HOOK(s_mdos, mdo_get_context);
  HOOK(s_mdos, mdo_value_get);
  HOOK(s_mdos, mdo_child_count);
  HOOK(s_mdos, mdo_child_get);
  HOOK(s_lists, list_element_get_type);
  HOOK(s_lists, list_element_get_id);
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

void spare(const std::string& name) { s_spared = name; }

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
