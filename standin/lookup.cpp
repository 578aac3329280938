// Lookups: what the client asks is recorded, handed to the provider in one piece, and what the provider gives is kept for
// the client. A lookup's lock guards its record and is not held while the provider runs, so callbacks may use the lookup.
#include <atomic>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <string_view>
#include <vector>

#include "handle_table.h"
#include "standin.h"

namespace standin {

namespace {

struct recorded_request {
  const char* type;
  const char* name;
  std::vector<velox_standin_item> options;
  std::vector<velox_standin_item> data;
};

struct lookup {
  velox_lookup_callback_fn callback = nullptr;
  void* callback_data = nullptr;
  std::atomic<bool> released{false};  // the client's reference has gone; an execution may still hold one

  std::mutex lock;  // guards what follows
  bool running = false;
  std::pmr::monotonic_buffer_resource texts{1024};
  std::vector<velox_standin_item> options;
  std::vector<recorded_request> requests;
  std::vector<mdo_ref> results;  // by request; empty before a successful execution

  const char* copy(const char* text) {
    if (!text) return nullptr;
    const std::string_view from(text);
    char* to = static_cast<char*>(texts.allocate(from.size() + 1, 1));
    from.copy(to, from.size());
    to[from.size()] = '\0';
    return to;
  }
  recorded_request* find(const char* name) {
    for (recorded_request& request : requests)
      if (std::string_view(request.name) == name) return &request;
    return nullptr;
  }
};

constinit typed_table<lookup, velox_lookup_handle> s_lookups{handle_kind::lookup};

// Holds a lookup for the time of one operation: another thread's release ends it afterwards.
class held_lookup {
 public:
  explicit held_lookup(velox_lookup_handle handle) : handle_(handle), object_(s_lookups.addref(handle)) {}
  held_lookup(const held_lookup&) = delete;
  held_lookup& operator=(const held_lookup&) = delete;
  ~held_lookup() {
    if (object_) s_lookups.release(handle_);
  }
  explicit operator bool() const { return object_ && !object_->released.load(std::memory_order_acquire); }
  lookup* operator->() const { return object_; }

 private:
  velox_lookup_handle handle_;
  lookup* object_;
};

pask_status lookup_create(velox_lookup_interface*, velox_lookup_callback_fn callback, void* data,
                          velox_lookup_handle* handle) {
  if (!handle) return VELOX_STANDIN_ERR_INVALID_ARG;
  return guarded([&]() -> pask_status {
    auto made = std::make_unique<lookup>();
    made->callback = callback;
    made->callback_data = data;
    *handle = s_lookups.insert(made.get());
    made.release();
    return 0;
  });
}

// The frame of what records something: a live lookup that isn't running, under its lock.
template <class Record>
pask_status record(velox_lookup_handle handle, Record&& work) {
  return guarded([&]() -> pask_status {
    const held_lookup held(handle);
    if (!held) return VELOX_STANDIN_ERR_HANDLE;
    const std::lock_guard hold(held->lock);
    if (held->running) return VELOX_STANDIN_ERR_IN_USE;
    return work(*held.operator->());
  });
}

pask_status lookup_add_request(velox_lookup_handle handle, const char* type, const char* name, const char*, uintptr_t) {
  if (missing(type) || missing(name)) return VELOX_STANDIN_ERR_INVALID_ARG;
  return record(handle, [&](lookup& to) -> pask_status {
    if (to.find(name)) return VELOX_STANDIN_ERR_INVALID_ARG;  // results are told apart by name
    to.requests.push_back({to.copy(type), to.copy(name), {}, {}});
    return 0;
  });
}

using item_list = std::vector<velox_standin_item> recorded_request::*;

pask_status add_item(velox_lookup_handle handle, const char* name, item_list list, const char* key, const char* value,
                     uint32_t ordinal) {
  if (!name || missing(key)) return VELOX_STANDIN_ERR_INVALID_ARG;
  return record(handle, [&](lookup& to) -> pask_status {
    recorded_request* request = to.find(name);
    if (!request) return VELOX_STANDIN_ERR_NOT_FOUND;
    (request->*list).push_back({to.copy(key), to.copy(value), ordinal});
    return 0;
  });
}

pask_status lookup_add_data(velox_lookup_handle handle, const char* name, const char* key, const char* value,
                            uint32_t ordinal) {
  return add_item(handle, name, &recorded_request::data, key, value, ordinal);
}

pask_status lookup_request_option_set(velox_lookup_handle handle, const char* name, const char* key,
                                      const char* value) {
  return add_item(handle, name, &recorded_request::options, key, value, 0);
}

pask_status lookup_option_set(velox_lookup_handle handle, const char* key, const char* value) {
  if (missing(key)) return VELOX_STANDIN_ERR_INVALID_ARG;
  return record(handle, [&](lookup& to) -> pask_status {
    to.options.push_back({to.copy(key), to.copy(value), 0});
    return 0;
  });
}

pask_status lookup_get_result(velox_lookup_handle handle, const char* name, velox_mdo_handle* result) {
  if (!name || !result) return VELOX_STANDIN_ERR_INVALID_ARG;
  return record(handle, [&](lookup& from) -> pask_status {
    const recorded_request* request = from.find(name);
    const auto index = static_cast<size_t>(request ? request - from.requests.data() : 0);
    if (!request || index >= from.results.size() || !from.results[index]) return VELOX_STANDIN_ERR_NOT_FOUND;
    const velox_mdo_handle given = from.results[index].get();
    if (const pask_status status = velox_standin_mdo_addref(given)) return status;
    *result = given;
    return 0;
  });
}

pask_status lookup_release(velox_lookup_handle handle) {
  if (!handle) return 0;
  const held_lookup held(handle);
  if (!held || held->released.exchange(true)) return VELOX_STANDIN_ERR_HANDLE;
  s_lookups.release(handle);
  return 0;
}

// ---- Providers

pask_status no_provider(void*, const velox_standin_lookup*, velox_standin_run*) {
  velox_standin_error_set(VELOX_STANDIN_ERR_UNSUPPORTED, nullptr, "no provider answers lookups");
  return VELOX_STANDIN_ERR_UNSUPPORTED;
}

struct provider_choice {
  std::mutex lock;
  velox_standin_provider set{nullptr, nullptr};  // without execute: none is set
  velox_standin_provider built_in{nullptr, no_provider};
  void (*on_stop)() = nullptr;
};
constinit provider_choice s_providers;

velox_standin_provider current_provider() {
  const std::lock_guard hold(s_providers.lock);
  return s_providers.set.execute ? s_providers.set : s_providers.built_in;
}

}  // namespace

}  // namespace standin

// One execution: lives on the stack of lookup_execute.
struct velox_standin_run {
  velox_lookup_callback_fn callback;
  void* callback_data;
  uint8_t abort = 0;
  std::vector<standin::mdo_ref> results;
};

namespace standin {

namespace {

// The lookup as its provider sees it. The record doesn't change while it runs, so the views point into it.
struct provider_view {
  std::vector<velox_standin_request> requests;
  velox_standin_lookup lookup;

  provider_view(const struct lookup& of, velox_user_handle user) {
    const auto count = [](const auto& list) { return static_cast<uint32_t>(list.size()); };
    requests.reserve(of.requests.size());
    for (const recorded_request& request : of.requests)
      requests.push_back({request.type, request.name, request.options.data(), count(request.options),
                          request.data.data(), count(request.data)});
    lookup = {user, of.options.data(), count(of.options), requests.data(), count(requests)};
  }
};

// Marks a lookup as running, and whatever happens as ended.
class running_mark {
 public:
  explicit running_mark(lookup& of) : of_(of) {}
  running_mark(const running_mark&) = delete;
  running_mark& operator=(const running_mark&) = delete;
  ~running_mark() {
    const std::lock_guard hold(of_.lock);
    of_.results = std::move(results);
    of_.running = false;
  }
  std::vector<mdo_ref> results;

 private:
  lookup& of_;
};

class held_user {
 public:
  explicit held_user(velox_user_handle user) : user_(g_userinfo_table.user_addref(user) == 0 ? user : nullptr) {}
  held_user(const held_user&) = delete;
  held_user& operator=(const held_user&) = delete;
  ~held_user() {
    if (user_) g_userinfo_table.user_release(user_);
  }
  explicit operator bool() const { return user_ != nullptr; }

 private:
  velox_user_handle user_;
};

pask_status lookup_execute(velox_lookup_handle handle, velox_user_handle user, void*) {
  return guarded([&]() -> pask_status {
    const held_lookup held(handle);
    const held_user asking(user);
    if (!held || !asking) return VELOX_STANDIN_ERR_HANDLE;
    {
      const std::lock_guard hold(held->lock);
      if (held->running) return VELOX_STANDIN_ERR_IN_USE;
      held->running = true;
    }
    running_mark mark(*held.operator->());
    const provider_view view(*held.operator->(), user);
    velox_standin_run run{held->callback, held->callback_data, 0, {}};
    run.results.resize(view.requests.size());
    const velox_standin_provider provider = current_provider();
    const pask_status status = provider.execute(provider.context, &view.lookup, &run);
    if (run.abort != 0) return VELOX_STANDIN_ERR_ABORTED;
    if (status == 0) mark.results = std::move(run.results);
    return status;
  });
}

}  // namespace

const velox_lookup_interface g_lookup_table = {
    interface_release,
    nullptr,
    lookup_create,
    nullptr,
    lookup_add_request,
    lookup_add_data,
    {},
    lookup_request_option_set,
    lookup_option_set,
    lookup_execute,
    lookup_get_result,
    nullptr,
    lookup_release,
};

int64_t live_lookups() { return s_lookups.size(); }

void default_provider_set(const velox_standin_provider& provider, void (*on_stop)()) {
  const std::lock_guard hold(s_providers.lock);
  s_providers.built_in = provider.execute ? provider : velox_standin_provider{nullptr, no_provider};
  s_providers.on_stop = on_stop;
}

void default_provider_stop() {
  void (*on_stop)() = nullptr;
  {
    const std::lock_guard hold(s_providers.lock);
    on_stop = s_providers.on_stop;
  }
  if (on_stop) on_stop();
}

}  // namespace standin

using namespace standin;

void velox_standin_provider_set(const velox_standin_provider* provider) {
  const std::lock_guard hold(s_providers.lock);
  s_providers.set = provider ? *provider : velox_standin_provider{nullptr, nullptr};
}

pask_status velox_standin_run_progress(velox_standin_run* run, uint32_t kind, int32_t state, uint32_t count,
                                       const char* message) {
  if (!run) return VELOX_STANDIN_ERR_INVALID_ARG;
  if (run->abort == 0 && run->callback) {
    const velox_progress progress{kind, state, count, message};
    run->callback(run->callback_data, &progress, &run->abort);
  }
  return run->abort != 0 ? VELOX_STANDIN_ERR_ABORTED : 0;
}

pask_status velox_standin_run_result(velox_standin_run* run, uint32_t request, velox_mdo_handle result) {
  if (!run || request >= run->results.size()) return VELOX_STANDIN_ERR_INVALID_ARG;
  if (const pask_status status = velox_standin_mdo_addref(result)) return status;
  mdo_seal(result);
  run->results[request] = mdo_ref(result);
  return 0;
}
