// Threads, their stores, and atomics. What a thread leaves behind is told by the live blocks of the memory service.
#include <pthread.h>
#include <unistd.h>
#include <velox/pask_atomic.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread_store.h>
#include <velox/velox_standin.h>

#include <latch>
#include <map>

#include "await.h"
#include "guarded.h"

namespace {

using words = std::vector<pask_status>;
using counts = std::map<uintptr_t, int>;
constexpr pask_status REFUSED = 0x90020001, NO_MEMORY = 0x90020002, NOT_FOUND = 0x90020003;

TEST(Atomics, ComputeAndRefuseNull) {
  uint32_t word = 5, out = 1;
  uint8_t swapped = 9;
  void *pointer = &word, *old = nullptr;
  const words results = {pask_atomic_set(nullptr, 1),          pask_atomic_add(nullptr, 1),
                         pask_atomic_read(nullptr, &out),      pask_atomic_inc(nullptr, &out),
                         pask_atomic_dec(nullptr, &out),       pask_atomic_cas(nullptr, 0, 0, &swapped),
                         pask_atomicPtr_read(nullptr, &old),   pask_atomicPtr_exchange(nullptr, &out, &old),
                         pask_atomic_cas(&word, 5, 6, nullptr)};
  EXPECT_EQ(results, words(9, 0x901f0001));
  EXPECT_TRUE(word == 5 && out == 1 && swapped == 9);
  const auto reads = [&](uint32_t value) { return pask_atomic_read(&word, &out) == 0 && out == value; };
  EXPECT_TRUE(pask_atomic_add(&word, 3) == 0 && reads(8) && pask_atomic_add(&word, 0xfffffff7) == 0 && reads(~0u));
  EXPECT_TRUE(pask_atomic_inc(&word, &out) == 0 && out == 0 && pask_atomic_dec(&word, &out) == 0 && out == 0xffffffff);
  EXPECT_TRUE(pask_atomic_cas(&word, 7, 1, &swapped) == 0 && swapped == 0 && reads(0xffffffff));
  EXPECT_TRUE(pask_atomic_cas(&word, 0xffffffff, 1, &swapped) == 0 && swapped == 1 && reads(1));
  EXPECT_TRUE(pask_atomic_set(&word, 8) == 0 && pask_atomic_inc(&word, nullptr) == 0 && reads(9));
  EXPECT_TRUE(pask_atomicPtr_exchange(&pointer, &out, &old) == 0 && old == &word && pointer == &out);
  EXPECT_TRUE(pask_atomicPtr_read(&pointer, &old) == 0 && old == &out);
}

counts s_freed;  // values that a free function got, and how often
std::thread::id s_freed_by;
void note_freed(uintptr_t value) {
  ++s_freed[value];
  s_freed_by = std::this_thread::get_id();
}

// The module's lock is free, also in the last stop.
void restart_and_note(uintptr_t value) {
  EXPECT_EQ(pask_thread_initialize() | pask_thread_shutdown(), 0u);
  note_freed(value);
}

class Threads : public testing::Test {
 protected:
  void SetUp() override {
    s_freed.clear();
    ASSERT_EQ(pask_thread_initialize(), 0u);
  }
  void TearDown() override {
    EXPECT_EQ(pask_thread_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
  }
};

void* count_to_20000(void* word) {
  auto* count = static_cast<uint32_t*>(word);
  for (uint32_t i = 0; i < 20000; i += 2) {
    pask_atomic_inc(count, nullptr);
    uint32_t seen = 0;
    for (uint8_t swapped = 0; !swapped; pask_atomic_cas(count, seen, seen + 1, &swapped))
      pask_atomic_read(count, &seen);
  }
  return nullptr;
}

words all_with(pask_thread_handle thread, int32_t priority, pask_thread_id* id, const char* name, uint32_t size) {
  static char buffer[4];
  return {pask_thread_wait_and_cleanup(thread, 0), pask_thread_set_priority(thread, priority),
          pask_thread_get_id(thread, id), pask_thread_set_name(thread, name),
          pask_thread_get_name(thread, buffer, size)};
}

TEST_F(Threads, RefuseBadArgumentsAndWorkOnlyOnceStarted) {
  const guarded_text wrong("\x56\x22\x44\x33", 8);  // little more than a magic word can be read
  auto* thread = reinterpret_cast<pask_thread_handle>(wrong.get());
  pask_thread_id id = 0;
  uintptr_t value = 0;
  uint32_t cores = 0;
  EXPECT_EQ(all_with(thread, 5, &id, "n", 4), words(5, 0x90020321));
  EXPECT_EQ(pask_thread_store_set(thread, 0, 1, nullptr), 0x90020321u);
  EXPECT_EQ(pask_thread_store_get(thread, 0, &value) & pask_thread_store_clear(thread, 0), 0x90020321u);
  for (const int32_t priority : {-6, 6})
    EXPECT_EQ(all_with(thread, priority, nullptr, nullptr, 0), (words{0x90020321, REFUSED, REFUSED, REFUSED, REFUSED}));
  EXPECT_EQ(
      (words{pask_thread_wait_and_cleanup(nullptr, 0), pask_thread_set_priority(nullptr, 0),
             pask_thread_get_name(nullptr, nullptr, 4), pask_thread_core_count(nullptr),
             pask_thread_create(nullptr, 0, nullptr, nullptr), pask_thread_create(count_to_20000, 1, nullptr, &thread),
             pask_thread_store_get_next_slot(nullptr), thread_local_store_data_get_next_slot(nullptr),
             thread_local_store_create(nullptr), thread_local_store_data_set(nullptr, 0, 1, nullptr),
             thread_local_store_data_get(nullptr, 0, &value)}),
      words(11, REFUSED));
  EXPECT_EQ(pask_thread_sleep(4294968), 0u);  // wraps to less than a millisecond
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_thread_create(count_to_20000, 0, nullptr, &thread) & pask_thread_set_name(nullptr, "n"), NO_MEMORY);
  velox_standin_memory_refuse_end();
  ASSERT_EQ(pask_thread_shutdown(), 0u);
  EXPECT_EQ(all_with(nullptr, 6, nullptr, nullptr, 0), words(5, 0x90020007));
  EXPECT_EQ(pask_thread_create(nullptr, 0, nullptr, nullptr) & pask_thread_sleep(1), 0x90020007u);
  EXPECT_EQ(pask_thread_core_count(&cores), 0u);
  ASSERT_EQ(pask_thread_initialize(), 0u);
}

std::string task_of_this() { return "/proc/self/task/" + std::to_string(gettid()); }
void await_end(const std::string& task) {
  await([&] { return access(task.c_str(), F_OK) != 0; });
}

struct visit {
  std::latch there{1}, leave{1};
  pask_thread_id id = 0;
  std::string task;
  char name[8] = "";
};

void* visit_and_exit(void* argument) {
  auto* at = static_cast<visit*>(argument);
  at->task = task_of_this();
  EXPECT_EQ(pask_thread_get_id(nullptr, &at->id) | pask_thread_store_set(nullptr, 1, 8, note_freed), 0u);
  at->there.count_down();
  at->leave.wait();
  EXPECT_EQ(pask_thread_get_name(nullptr, at->name, sizeof at->name), 0u);
  pthread_exit(nullptr);
}

void* sleep_a_little(void*) {
  EXPECT_EQ(pask_thread_sleep(50), 0u);
  return nullptr;
}

// The beginning of a thread's record.
struct thread_record {
  uint32_t magic, refcount;
  pthread_mutex_t state_lock;
  pthread_t thread_id;
  char* name;
  uint8_t finished, completion_ready;
  void* (*entry)(void*);
  void *argument, *store;
  pthread_mutex_t done_lock;
  uint8_t done;
};

// Ends as threads of the family's other libraries do, which leave `entry` as it was.
void* finish_and_exit(void* task) {
  *static_cast<std::string*>(task) = task_of_this();
  auto* own = static_cast<thread_record*>(pthread_getspecific(g_pask_thread_store_key));
  pthread_mutex_lock(&own->done_lock);
  own->finished = own->done = 1;
  pthread_mutex_unlock(&own->done_lock);
  pask_atomic_dec(&own->refcount, nullptr);
  pthread_exit(nullptr);
}

TEST_F(Threads, ThatAnotherLibraryHasFinishedStayUntilTheyAreWaitedFor) {
  std::string task;
  pask_thread_handle thread = nullptr;
  ASSERT_EQ(pask_thread_create(finish_and_exit, 0, &task, &thread), 0u);
  auto* done_lock = &reinterpret_cast<thread_record*>(thread)->done_lock;
  await([=] {
    pthread_mutex_lock(done_lock);
    const bool done = reinterpret_cast<thread_record*>(thread)->done;
    pthread_mutex_unlock(done_lock);
    return done;
  });
  await_end(task);
  ASSERT_EQ(velox_standin_memory_live_blocks(), 1);
  EXPECT_EQ(pask_thread_wait_and_cleanup(thread, 0), 0u);
}

void* rename_often(void* thread) {
  for (int i = 0; i < 300; ++i) {
    char name[16];
    EXPECT_EQ(pask_thread_set_name(static_cast<pask_thread_handle>(thread), i % 2 ? "odd" : "an even one"), 0u);
    EXPECT_EQ(pask_thread_get_name(static_cast<pask_thread_handle>(thread), name, sizeof name), 0u);
  }
  return nullptr;
}

TEST_F(Threads, WakeWhoWaitsForTheirEnd) {
  pask_thread_handle thread = nullptr;
  ASSERT_EQ(pask_thread_create(sleep_a_little, 0, nullptr, &thread), 0u);
  EXPECT_EQ(pask_thread_wait_and_cleanup(thread, PASK_THREAD_NO_LIMIT), 0u);  // a lost wake-up hangs here
}

TEST_F(Threads, AreReachedThroughTheirHandleUntilTheyAreWaitedFor) {
  visit at;
  pask_thread_handle thread = nullptr;
  ASSERT_EQ(pask_thread_create(visit_and_exit, 256 * 1024, &at, &thread), 0u);
  at.there.wait();
  pask_thread_id id = 0;
  EXPECT_TRUE(pask_thread_get_id(thread, &id) == 0 && id == at.id && id != pthread_self());
  pask_thread_handle other = nullptr;
  ASSERT_EQ(pask_thread_create(rename_often, 0, thread, &other), 0u);
  rename_often(thread);
  EXPECT_EQ(pask_thread_wait_and_cleanup(other, PASK_THREAD_NO_LIMIT), 0u);
  EXPECT_EQ(pask_thread_set_name(thread, "visitor"), 0u);
  EXPECT_EQ(pask_thread_set_priority(thread, -5) | pask_thread_set_priority(thread, 5), 0u);
  for (const uint32_t ms : {0u, 20u}) EXPECT_EQ(pask_thread_wait_and_cleanup(thread, ms), PASK_THREAD_INFO_TIMEOUT);
  at.leave.count_down();
  while (pask_thread_set_priority(thread, 0) == 0 && access(at.task.c_str(), F_OK) == 0) {
  }
  EXPECT_EQ(pask_thread_set_priority(thread, 0), 0u);  // nobody is there any more
  EXPECT_STREQ(at.name, "visitor");
  const guarded_text cut("", 7), whole("", 8);
  EXPECT_TRUE(pask_thread_get_name(thread, cut, 7) == 0 && std::string_view(cut, 7) == "visitor");
  EXPECT_TRUE(pask_thread_get_name(thread, whole, 8) == 0 && std::string(whole) == "visitor");
  velox_standin_memory_refuse(0, 0);
  EXPECT_EQ(pask_thread_set_name(thread, "nobody"), NO_MEMORY);
  velox_standin_memory_refuse_end();
  EXPECT_TRUE(pask_thread_get_name(thread, whole, 8) == 0 && std::string(whole).empty());
  EXPECT_EQ(s_freed, counts{});
  EXPECT_EQ(pask_thread_wait_and_cleanup(thread, 0), 0u);
  EXPECT_TRUE(s_freed == (counts{{8, 1}}) && s_freed_by == std::this_thread::get_id());
}

TEST_F(Threads, TakeTheirRecordsWithThem) {
  uint32_t sum = 0, total = 0;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(pask_thread_create(count_to_20000, 0, &sum, nullptr), 0u);
  await([] { return velox_standin_memory_live_blocks() == 0; });
  EXPECT_TRUE(pask_atomic_read(&sum, &total) == 0 && total == 80000);
  uintptr_t value = 0;
  std::thread::id id;
  std::thread foreign([&] {
    char name[8];
    id = std::this_thread::get_id();
    EXPECT_TRUE(pask_thread_get_name(nullptr, name, 8) == NOT_FOUND && pask_thread_store_clear(nullptr, 0) == 0);
    for (const uint32_t granted : {0u, 1u, 1u, 1u}) {  // then record, store, entries and growth are refused
      velox_standin_memory_refuse(granted, 0);
      EXPECT_EQ(pask_thread_store_set(nullptr, 40, 5, note_freed), NO_MEMORY);
    }
    velox_standin_memory_refuse_end();
    EXPECT_EQ(pask_thread_store_set(nullptr, 40, 5, note_freed), 0u);
    EXPECT_TRUE(pask_thread_store_get(nullptr, 40, &value) == 0 && value == 5);
    EXPECT_EQ(pask_thread_set_name(nullptr, "foreign") | pask_thread_get_name(nullptr, name, 8), 0u);
    EXPECT_STREQ(name, "foreign");
  });
  foreign.join();
  EXPECT_TRUE(s_freed == (counts{{5, 1}}) && s_freed_by == id && velox_standin_memory_live_blocks() == 0);
  EXPECT_EQ(pask_thread_store_set(nullptr, 0, 4, restart_and_note) | pask_thread_shutdown(), 0u);
  EXPECT_EQ(s_freed, (counts{{4, 1}, {5, 1}}));
  EXPECT_EQ(pask_thread_store_set(nullptr, 0, 6, note_freed) | pask_thread_store_clear(nullptr, 0), 0u);
  EXPECT_EQ(pask_thread_store_get(nullptr, 0, &value), NOT_FOUND);
  EXPECT_EQ(pask_thread_initialize(), 0u);
}

// The store that these work on, in free functions too.
class Stores : public Threads {
 protected:
  void SetUp() override {
    Threads::SetUp();
    ASSERT_EQ(thread_local_store_create(&s_store), 0u);
  }
  static pask_status set(int32_t slot, uintptr_t value, pask_thread_store_free_fn free_value = note_freed) {
    return thread_local_store_data_set(s_store, slot, value, free_value);
  }
  static pask_status clear(int32_t slot) { return thread_local_store_data_clear(s_store, slot); }
  static uintptr_t at(int32_t slot) {
    uintptr_t value = 99;
    const pask_status status = thread_local_store_data_get(s_store, slot, &value);
    return status ? status : value;
  }
  static int32_t capacity() { return *reinterpret_cast<const int32_t*>(reinterpret_cast<void**>(s_store) + 1); }

  // Values of 1 to 3 leave a smaller one in their slot, 50 others around it, which make the array move, and 100 itself.
  static void call_back(uintptr_t value) {
    note_freed(value);
    EXPECT_TRUE(at(20) == NOT_FOUND && clear(20) == 0);
    EXPECT_EQ(value == 50 ? set(0, 1) | set(5000, 5001) : set(20, value == 100 ? 100 : value - 1, call_back), 0u);
  }
  static inline thread_local_store_handle s_store;
};

TEST_F(Stores, GrowInStepsAndReleaseEachValueOnce) {
  int32_t slots[2] = {-1, -1};  // the first of the process
  EXPECT_EQ(pask_thread_store_get_next_slot(&slots[0]) | thread_local_store_data_get_next_slot(&slots[1]), 0u);
  EXPECT_TRUE(slots[0] == 0 && slots[1] == 1);
  for (const int32_t slot : {INT32_MAX, INT32_MAX - 16, 0x20000000}) EXPECT_EQ(set(slot, 1), NO_MEMORY);
  for (const int32_t slot : {0, 999, -1}) EXPECT_EQ(clear(slot), 0u);
  EXPECT_TRUE(set(-1, 1) == REFUSED && at(-1) == REFUSED && at(0) == NOT_FOUND);
  for (const auto& [slot, room] : {std::pair(0, 16), {15, 16}, {16, 32}, {60, 64}, {47, 64}})
    EXPECT_TRUE(set(slot, 100 + static_cast<uintptr_t>(slot)) == 0 && capacity() == room);
  EXPECT_EQ(set(16, 2), 0u);
  EXPECT_EQ(s_freed, (counts{{116, 1}}));
  for (const int32_t slot : {60, 60, 64, 17}) EXPECT_EQ(clear(slot), 0u);
  for (const uintptr_t value : {0, 0, 3}) EXPECT_EQ(set(15, value) | set(47, 0), 0u);
  EXPECT_EQ(s_freed, (counts{{116, 1}, {160, 1}, {115, 1}, {147, 1}}));
  EXPECT_TRUE(at(0) == 100 && at(15) == 3 && at(16) == 2 && at(47) == 0);
  for (const int32_t slot : {1, 60, 63, 64, INT32_MAX}) EXPECT_EQ(at(slot), NOT_FOUND);
  EXPECT_EQ(thread_local_store_delete(s_store) | thread_local_store_delete(nullptr), 0u);
  EXPECT_EQ(s_freed, (counts{{100, 1}, {2, 1}, {3, 1}, {116, 1}, {160, 1}, {115, 1}, {147, 1}}));
}

TEST_F(Stores, MayBeCalledByFreeFunctions) {
  const std::map<uintptr_t, counts> freed = {
      {3, {{1, 1}, {2, 1}, {3, 1}}}, {50, {{1, 1}, {50, 1}, {5001, 1}}}, {100, {{100, 4}}}};
  for (const char how : {'s', 'c', 'd'}) {
    for (const auto& [value, expected] : freed) {
      s_freed.clear();
      EXPECT_EQ(set(20, value, call_back), 0u);
      EXPECT_TRUE(how != 's' || (set(20, 7, nullptr) == 0 && at(20) == 7));
      EXPECT_TRUE(how != 'c' || (clear(20) == 0 && at(20) == NOT_FOUND));
      EXPECT_EQ(thread_local_store_delete(s_store) | thread_local_store_create(&s_store), 0u);
      EXPECT_EQ(s_freed, expected) << how;
    }
  }
  EXPECT_EQ(thread_local_store_delete(s_store), 0u);
}

}  // namespace
