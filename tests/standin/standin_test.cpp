// Start and stop with clients in every state, error information by thread, the memory service.
#include <cstring>
#include <thread>
#include <vector>

#include "started_manager.h"

using Standin = StartedManager;

namespace {

std::string s_order;
velox_client_ref s_client;
const velox_manager_record* s_record;

pask_status shutdown_of_client() {
  s_order += 'S';
  return s_record->client_unregister(s_client);
}
void note_delete(void* object) { s_order += *static_cast<char*>(object); }

}  // namespace

TEST_F(Standin, InterfacesByName) {
  int untouched = 0;
  void* out = &untouched;
  EXPECT_EQ(record->interface_get("_velox_nothing_interface", 0, 0, &out), VELOX_STANDIN_ERR_NOT_FOUND);
  EXPECT_EQ(record->interface_get(nullptr, 0, 0, &out), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(out, &untouched);
  EXPECT_EQ(record->interface_get(VELOX_INTERFACE_MDO, 0, 0, nullptr), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_STREQ(record->version, "3.10.1");
  EXPECT_EQ(record->magic, 0x1eeeeee1u);
}

TEST_F(Standin, ClientStaysWhileItHoldsObjects) {
  char a = 'a';
  s_record = record;
  s_order.clear();
  ASSERT_EQ(record->client_register(0xb5, "client", shutdown_of_client, 0, &s_client), 0u);
  EXPECT_EQ(record->client_unregister(nullptr), 0u);
  ASSERT_EQ(handles->handle_add(s_client, &a, 1, note_delete), 0u);
  EXPECT_EQ(record->client_unregister(s_client), VELOX_STANDIN_ERR_IN_USE);
  EXPECT_EQ(handles->handle_release(&a), 0u);
  EXPECT_EQ(record->client_unregister(s_client), 0u);
  EXPECT_EQ(record->client_unregister(s_client), VELOX_STANDIN_ERR_HANDLE);
  EXPECT_EQ(handles->handle_add(s_client, &a, 1, note_delete), VELOX_STANDIN_ERR_HANDLE);
  EXPECT_EQ(s_order, "a") << "unregistering never calls the shutdown function";
}

TEST_F(Standin, LastStopEndsClientsAndTheirObjects) {
  char objects[] = "abc";
  s_record = record;
  s_order.clear();
  ASSERT_EQ(record->client_register(0xb5, "client", shutdown_of_client, 0, &s_client), 0u);
  for (int at = 0; at < 3; ++at) ASSERT_EQ(handles->handle_add(s_client, &objects[at], 1, note_delete), 0u);
  velox_client_ref silent = nullptr;
  ASSERT_EQ(record->client_register(7, "without shutdown", nullptr, 0, &silent), 0u);

  const velox_manager_record* again = nullptr;
  EXPECT_EQ(velox_standin_start(&again), 0u);
  EXPECT_EQ(again, record);
  EXPECT_EQ(velox_standin_stop(), 0u);
  EXPECT_EQ(s_order, "") << "a stop that isn't the last only counts";
  EXPECT_EQ(velox_standin_stop(), 0u);
  EXPECT_EQ(s_order, "cbaS") << "newest first, while the client is still up";
  EXPECT_EQ(record->client_unregister(silent), VELOX_STANDIN_ERR_HANDLE);
  EXPECT_EQ(velox_standin_stop(), VELOX_STANDIN_ERR_NOT_INITED);
  EXPECT_EQ(record->client_register(0xb5, "late", nullptr, 0, &silent), VELOX_STANDIN_ERR_NOT_INITED);
  EXPECT_EQ(velox_standin_start(nullptr), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(velox_standin_start(&again), 0u);
}

TEST_F(Standin, ErrorInformationBelongsToTheThread) {
  char operation[] = "operation", message[] = "message";
  errorinfo->errorinfo_set(0x90b50001, 0x900d0002, operation, message);
  std::memset(operation, '#', sizeof operation - 1);
  std::memset(message, '#', sizeof message - 1);
  velox_standin_error error{};
  std::thread([&] {
    velox_standin_last_error(&error);
    EXPECT_EQ(error.word, 0u);
    manager_errorinfo_set(1, 2, nullptr, nullptr);
  }).join();
  velox_standin_last_error(&error);
  EXPECT_EQ(error.word, 0x90b50001u);
  EXPECT_EQ(error.source, 0x900d0002u);
  EXPECT_STREQ(error.operation, "operation");
  EXPECT_STREQ(error.message, "message");
  manager_errorinfo_set(0x90b50001, 0x900d0002, nullptr, nullptr);
  velox_standin_last_error(&error);
  EXPECT_EQ(error.operation, nullptr);
  EXPECT_EQ(error.message, nullptr) << "only a provider's message outlives its error";
}

TEST_F(Standin, ProvidersMessageStandsBehindTheFailedOperation) {
  velox_standin_error_set(VELOX_STANDIN_ERR_CATALOG, nullptr, "a.db is no catalogue");
  velox_standin_error error{};
  errorinfo->errorinfo_set(0x90b50400, VELOX_STANDIN_ERR_CATALOG, "generate", nullptr);
  velox_standin_last_error(&error);
  EXPECT_EQ(error.word, 0x90b50400u);
  EXPECT_STREQ(error.operation, "generate");
  EXPECT_STREQ(error.message, "a.db is no catalogue");
  errorinfo->errorinfo_set(0, 0, "generate", nullptr);
  errorinfo->errorinfo_set(0x90b50400, VELOX_STANDIN_ERR_CATALOG, "generate", nullptr);
  velox_standin_last_error(&error);
  EXPECT_EQ(error.message, nullptr) << "a success has ended it";
}

TEST_F(Standin, MemoryCountsOverThreads) {
  const int64_t live = velox_standin_memory_live_blocks();
  const uint64_t granted = velox_standin_memory_allocations();
  std::vector<void*> handed(2000);
  const auto half = [&](size_t from) {
    for (size_t at = from; at < handed.size(); at += 2) handed[at] = pask_memory_realloc(pask_memory_alloc(8), 80);
  };
  std::thread even(half, 0), odd(half, 1);
  even.join();
  odd.join();
  EXPECT_EQ(velox_standin_memory_live_blocks(), live + 2000);
  EXPECT_EQ(velox_standin_memory_allocations(), granted + 4000);
  for (void* block : handed) pask_memory_free(block);
  pask_memory_free(nullptr);
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

TEST_F(Standin, MemoryRefusesOnDemand) {
  for (const bool all_after : {false, true}) {
    velox_standin_memory_refuse(1, all_after);
    void* granted = pask_memory_alloc(0);
    ASSERT_NE(granted, nullptr);
    EXPECT_EQ(pask_memory_realloc(granted, 100), nullptr) << "the block is still the caller's";
    void* next = pask_memory_alloc(1);
    EXPECT_EQ(next == nullptr, all_after);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    pask_memory_free(next);
    pask_memory_free(granted);
  }
  velox_standin_memory_refuse(1, 0);
  pask_memory_free(pask_memory_alloc(1));
  EXPECT_EQ(velox_standin_memory_refuse_end(), 0);
}
