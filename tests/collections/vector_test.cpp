// The vector against a plain model, its promised capacities and report counts, and its callbacks and lock.
#include <gtest/gtest.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread.h>
#include <velox/pask_vector.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <functional>
#include <thread>
#include <vector>

#include "held_lock.h"
#include "random.h"
#include "report_log.h"

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, INVALID = 0x900d0001, NO_MEMORY = 0x900d0002,
                      FOREIGN = 0x900d0321, NO_LOCK = 0x90020002;

using values = std::vector<uintptr_t>;

// The record's fields, in their promised order.
struct record {
  uint32_t magic;
  pask_critsec_handle lock;
  uintptr_t* items;
  uint32_t capacity, count, flags;
};

const record* of(pask_vector_handle vector) { return reinterpret_cast<const record*>(vector); }
bool is_sorted(pask_vector_handle vector) { return (of(vector)->flags & PASK_VECTOR_SORTED) != 0; }
values items_of(pask_vector_handle vector) { return {of(vector)->items, of(vector)->items + of(vector)->count}; }

pask_vector_handle s_vector, s_out;
values s_released;
std::vector<std::pair<uintptr_t, uintptr_t>> s_compared;
std::function<void()> s_change;  // done by the comparison that ends the countdown
size_t s_countdown;

void release(uintptr_t value) { s_released.push_back(value); }

// Orders by tens: 21 and 25 are equal, yet not identical.
int32_t by_tens(uintptr_t a, uintptr_t b) {
  s_compared.emplace_back(a, b);
  if (s_countdown != 0 && --s_countdown == 0) s_change();
  return static_cast<int32_t>(a / 10) - static_cast<int32_t>(b / 10);
}

class Vector : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pask_datatypes_initialize(), 0u); }
  void TearDown() override {
    for (pask_vector_handle vector : made_) EXPECT_EQ(pask_vector_delete(vector), 0u);
    EXPECT_EQ(pask_datatypes_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
    s_released.clear();
  }
  pask_vector_handle kept(pask_vector_handle vector) { return made_.emplace_back(vector); }
  pask_vector_handle make(uint32_t flags = 0, pask_vector_compare_fn compare = nullptr, const values& initial = {}) {
    pask_vector_handle vector = nullptr;
    EXPECT_EQ(pask_vector_create(&vector, flags, compare, release), 0u);
    for (const uintptr_t value : initial) EXPECT_EQ(pask_vector_add(vector, value), 0u);
    return kept(vector);
  }

 private:
  std::vector<pask_vector_handle> made_;
};

TEST_F(Vector, FollowsAPlainModel) {
  TEST_RANDOM(random, std::mt19937);
  const auto less = [](uintptr_t a, uintptr_t b) { return a / 10 < b / 10; };
  for (const uint32_t flags :
       {0u, PASK_VECTOR_THREADSAFE, PASK_VECTOR_SORTED, PASK_VECTOR_SORTED | PASK_VECTOR_THREADSAFE}) {
    const pask_vector_handle vector = make(flags, by_tens);
    values model;
    for (int step = 0; step < 4000; ++step) {
      s_compared.clear();
      const uintptr_t value = 1 + random() % 300;
      const uint32_t at = static_cast<uint32_t>(random() % (model.size() + 1));
      const bool in_range = at < model.size();
      const bool sorted = is_sorted(vector);
      const uint32_t operation = random() % 8;
      switch (operation) {
        case 0:
        case 1:
          ASSERT_EQ(pask_vector_add(vector, value), 0u);
          model.insert(sorted ? std::upper_bound(model.begin(), model.end(), value, less) : model.end(), value);
          break;
        case 2:
          ASSERT_EQ(pask_vector_insert(vector, in_range ? at : at + 7, value), 0u);
          model.insert(model.begin() + at, value);
          ASSERT_EQ(is_sorted(vector), sorted && std::is_sorted(model.begin(), model.end(), less));
          break;
        case 3:
        case 4: {
          uintptr_t taken = 0;
          ASSERT_EQ(operation == 3 ? pask_vector_removeindex(vector, at, &taken) : pask_vector_deleteindex(vector, at),
                    in_range ? 0u : PAST_END);
          if (!in_range) break;
          ASSERT_EQ(operation == 3 ? taken : s_released.back(), model[at]);
          model.erase(model.begin() + at);
          ASSERT_EQ(of(vector)->items[model.size()], 0u);
          break;
        }
        case 5:
        case 6: {
          uint32_t index = 0xdead;
          const uintptr_t unit = operation == 5 ? 10 : 1;
          const auto first = std::find_if(model.begin(), model.end(), [=](auto v) { return v / unit == value / unit; });
          const bool has = first != model.end();
          const auto search = operation == 5 ? pask_vector_find : pask_vector_find_literal;
          ASSERT_EQ(search(vector, value, &index), has ? 0u : NOT_FOUND);
          ASSERT_EQ(index, has ? static_cast<uint32_t>(first - model.begin()) : 0xdeadu);
          break;
        }
        default:
          if (random() % 8 != 0) break;
          ASSERT_EQ(pask_vector_sort(vector, by_tens, 0), 0u);
          ASSERT_TRUE(is_sorted(vector));
          const values now = items_of(vector);
          ASSERT_TRUE(std::is_sorted(now.begin(), now.end(), less));
          ASSERT_TRUE(std::is_permutation(now.begin(), now.end(), model.begin(), model.end()));
          model = now;
      }
      ASSERT_EQ(items_of(vector), model) << "step " << step;
    }
  }
}

TEST_F(Vector, GrowsInThePromisedSteps) {
  const auto capacities = [](pask_vector_handle vector, uint32_t adds) {
    std::vector<uint32_t> all = {of(vector)->capacity};
    for (; adds > 0; --adds) {
      EXPECT_EQ(pask_vector_add(vector, adds), 0u);
      if (all.back() != of(vector)->capacity) all.push_back(of(vector)->capacity);
    }
    return all;
  };
  EXPECT_EQ(capacities(make(), 130), (std::vector<uint32_t>{0, 16, 24, 36, 54, 81, 120, 180}));
  pask_vector_handle copy = nullptr;
  ASSERT_EQ(pask_vector_copy(make(0, nullptr, {7}), nullptr, &copy), 0u);
  EXPECT_EQ(capacities(kept(copy), 3), (std::vector<uint32_t>{1, 3, 6}));
  for (const uint32_t size : {5u, 10u}) {
    EXPECT_EQ(pask_vector_set_min_size(copy, size), 0u);
    EXPECT_EQ(of(copy)->capacity, std::max(6u, size));
  }
  EXPECT_EQ(pask_vector_set_min_size(copy, 0xffffffffu), NO_MEMORY);
  EXPECT_EQ(items_of(copy), (values{7, 3, 2, 1}));
}

TEST_F(Vector, MarkOfASortedOneFollowsItsOrder) {
  const pask_vector_handle vector = make(PASK_VECTOR_SORTED, by_tens, {25, 10, 21, 22, 28});
  EXPECT_EQ(pask_vector_swapindex(vector, 0, 4), 0u);
  EXPECT_TRUE(is_sorted(vector));
  EXPECT_EQ(pask_vector_swapindex(vector, 0, 5), PAST_END);
  EXPECT_EQ(pask_vector_sort(vector, by_tens, 0), 0u);
  EXPECT_EQ(items_of(vector), (values{28, 25, 21, 22, 10}));
  EXPECT_EQ(pask_vector_sort(vector, nullptr, 1), 0u);  // forgets the compare function, sorts nothing
  EXPECT_FALSE(is_sorted(vector));
  EXPECT_EQ(_pask_vector_comparevalues(vector, 21, 25), -1);
  EXPECT_EQ(pask_vector_sort(vector, by_tens, 1), 0u);
  EXPECT_TRUE(is_sorted(vector));
  EXPECT_EQ(items_of(vector).front(), 10u);
}

TEST_F(Vector, SearchesCompareInThePromisedOrder) {
  const pask_vector_handle plain = make(0, by_tens, {11, 25, 21});
  const pask_vector_handle sorted = make(PASK_VECTOR_SORTED, by_tens, {11, 21, 22, 23, 31});
  using pairs = std::vector<std::pair<uintptr_t, uintptr_t>>;
  // The comparisons, and last the status word with the index.
  const auto trail = [](auto search, pask_vector_handle vector, uintptr_t value) {
    uint32_t index = 9;
    s_compared.clear();
    const pask_status word = search(vector, value, &index);
    s_compared.emplace_back(word, index);
    return s_compared;
  };
  EXPECT_EQ(trail(pask_vector_find, plain, 21), (pairs{{11, 21}, {25, 21}, {0, 1}}));
  EXPECT_EQ(trail(pask_vector_find, plain, 11), (pairs{{0, 0}}));  // identical: not compared
  EXPECT_EQ(trail(_pask_vector_upper_bound, sorted, 29), (pairs{{29, 22}, {29, 23}, {29, 31}, {0, 4}}));
  EXPECT_EQ(trail(_pask_vector_lower_bound, sorted, 5), (pairs{{5, 22}, {5, 11}, {NOT_FOUND, 0}}));
  EXPECT_EQ(trail(pask_vector_find_literal, sorted, 29),  // equal ones are there, it isn't
            (pairs{{29, 22}, {29, 11}, {29, 21}, {22, 29}, {23, 29}, {31, 29}, {NOT_FOUND, 9}}));
}

// Each comparison of each operation in turn moves the array, cuts it or empties the vector: no further one sees what isn't there.
TEST_F(Vector, ComparisonsMayChangeIt) {
  values full;
  while (full.size() < 16) full.push_back(10 * (1 + full.size()));
  struct row {
    const char* name;
    std::function<pask_status()> run;
  };
  const row changes[] = {
      {"moves", [] { return pask_vector_set_min_size(s_vector, 50000); }},
      {"clears", [] { return pask_vector_clear(s_vector); }},
      {"cuts",
       [&] {
         pask_vector_handle tail = nullptr;
         const pask_status status = pask_vector_split(s_vector, 1, &tail);
         kept(tail);
         return status;
       }},
  };
  const row operations[] = {
      {"sort", [] { return pask_vector_sort(s_vector, by_tens, 1); }},
      {"add", [] { return pask_vector_add(s_vector, 85); }},
      {"insert", [] { return pask_vector_insert(s_vector, 8, 85); }},
      {"find", [] { return pask_vector_find(s_vector, 159, nullptr) & ~NOT_FOUND; }},
      {"find_literal", [] { return pask_vector_find_literal(s_vector, 169, nullptr) & ~NOT_FOUND; }},
  };
  for (const row& operation : operations)
    for (const row& change : changes)
      for (size_t at = 1, changed = 1; changed != 0; ++at) {
        SCOPED_TRACE(testing::Message() << operation.name << ", comparison " << at << " " << change.name);
        s_vector = make(PASK_VECTOR_SORTED, by_tens, full);
        EXPECT_EQ(operation.run(), 0u);
        const values undisturbed = items_of(s_vector);
        s_vector = make(PASK_VECTOR_SORTED, by_tens, full);
        s_compared.clear();
        changed = 0;
        s_change = [&] { changed += change.run() == 0; };
        s_countdown = at;
        EXPECT_EQ(operation.run(), 0u);
        s_countdown = 0;
        for (const auto& [a, b] : s_compared) EXPECT_TRUE(a != 0 && a < 170 && b != 0 && b < 170);
        EXPECT_TRUE(of(s_vector)->capacity != 50000 || items_of(s_vector) == undisturbed);
        EXPECT_TRUE(&operation != operations || is_sorted(s_vector) == (of(s_vector)->count == 16));
      }
}

TEST_F(Vector, ReleasesWhatItOwnsAndNoZero) {
  const pask_vector_handle vector = make(PASK_VECTOR_THREADSAFE, nullptr, {1, 0, 3, 4});
  EXPECT_EQ(pask_vector_deleteindex(vector, 1) | pask_vector_removeindex(vector, 0, nullptr), 0u);
  pask_vector_handle copy = nullptr;
  ASSERT_EQ(pask_vector_copy(vector, nullptr, &copy), 0u);
  EXPECT_EQ(items_of(kept(copy)), (values{3, 4}));
  EXPECT_EQ(pask_vector_clear(copy), 0u);
  EXPECT_EQ(s_released, values{});
  EXPECT_EQ(pask_vector_clear(vector), 0u);
  EXPECT_EQ(s_released, (values{3, 4}));
  EXPECT_EQ(values(of(vector)->items, of(vector)->items + of(vector)->capacity), values(16, 0));
}

TEST_F(Vector, SplitsAndMovesTheElements) {
  const pask_vector_handle vector = make(PASK_VECTOR_SORTED, by_tens, {10, 20, 30, 40});
  pask_vector_handle tail = nullptr;
  EXPECT_EQ(pask_vector_split(vector, 4, &tail), PAST_END);
  for (const uint32_t at : {3u, 0u}) {
    ASSERT_EQ(pask_vector_split(vector, at, &tail), 0u);
    EXPECT_EQ(items_of(kept(tail)), at ? values{40} : (values{10, 20, 30}));
    EXPECT_TRUE(is_sorted(tail));
    EXPECT_EQ(of(vector)->capacity, at ? 3u : 16u);
  }
  EXPECT_EQ(s_released, values{});
}

uintptr_t s_last;
values s_seen;

// Takes the first element away at each visit, from inside the walk, and ends at the last.
uint8_t take_first(void*, uintptr_t value) {
  s_seen.push_back(value);
  EXPECT_EQ(pask_vector_removeindex(s_vector, 0, nullptr), 0u);
  return value != s_last;
}

TEST_F(Vector, WalkReadsTheCountAfreshAndStops) {
  for (const uintptr_t last : {0u, 3u}) {
    s_vector = make(PASK_VECTOR_THREADSAFE, nullptr, {1, 2, 3, 4, 5});
    s_last = last;
    EXPECT_EQ(pask_vector_foreach(s_vector, take_first, nullptr), last ? 0x100d01a0u : 0u);
    EXPECT_EQ(std::exchange(s_seen, {}), last ? (values{1, 3}) : (values{1, 3, 5}));
  }
}

TEST_F(Vector, LockLetsThreadsAddAtOnceAndIsFreeWhenAnElementIsReleased) {
  static bool s_entered;
  const auto enter = [](uintptr_t) { std::jthread([] { s_entered = pask_vector_clear(s_vector) == 0; }); };
  ASSERT_EQ(pask_vector_create(&s_vector, PASK_VECTOR_THREADSAFE, nullptr, enter), 0u);
  kept(s_vector);
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (uintptr_t i = 0; i < 2000; ++i) pask_vector_add(s_vector, 0);
    });
  threads.clear();
  EXPECT_EQ(of(s_vector)->count, 8000u);
  EXPECT_EQ(pask_vector_insert(s_vector, 0, 1) | pask_vector_deleteindex(s_vector, 0), 0u);
  EXPECT_TRUE(s_entered);
}

// Zeros, which aren't released.
TEST_F(Vector, EachOperationWaitsForTheLock) {
  const pask_vector_handle v = make(PASK_VECTOR_THREADSAFE, nullptr, values(50, 0));
  uintptr_t value = 0;
  uint32_t count = 0;
  pask_vector_handle copy = nullptr, tail = nullptr;
  const auto go_on = [](void*, uintptr_t) -> uint8_t { return 1; };
  const std::vector<named_call> calls = {
      {"add", [&] { pask_vector_add(v, 0); }},
      {"insert", [&] { pask_vector_insert(v, 0, 0); }},
      {"set_min_size", [&] { pask_vector_set_min_size(v, 99); }},
      {"getindex", [&] { pask_vector_getindex(v, 0, &value); }},
      {"removeindex", [&] { pask_vector_removeindex(v, 0, nullptr); }},
      {"deleteindex", [&] { pask_vector_deleteindex(v, 0); }},
      {"swapindex", [&] { pask_vector_swapindex(v, 0, 1); }},
      {"count", [&] { pask_vector_count(v, &count); }},
      {"sort", [&] { pask_vector_sort(v, nullptr, 0); }},
      {"foreach", [&] { pask_vector_foreach(v, go_on, nullptr); }},
      {"find", [&] { pask_vector_find(v, 0, nullptr); }},
      {"find_literal", [&] { pask_vector_find_literal(v, 0, nullptr); }},
      {"clear", [&] { pask_vector_clear(v); }},
      {"copy", [&] { pask_vector_copy(v, nullptr, &copy); }},
      {"split", [&] { pask_vector_split(v, 5, &tail); }},
  };
  EXPECT_EQ(pask_thread_critsec_enter(of(v)->lock), 0u);
  EXPECT_EQ(through_lock(calls, [&] { pask_thread_critsec_leave(of(v)->lock); }), "");
  kept(copy), kept(tail);
  EXPECT_EQ(pask_vector_create(&s_out, PASK_VECTOR_THREADSAFE, nullptr, nullptr), 0u);
  const pask_critsec_handle lock = of(s_out)->lock;
  EXPECT_EQ(pask_thread_critsec_enter(lock), 0u);
  EXPECT_EQ(through_lock({{"delete", [] { pask_vector_delete(s_out); }}}, [=] { pask_thread_critsec_leave(lock); }),
            "");
  s_out = nullptr;
}

#define CALL(operation, ...) [](pask_vector_handle v) { return pask_vector_##operation(v, __VA_ARGS__); }

// Each operation with a bad handle: the status word, told once.
TEST_F(Vector, RefusesNullAndForeignHandles) {
  static uintptr_t s_value;
  static uint32_t s_count = 9;
  uint8_t room[128] = {1};
  report_log log;
  const auto refuse = [&](pask_status null, pask_status bad,
                          std::initializer_list<pask_status (*)(pask_vector_handle)> operations) {
    for (const auto& operation : operations) {
      EXPECT_EQ(operation(nullptr), null) << &operation - operations.begin();
      EXPECT_EQ(log.taken().size(), null ? 1u : 0u);
      EXPECT_EQ(operation(reinterpret_cast<pask_vector_handle>(room)), bad) << &operation - operations.begin();
      EXPECT_EQ(log.taken().size(), 1u);
    }
  };
  refuse(0, 0x900d0320, {pask_vector_delete});
  refuse(INVALID, 0x900d0320, {CALL(add, 1), CALL(insert, 0, 1), CALL(set_min_size, 1)});
  refuse(INVALID, FOREIGN,
         {CALL(getindex, 0, &s_value), CALL(removeindex, 0, &s_value), CALL(deleteindex, 0), CALL(swapindex, 0, 0),
          CALL(sort, by_tens, 1), CALL(foreach, take_first, nullptr), CALL(find, 1, &s_count),
          CALL(find_literal, 1, &s_count), pask_vector_clear, CALL(copy, nullptr, &s_out), CALL(split, 0, &s_out)});
  EXPECT_EQ(s_count, 9u);
  refuse(0, FOREIGN, {CALL(count, &s_count)});
  EXPECT_EQ(s_count, 0u);

  const pask_vector_handle vector = make(0, nullptr, {1}), sorted = make(PASK_VECTOR_SORTED);
  for (const pask_status word :
       {pask_vector_getindex(vector, 0, nullptr), pask_vector_count(nullptr, nullptr),
        pask_vector_foreach(vector, nullptr, nullptr), pask_vector_copy(vector, nullptr, nullptr),
        pask_vector_split(vector, 0, nullptr), pask_vector_add(sorted, 0), pask_vector_find(sorted, 0, nullptr)})
    EXPECT_EQ(word, INVALID);
  EXPECT_EQ(log.taken(), std::vector<std::string>(9, "pask_vector 900d0001"));  // the sorted one's by two levels each
}

TEST(VectorUnstarted, CreateRefusesUnreported) {
  report_log log;
  EXPECT_EQ(pask_vector_create(&s_out, 0, nullptr, nullptr), 0x900d0007u);
  EXPECT_TRUE(log.taken().empty());
}

// A failure is told by each function that makes it or hands it on.
TEST_F(Vector, RefusedMemoryLeavesItAsItWasAndIsToldAtEachLevel) {
  const values full(16, 5);
  s_vector = make(PASK_VECTOR_THREADSAFE, nullptr, full);
  report_log log;
  const auto refused = [&](uint32_t granted, pask_status word, size_t levels, pask_status (*call)()) {
    EXPECT_TRUE(items_of(s_vector) == full && s_released.empty());
    velox_standin_memory_refuse(granted, 0);
    EXPECT_EQ(call(), word);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    EXPECT_EQ(log.taken().size(), levels);
    EXPECT_EQ(s_out, nullptr);
  };
  for (const uint32_t granted : {0u, 1u})
    refused(granted, granted ? NO_LOCK : NO_MEMORY, 2, [] { return pask_vector_create(&s_out, 1, nullptr, nullptr); });
  refused(0, NO_MEMORY, 3, [] { return pask_vector_add(s_vector, 6); });
  refused(0, NO_MEMORY, 3, [] { return pask_vector_insert(s_vector, 0, 6); });
  refused(0, NO_MEMORY, 2, [] { return pask_vector_set_min_size(s_vector, 17); });
  for (const uint32_t granted : {0u, 1u, 2u})
    refused(granted, granted == 1 ? NO_LOCK : NO_MEMORY, 2, [] { return pask_vector_copy(s_vector, release, &s_out); });
  for (const uint32_t granted : {2u, 3u})
    refused(granted, NO_MEMORY, granted == 2 ? 2 : 1, [] { return pask_vector_split(s_vector, 4, &s_out); });
  EXPECT_EQ(items_of(s_vector), values(4, 5));  // the last one lost the tail, which is released
  EXPECT_EQ(s_released, values(12, 5));
}

}  // namespace
