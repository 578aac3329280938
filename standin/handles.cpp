// Clients and the registry of their objects. A registered handle is known by its address and magic word, and never looked
// into. The registry is sharded by address; a shard's lock is held for the look-up only, never while a delete function runs.
//
// A client's own handle is counted: one reference for the registration, one for each registered object, so that leaving and
// registering a further object can't cross.
#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "handle_table.h"
#include "standin.h"

namespace standin {

namespace {

struct client {
  uint32_t package;
  std::string name;
  velox_client_shutdown_fn shutdown;
};

constinit typed_table<client, velox_client_ref> s_clients{handle_kind::client};

struct registered {
  velox_client_ref owner;
  velox_handle_delete_fn destroy;
  uint64_t age;  // counts up: what was registered later is deleted earlier at the stop
  uint32_t magic;
};

struct alignas(64) shard {
  std::mutex lock;
  std::unordered_map<const void*, registered> handles;
};

constexpr uint32_t SHARDS = 16;
// Never destroyed: a client may release objects while the process is ending. It lies in the library, not on the heap, so that a
// library that is unloaded leaves nothing.
alignas(shard) std::byte s_room[SHARDS * sizeof(shard)];
std::array<shard, SHARDS>& s_shards = *new (s_room) std::array<shard, SHARDS>;
std::atomic<uint64_t> s_next_age{1};

shard& shard_of(const void* object) {
  // The multiplier spreads addresses, whose low bits are all alike, over the top four bits.
  const uint32_t mixed = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(object) >> 3) * 2654435769u;
  return s_shards[mixed >> 28];
}
static_assert(SHARDS == 1u << 4);

pask_status handle_add(velox_client_ref owner, void* object, uint32_t magic, velox_handle_delete_fn destroy) {
  if (!object || !destroy) return VELOX_STANDIN_ERR_INVALID_ARG;
  if (!s_clients.addref(owner)) return VELOX_STANDIN_ERR_HANDLE;
  const pask_status status = guarded([&]() -> pask_status {
    shard& home = shard_of(object);
    const std::lock_guard hold(home.lock);
    const registered row{owner, destroy, s_next_age.fetch_add(1, std::memory_order_relaxed), magic};
    return home.handles.try_emplace(object, row).second ? 0 : VELOX_STANDIN_ERR_INVALID_ARG;
  });
  if (status != 0) s_clients.release(owner);
  return status;
}

pask_status handle_validate(const void* handle, uint32_t magic) {
  shard& home = shard_of(handle);
  const std::lock_guard hold(home.lock);
  const auto found = home.handles.find(handle);
  return found != home.handles.end() && found->second.magic == magic ? 0 : VELOX_STANDIN_ERR_HANDLE;
}

/** Takes a handle out of the registry, whatever its age or one of that age only, and deletes the object. */
pask_status delete_registered(void* handle, uint64_t age = 0) {
  registered row{};
  {
    shard& home = shard_of(handle);
    const std::lock_guard hold(home.lock);
    const auto found = home.handles.find(handle);
    if (found == home.handles.end() || (age != 0 && found->second.age != age)) return VELOX_STANDIN_ERR_HANDLE;
    row = found->second;
    home.handles.erase(found);
  }
  row.destroy(handle);
  s_clients.release(row.owner);  // last, so that the client can't leave under its own delete function
  return 0;
}

pask_status handle_release(void* handle) { return delete_registered(handle); }

pask_status handle_validate_user(velox_user_handle user) { return user_alive(user) ? 0 : VELOX_STANDIN_ERR_HANDLE; }
pask_status handle_validate_mdo(velox_mdo_handle mdo) { return mdo_alive(mdo) ? 0 : VELOX_STANDIN_ERR_HANDLE; }

struct aged_handle {
  uint64_t age;
  void* handle;
};

std::vector<aged_handle> registered_newest_first() {
  std::vector<aged_handle> all;
  for (shard& home : s_shards) {
    const std::lock_guard hold(home.lock);
    for (const auto& [handle, row] : home.handles) all.push_back({row.age, const_cast<void*>(handle)});
  }
  std::ranges::sort(all, std::greater{}, &aged_handle::age);
  return all;
}

}  // namespace

const velox_handlemanager_interface g_handlemanager_table = {
    interface_release, handle_add, handle_validate,      nullptr,
    handle_release,    nullptr,    handle_validate_user, handle_validate_mdo,
};

pask_status client_register(uint32_t package, const char* name, velox_client_shutdown_fn shutdown, uintptr_t,
                            velox_client_ref* out) {
  if (missing(name) || !out) return VELOX_STANDIN_ERR_INVALID_ARG;
  return guarded([&]() -> pask_status {
    auto made = std::make_unique<client>(client{package, name, shutdown});
    *out = s_clients.insert(made.get());
    made.release();
    return 0;
  });
}

pask_status client_unregister(velox_client_ref ref) {
  if (!ref) return 0;
  void* gone = nullptr;
  switch (s_clients.release_if_only(s_clients.word(ref), &gone)) {
    case handle_table::ending::dead:
      return VELOX_STANDIN_ERR_HANDLE;
    case handle_table::ending::shared:
      return VELOX_STANDIN_ERR_IN_USE;
    case handle_table::ending::ended:
      break;
  }
  delete static_cast<client*>(gone);
  return 0;
}

void clients_end() {
  for (auto left = registered_newest_first(); !left.empty(); left = registered_newest_first())
    for (const aged_handle& next : left) delete_registered(next.handle, next.age);
  for (uint32_t index = 0; const uintptr_t word = s_clients.next_alive(&index);) {
    const auto ref = reinterpret_cast<velox_client_ref>(word);
    if (const client* staying = s_clients.find(ref); staying && staying->shutdown) staying->shutdown();
    delete static_cast<client*>(s_clients.kill(word));  // unless it has unregistered itself, as it should
  }
}

int64_t registered_handles() {
  int64_t count = 0;
  for (shard& home : s_shards) {
    const std::lock_guard hold(home.lock);
    count += static_cast<int64_t>(home.handles.size());
  }
  return count;
}

}  // namespace standin
