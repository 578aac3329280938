// Handles that are dead, foreign or garbage are refused by every operation, also while other threads make and end them.
#include <atomic>
#include <thread>
#include <vector>

#include "started_manager.h"

namespace {

// One operation on a handle; the row tells of which kind it takes one.
struct operation_row {
  const char* name;
  char kind;
  pask_status (*call)(void* handle);
};

template <class Table>
Table* interface(const char* name) {
  const velox_manager_record* record = nullptr;
  void* table = nullptr;
  velox_standin_start(&record);
  record->interface_get(name, 0, 0, &table);
  velox_standin_stop();
  return static_cast<Table*>(table);
}
const auto* const g_users = interface<velox_userinfo_interface>(VELOX_INTERFACE_USERINFO);
const auto* const g_handles = interface<velox_handlemanager_interface>(VELOX_INTERFACE_HANDLEMANAGER);
const auto* const g_mdos = interface<velox_mdo_interface>(VELOX_INTERFACE_MDO);
const auto* const g_lists = interface<velox_listmanager_interface>(VELOX_INTERFACE_LISTMANAGER);
const auto* const g_lookups = interface<velox_lookup_interface>(VELOX_INTERFACE_LOOKUP);

template <class Handle>
Handle as(void* handle) {
  return static_cast<Handle>(handle);
}
const char* s_text;
uint32_t s_count;
int32_t s_id;
velox_mdo_handle s_child;

const operation_row k_operations[] = {
    {"user_addref", 'u', [](void* h) { return g_users->user_addref(as<velox_user_handle>(h)); }},
    {"user_release", 'u', [](void* h) { return g_users->user_release(as<velox_user_handle>(h)); }},
    {"validate_user", 'u', [](void* h) { return g_handles->handle_validate_user(as<velox_user_handle>(h)); }},
    {"mdo_addref", 'm', [](void* h) { return g_mdos->mdo_addref(as<velox_mdo_handle>(h)); }},
    {"mdo_release", 'm', [](void* h) { return g_mdos->mdo_release(as<velox_mdo_handle>(h)); }},
    {"validate_mdo", 'm', [](void* h) { return g_handles->handle_validate_mdo(as<velox_mdo_handle>(h)); }},
    {"context", 'm', [](void* h) { return g_mdos->mdo_get_context(as<velox_mdo_handle>(h), &s_text); }},
    {"value_get", 'm', [](void* h) { return g_mdos->mdo_value_get(as<velox_mdo_handle>(h), "k", 1, &s_text); }},
    {"child_count", 'm', [](void* h) { return g_mdos->mdo_child_count(as<velox_mdo_handle>(h), "k", &s_count); }},
    {"child_get", 'm', [](void* h) { return g_mdos->mdo_child_get(as<velox_mdo_handle>(h), "k", 1, 0, &s_child); }},
    {"value_add", 'm', [](void* h) { return velox_standin_mdo_value_add(as<velox_mdo_handle>(h), "k", "v"); }},
    {"type", 'l', [](void* h) { return g_lists->list_element_get_type(as<velox_list_element_handle>(h), &s_text); }},
    {"id", 'l', [](void* h) { return g_lists->list_element_get_id(as<velox_list_element_handle>(h), &s_id); }},
    {"add_request", 'k',
     [](void* h) { return g_lookups->lookup_add_request(as<velox_lookup_handle>(h), "t", "r", "radio", 1); }},
    {"option", 'k', [](void* h) { return g_lookups->lookup_option_set(as<velox_lookup_handle>(h), "k", "v"); }},
    {"execute", 'k', [](void* h) { return g_lookups->lookup_execute(as<velox_lookup_handle>(h), nullptr, nullptr); }},
    {"result", 'k', [](void* h) { return g_lookups->lookup_get_result(as<velox_lookup_handle>(h), "r", &s_child); }},
    {"release", 'k', [](void* h) { return g_lookups->lookup_release(as<velox_lookup_handle>(h)); }},
    {"validate", 'r', [](void* h) { return g_handles->handle_validate(h, 1); }},
    {"handle_release", 'r', [](void* h) { return g_handles->handle_release(h); }},
};

class Handles : public StartedManager {
 protected:
  void SetUp() override {
    StartedManager::SetUp();
    ASSERT_EQ(record->client_register(0xb5, "client", nullptr, 0, &client), 0u);
  }
  void TearDown() override {
    EXPECT_EQ(record->client_unregister(client), 0u);
    StartedManager::TearDown();
  }
  velox_client_ref client = nullptr;
};

void delete_nothing(void*) {}
void count_delete(void* object) { ++*static_cast<int*>(object); }

}  // namespace

TEST_F(Handles, NoneButALiveOneOfItsKindIsTaken) {
  velox_list_element_handle element = nullptr;
  velox_lookup_handle lookup = nullptr;
  ASSERT_EQ(velox_standin_list_element_create(VELOX_LIST_MOODS, 4, nullptr, &element), 0u);
  ASSERT_EQ(lookups->lookup_create(lookups, nullptr, nullptr, &lookup), 0u);
  const velox_user_handle user = make_user();
  const velox_mdo_handle mdo = make_mdo();
  int object = 0;
  ASSERT_EQ(handles->handle_add(client, &object, 1, delete_nothing), 0u);
  const std::pair<char, void*> all[] = {{'u', user},   {'m', mdo},     {'l', element},
                                        {'k', lookup}, {'r', &object}, {'?', reinterpret_cast<void*>(~uintptr_t{0})}};
  for (const operation_row& row : k_operations)
    for (const auto& [kind, handle] : all)
      if (kind != row.kind) {
        EXPECT_EQ(row.call(handle), VELOX_STANDIN_ERR_HANDLE) << row.name << " of " << kind;
      }
  velox_standin_user_release(user);
  velox_standin_mdo_release(mdo);
  velox_standin_list_element_release(element);
  lookups->lookup_release(lookup);
  handles->handle_release(&object);
  for (const operation_row& row : k_operations)
    for (const auto& [kind, handle] : all)
      EXPECT_EQ(row.call(handle), VELOX_STANDIN_ERR_HANDLE) << row.name << " of dead " << kind;
  EXPECT_EQ(mdos->mdo_release(nullptr), 0u);
  EXPECT_EQ(lookups->lookup_release(nullptr), 0u);
}

TEST_F(Handles, DeadOneStaysDeadWhenItsPlaceIsUsedAgain) {
  const velox_user_handle stale = make_user();
  velox_standin_user_release(stale);
  for (int round = 0; round < 50000; ++round) {
    const velox_user_handle next = make_user();
    ASSERT_EQ(handles->handle_validate_user(stale), VELOX_STANDIN_ERR_HANDLE) << round;
    velox_standin_user_release(next);
  }
}

TEST_F(Handles, RegistryKnowsAddressAndMagic) {
  int object = 0, other = 0;
  EXPECT_EQ(handles->handle_add(client, nullptr, 1, count_delete), VELOX_STANDIN_ERR_INVALID_ARG);
  ASSERT_EQ(handles->handle_add(client, &object, 0xf6fff666, count_delete), 0u);
  EXPECT_EQ(handles->handle_add(client, &object, 0xf7fff777, count_delete), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(handles->handle_validate(&object, 0xf6fff666), 0u);
  EXPECT_NE(handles->handle_validate(&object, 0xf7fff777), 0u);
  EXPECT_NE(handles->handle_validate(&other, 0xf6fff666), 0u);
  EXPECT_EQ(handles->handle_release(&object), 0u);
  EXPECT_NE(handles->handle_release(&object), 0u);
  EXPECT_EQ(object, 1) << "deleted once";
}

TEST_F(Handles, DeleteFunctionMayReleaseAndAdd) {
  struct station {
    velox_handlemanager_interface* handles;
    velox_client_ref client;
    int query;
  } owner{handles, client, 0};
  ASSERT_EQ(handles->handle_add(client, &owner.query, 1, count_delete), 0u);
  ASSERT_EQ(handles->handle_add(client, &owner, 2,
                                [](void* object) {
                                  auto* self = static_cast<station*>(object);
                                  EXPECT_NE(self->handles->handle_validate(self, 2), 0u);
                                  EXPECT_EQ(self->handles->handle_release(&self->query), 0u);
                                  EXPECT_EQ(self->handles->handle_add(self->client, self, 3, delete_nothing), 0u);
                                }),
            0u);
  EXPECT_EQ(handles->handle_release(&owner), 0u);
  EXPECT_EQ(owner.query, 1);
  EXPECT_EQ(handles->handle_validate(&owner, 3), 0u);
  EXPECT_EQ(handles->handle_release(&owner), 0u);
}

// Threads try their luck with handles that another one makes and ends: what they get a reference of must be whole.
TEST_F(Handles, ReferencesRaceWithTheLastRelease) {
  constexpr int WANTED = 300, AT_MOST = 1000000;
  std::atomic<velox_mdo_handle> shared{nullptr};
  std::atomic<bool> done{false};
  std::atomic<int> caught{0}, added{0}, deleted{0};
  const auto guess = [&] {
    while (!done) {
      const velox_mdo_handle mdo = shared.load();
      handles->handle_validate_mdo(mdo);
      if (mdos->mdo_addref(mdo) == 0) {
        const char* value = nullptr;
        EXPECT_EQ(mdos->mdo_value_get(mdo, "velox_val_tui", 1, &value), 0u);
        EXPECT_STREQ(value, "12345");
        EXPECT_EQ(mdos->mdo_release(mdo), 0u);
        ++caught;
      }
      const auto count = [](void* object) { ++*static_cast<std::atomic<int>*>(object); };
      if (handles->handle_add(client, &deleted, 1, count) == 0) ++added;
      handles->handle_validate(&deleted, 1);
      handles->handle_release(&deleted);
    }
  };
  std::vector<std::thread> threads;
  for (int count = 0; count < 3; ++count) threads.emplace_back(guess);
  for (int round = 0; caught < WANTED && round < AT_MOST; ++round) {
    const velox_mdo_handle mdo = make_mdo();
    velox_standin_mdo_value_add(mdo, "velox_val_tui", "12345");
    shared = mdo;
    if (round % 64 == 0) std::this_thread::yield();
    EXPECT_EQ(mdos->mdo_release(mdo), 0u);
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(caught, WANTED);
  EXPECT_EQ(deleted, added) << "each registration ended in one delete call";
}
