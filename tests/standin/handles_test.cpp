// Handles that are dead, foreign or garbage are refused by every operation, also while other threads make and end them.
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "started_manager.h"

namespace {

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
  /** The operations that take a handle, each with the kind that it takes. */
  struct operation {
    const char* name;
    char kind;
    std::function<pask_status(void* handle)> call;
  };
  std::vector<operation> operations() const {
    const auto user = [](void* h) { return static_cast<velox_user_handle>(h); };
    const auto mdo = [](void* h) { return static_cast<velox_mdo_handle>(h); };
    const auto element = [](void* h) { return static_cast<velox_list_element_handle>(h); };
    const auto lookup = [](void* h) { return static_cast<velox_lookup_handle>(h); };
    static const char* text;
    static uint32_t count;
    static int32_t id;
    static velox_mdo_handle child;
    return {
        {"user_addref", 'u', [=, this](void* h) { return users->user_addref(user(h)); }},
        {"user_release", 'u', [=, this](void* h) { return users->user_release(user(h)); }},
        {"validate_user", 'u', [=, this](void* h) { return handles->handle_validate_user(user(h)); }},
        {"mdo_addref", 'm', [=, this](void* h) { return mdos->mdo_addref(mdo(h)); }},
        {"mdo_release", 'm', [=, this](void* h) { return mdos->mdo_release(mdo(h)); }},
        {"validate_mdo", 'm', [=, this](void* h) { return handles->handle_validate_mdo(mdo(h)); }},
        {"context", 'm', [=, this](void* h) { return mdos->mdo_get_context(mdo(h), &text); }},
        {"value_get", 'm', [=, this](void* h) { return mdos->mdo_value_get(mdo(h), "k", 1, &text); }},
        {"child_count", 'm', [=, this](void* h) { return mdos->mdo_child_count(mdo(h), "k", &count); }},
        {"child_get", 'm', [=, this](void* h) { return mdos->mdo_child_get(mdo(h), "k", 1, 0, &child); }},
        {"value_add", 'm', [=](void* h) { return velox_standin_mdo_value_add(mdo(h), "k", "v"); }},
        {"type", 'l', [=, this](void* h) { return lists->list_element_get_type(element(h), &text); }},
        {"id", 'l', [=, this](void* h) { return lists->list_element_get_id(element(h), &id); }},
        {"add_request", 'k', [=, this](void* h) { return lookups->lookup_add_request(lookup(h), "t", "r", "", 1); }},
        {"option", 'k', [=, this](void* h) { return lookups->lookup_option_set(lookup(h), "k", "v"); }},
        {"execute", 'k', [=, this](void* h) { return lookups->lookup_execute(lookup(h), nullptr, nullptr); }},
        {"result", 'k', [=, this](void* h) { return lookups->lookup_get_result(lookup(h), "r", &child); }},
        {"release", 'k', [=, this](void* h) { return lookups->lookup_release(lookup(h)); }},
        {"validate", 'r', [=, this](void* h) { return handles->handle_validate(h, 1); }},
        {"handle_release", 'r', [=, this](void* h) { return handles->handle_release(h); }},
    };
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
  for (const operation& each : operations())
    for (const auto& [kind, handle] : all)
      EXPECT_TRUE(kind == each.kind || each.call(handle) == VELOX_STANDIN_ERR_HANDLE) << each.name << " of " << kind;
  velox_standin_user_release(user);
  velox_standin_mdo_release(mdo);
  velox_standin_list_element_release(element);
  lookups->lookup_release(lookup);
  handles->handle_release(&object);
  for (const operation& each : operations())
    for (const auto& [kind, handle] : all)
      EXPECT_EQ(each.call(handle), VELOX_STANDIN_ERR_HANDLE) << each.name << " of dead " << kind;
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
