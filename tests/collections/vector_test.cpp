// The vector against a plain model, its promised capacities and report counts, and its callbacks and lock.
#include <gtest/gtest.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread.h>
#include <velox/pask_vector.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

#include "report_log.h"

namespace {

using values = std::vector<uintptr_t>;

// The record's fields, in their promised order.
struct record {
  uint32_t magic;
  pask_critsec_handle lock;
  uintptr_t* items;
  uint32_t capacity;
  uint32_t count;
  uint32_t flags;
};

const record* of(pask_vector_handle vector) { return reinterpret_cast<const record*>(vector); }
bool is_sorted(pask_vector_handle vector) { return (of(vector)->flags & PASK_VECTOR_SORTED) != 0; }
values items_of(pask_vector_handle vector) { return {of(vector)->items, of(vector)->items + of(vector)->count}; }

values s_released;
std::vector<std::pair<uintptr_t, uintptr_t>> s_compared;

void release(uintptr_t value) { s_released.push_back(value); }

// Orders by tens: 21 and 25 are equal, yet not identical.
int32_t by_tens(uintptr_t a, uintptr_t b) {
  s_compared.emplace_back(a, b);
  return static_cast<int32_t>(a / 10) - static_cast<int32_t>(b / 10);
}

class Vector : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(pask_datatypes_initialize(), 0u);
    blocks_ = velox_standin_memory_live_blocks();
  }
  void TearDown() override {
    for (pask_vector_handle vector : made_) EXPECT_EQ(pask_vector_delete(vector), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks_);
    EXPECT_EQ(pask_datatypes_shutdown(), 0u);
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
  int64_t blocks_ = 0;
};

TEST_F(Vector, FollowsAPlainModel) {
  const uint32_t seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  for (const uint32_t flags :
       {0u, PASK_VECTOR_THREADSAFE, PASK_VECTOR_SORTED, PASK_VECTOR_SORTED | PASK_VECTOR_THREADSAFE}) {
    const pask_vector_handle vector = make(flags, by_tens);
    values model;
    const auto less = [](uintptr_t a, uintptr_t b) { return a / 10 < b / 10; };
    for (int step = 0; step < 4000; ++step) {
      s_compared.clear();
      const uintptr_t value = 1 + random() % 300;
      const uint32_t at = static_cast<uint32_t>(random() % (model.size() + 1));
      const bool in_range = at < model.size();
      const bool sorted = is_sorted(vector);
      uint32_t index = 0xdead;
      uintptr_t taken = 0;
      switch (random() % 8) {
        case 0:
        case 1:
          ASSERT_EQ(pask_vector_add(vector, value), 0u);
          model.insert(sorted ? std::upper_bound(model.begin(), model.end(), value, less) : model.end(), value);
          break;
        case 2:
          ASSERT_EQ(pask_vector_insert(vector, in_range ? at : at + 7, value), 0u);
          model.insert(model.begin() + at, value);
          if (sorted) {
            ASSERT_EQ(is_sorted(vector), std::is_sorted(model.begin(), model.end(), less));
          }
          break;
        case 3:
          ASSERT_EQ(pask_vector_removeindex(vector, at, &taken), in_range ? 0u : 0x100d0361u);
          if (in_range) {
            ASSERT_EQ(taken, model[at]);
            model.erase(model.begin() + at);
            ASSERT_EQ(of(vector)->items[model.size()], 0u);
          }
          break;
        case 4:
          ASSERT_EQ(pask_vector_deleteindex(vector, at), in_range ? 0u : 0x100d0361u);
          if (in_range) {
            ASSERT_EQ(s_released.back(), model[at]);
            model.erase(model.begin() + at);
          }
          break;
        case 5: {
          const auto same = [=](uintptr_t item) { return item / 10 == value / 10; };
          const auto first = std::find_if(model.begin(), model.end(), same);
          ASSERT_EQ(pask_vector_find(vector, value, &index), first != model.end() ? 0u : 0x100d0003u);
          ASSERT_EQ(index, first != model.end() ? static_cast<uint32_t>(first - model.begin()) : 0xdeadu);
          break;
        }
        case 6: {
          const auto first = std::find(model.begin(), model.end(), value);
          ASSERT_EQ(pask_vector_find_literal(vector, value, &index), first != model.end() ? 0u : 0x100d0003u);
          ASSERT_EQ(index, first != model.end() ? static_cast<uint32_t>(first - model.begin()) : 0xdeadu);
          break;
        }
        default:
          if (random() % 8 != 0) break;
          ASSERT_EQ(pask_vector_sort(vector, by_tens, 0), 0u);
          ASSERT_TRUE(is_sorted(vector));
          std::sort(model.begin(), model.end());
          values now = items_of(vector);
          ASSERT_TRUE(std::is_sorted(now.begin(), now.end(), less));
          std::swap(model, now);
          std::sort(now.begin(), now.end(), std::less<>{});
          values again = model;
          std::sort(again.begin(), again.end());
          ASSERT_EQ(again, now);
      }
      ASSERT_EQ(items_of(vector), model) << "step " << step;
    }
  }
}

TEST_F(Vector, GrowsInThePromisedSteps) {
  const pask_vector_handle vector = make();
  EXPECT_EQ(of(vector)->items, nullptr);
  std::vector<uint32_t> capacities;
  for (uintptr_t i = 0; i < 130; ++i) {
    ASSERT_EQ(pask_vector_add(vector, i), 0u);
    if (capacities.empty() || capacities.back() != of(vector)->capacity) capacities.push_back(of(vector)->capacity);
  }
  EXPECT_EQ(capacities, (std::vector<uint32_t>{16, 24, 36, 54, 81, 120, 180}));

  pask_vector_handle copy = nullptr;
  ASSERT_EQ(pask_vector_copy(make(0, nullptr, {7}), nullptr, &copy), 0u);
  capacities = {of(kept(copy))->capacity};
  for (uintptr_t i = 0; i < 3; ++i) {
    ASSERT_EQ(pask_vector_add(copy, i), 0u);
    capacities.push_back(of(copy)->capacity);
  }
  EXPECT_EQ(capacities, (std::vector<uint32_t>{1, 3, 3, 6}));
  EXPECT_EQ(pask_vector_set_min_size(copy, 5), 0u);
  EXPECT_EQ(of(copy)->capacity, 6u);
  EXPECT_EQ(pask_vector_set_min_size(copy, 10), 0u);
  EXPECT_EQ(of(copy)->capacity, 10u);
  EXPECT_EQ(pask_vector_set_min_size(copy, 0xffffffffu), 0x900d0002u);
  EXPECT_EQ(items_of(copy), (values{7, 0, 1, 2}));
}

TEST_F(Vector, MarkOfASortedOneFollowsItsOrder) {
  const pask_vector_handle vector = make(PASK_VECTOR_SORTED, by_tens, {25, 10, 21, 28});
  EXPECT_EQ(items_of(vector), (values{10, 25, 21, 28}));  // equal ones in the order of adding
  EXPECT_EQ(pask_vector_insert(vector, 2, 22), 0u);
  EXPECT_TRUE(is_sorted(vector));
  EXPECT_EQ(pask_vector_swapindex(vector, 0, 4), 0u);
  EXPECT_TRUE(is_sorted(vector));
  EXPECT_EQ(pask_vector_swapindex(vector, 0, 5), 0x100d0361u);
  EXPECT_EQ(pask_vector_sort(vector, by_tens, 0), 0u);
  EXPECT_EQ(items_of(vector), (values{28, 25, 22, 21, 10}));
  EXPECT_EQ(pask_vector_sort(vector, by_tens, 1), 0u);
  EXPECT_EQ(items_of(vector).front(), 10u);

  EXPECT_EQ(pask_vector_sort(vector, nullptr, 1), 0u);  // forgets the compare function, sorts nothing
  EXPECT_FALSE(is_sorted(vector));
  EXPECT_EQ(_pask_vector_comparevalues(vector, 21, 25), -1);
  EXPECT_EQ(pask_vector_sort(vector, by_tens, 0), 0u);
  EXPECT_EQ(pask_vector_insert(vector, 99, 5), 0u);  // below its left neighbour
  EXPECT_FALSE(is_sorted(vector));
  EXPECT_EQ(pask_vector_add(vector, 0), 0u);  // appends without a search
  EXPECT_EQ(items_of(vector).back(), 0u);
  uint32_t index = 0;
  EXPECT_EQ(pask_vector_find(vector, 0, &index), 0u);
  EXPECT_EQ(index, 5u);  // 5 is equal to it
}

TEST_F(Vector, SearchesCompareInThePromisedOrder) {
  using pairs = std::vector<std::pair<uintptr_t, uintptr_t>>;
  uint32_t index = 0;
  const pask_vector_handle plain = make(0, by_tens, {11, 25, 21});
  s_compared.clear();
  EXPECT_EQ(pask_vector_find(plain, 21, &index), 0u);
  EXPECT_EQ(s_compared, (pairs{{11, 21}, {25, 21}}));
  s_compared.clear();
  EXPECT_EQ(pask_vector_find(plain, 11, nullptr), 0u);  // identical: not compared
  EXPECT_EQ(s_compared, pairs{});

  const pask_vector_handle sorted = make(PASK_VECTOR_SORTED, by_tens, {11, 21, 22, 23, 31});
  s_compared.clear();
  EXPECT_EQ(_pask_vector_upper_bound(sorted, 29, &index), 0u);
  EXPECT_EQ(index, 4u);
  EXPECT_EQ(s_compared, (pairs{{29, 22}, {29, 23}, {29, 31}}));
  s_compared.clear();
  EXPECT_EQ(_pask_vector_lower_bound(sorted, 5, &index), 0x100d0003u);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(s_compared, (pairs{{5, 22}, {5, 11}}));
  s_compared.clear();
  EXPECT_EQ(pask_vector_find_literal(sorted, 29, &index), 0x100d0003u);  // equal ones are there, it isn't
  EXPECT_EQ(s_compared, (pairs{{29, 22}, {29, 11}, {29, 21}, {22, 29}, {23, 29}, {31, 29}}));
}

TEST_F(Vector, ReleasesWhatItOwnsAndNoZero) {
  const pask_vector_handle vector = make(PASK_VECTOR_THREADSAFE, nullptr, {1, 0, 3, 4});
  EXPECT_EQ(pask_vector_deleteindex(vector, 1), 0u);
  EXPECT_EQ(pask_vector_removeindex(vector, 0, nullptr), 0u);
  EXPECT_EQ(s_released, values{});
  pask_vector_handle copy = nullptr;
  ASSERT_EQ(pask_vector_copy(vector, nullptr, &copy), 0u);
  EXPECT_EQ(items_of(kept(copy)), (values{3, 4}));
  EXPECT_EQ(pask_vector_clear(copy), 0u);
  EXPECT_EQ(s_released, values{});
  EXPECT_EQ(pask_vector_clear(vector), 0u);
  EXPECT_EQ(s_released, (values{3, 4}));
  EXPECT_EQ(of(vector)->capacity, 16u);
  EXPECT_EQ(values(of(vector)->items, of(vector)->items + 16), values(16, 0));
}

TEST_F(Vector, SplitsAndMovesTheElements) {
  const pask_vector_handle vector = make(PASK_VECTOR_SORTED, by_tens, {10, 20, 30, 40});
  pask_vector_handle tail = nullptr;
  EXPECT_EQ(pask_vector_split(vector, 4, &tail), 0x100d0361u);
  EXPECT_EQ(tail, nullptr);
  ASSERT_EQ(pask_vector_split(vector, 3, &tail), 0u);
  EXPECT_EQ(items_of(kept(tail)), values{40});
  EXPECT_TRUE(is_sorted(tail));
  EXPECT_EQ(of(vector)->capacity, 3u);
  ASSERT_EQ(pask_vector_split(vector, 0, &tail), 0u);
  EXPECT_EQ(items_of(kept(tail)), (values{10, 20, 30}));
  EXPECT_EQ(of(vector)->capacity, 16u);
  EXPECT_EQ(pask_vector_add(vector, 5), 0u);
  EXPECT_EQ(s_released, values{});
}

struct visits {
  pask_vector_handle vector;
  values seen;
  uintptr_t last;
};

// Takes the first element away at each visit, from inside the walk, and ends at `last`.
uint8_t take_first(void* context, uintptr_t value) {
  auto* v = static_cast<visits*>(context);
  v->seen.push_back(value);
  EXPECT_EQ(pask_vector_removeindex(v->vector, 0, nullptr), 0u);
  return value != v->last;
}

TEST_F(Vector, WalkReadsTheCountAfreshAndStops) {
  visits v = {make(PASK_VECTOR_THREADSAFE, nullptr, {1, 2, 3, 4, 5}), {}, 0};
  EXPECT_EQ(pask_vector_foreach(v.vector, take_first, &v), 0u);
  EXPECT_EQ(v.seen, (values{1, 3, 5}));
  v = {make(PASK_VECTOR_THREADSAFE, nullptr, {1, 2, 3, 4, 5}), {}, 3};
  EXPECT_EQ(pask_vector_foreach(v.vector, take_first, &v), 0x100d01a0u);
  EXPECT_EQ(v.seen, (values{1, 3}));
}

TEST_F(Vector, LockLetsThreadsAddAtOnceAndIsFreeWhenAnElementIsReleased) {
  static pask_vector_handle s_vector;
  static bool s_entered;
  ASSERT_EQ(
      pask_vector_create(&s_vector, PASK_VECTOR_THREADSAFE, nullptr,
                         [](uintptr_t) { std::thread([] { s_entered = pask_vector_clear(s_vector) == 0; }).join(); }),
      0u);
  kept(s_vector);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (uintptr_t i = 0; i < 2000; ++i) pask_vector_add(s_vector, 0);
    });
  for (std::thread& thread : threads) thread.join();
  uint32_t count = 0;
  EXPECT_EQ(pask_vector_count(s_vector, &count), 0u);
  EXPECT_EQ(count, 8000u);
  EXPECT_EQ(pask_vector_insert(s_vector, 0, 1), 0u);
  EXPECT_EQ(pask_vector_deleteindex(s_vector, 0), 0u);
  EXPECT_TRUE(s_entered);
}

// Each operation with a bad handle: the status word, told once.
TEST_F(Vector, RefusesNullAndForeignHandles) {
  uint8_t room[128] = {1};
  const auto foreign = reinterpret_cast<pask_vector_handle>(room);
  static uintptr_t s_value;
  static uint32_t s_count;
  static pask_vector_handle s_out;
  struct operation {
    pask_status (*call)(pask_vector_handle);
    pask_status null;
    pask_status bad;
  };
  const operation operations[] = {
      {pask_vector_delete, 0, 0x900d0320},
      {[](pask_vector_handle v) { return pask_vector_add(v, 1); }, 0x900d0001, 0x900d0320},
      {[](pask_vector_handle v) { return pask_vector_insert(v, 0, 1); }, 0x900d0001, 0x900d0320},
      {[](pask_vector_handle v) { return pask_vector_set_min_size(v, 1); }, 0x900d0001, 0x900d0320},
      {[](pask_vector_handle v) { return pask_vector_getindex(v, 0, &s_value); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_removeindex(v, 0, &s_value); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_deleteindex(v, 0); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_swapindex(v, 0, 0); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_count(v, &s_count); }, 0, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_sort(v, by_tens, 1); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_foreach(v, take_first, nullptr); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_find(v, 1, &s_count); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_find_literal(v, 1, &s_count); }, 0x900d0001, 0x900d0321},
      {pask_vector_clear, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_copy(v, nullptr, &s_out); }, 0x900d0001, 0x900d0321},
      {[](pask_vector_handle v) { return pask_vector_split(v, 0, &s_out); }, 0x900d0001, 0x900d0321},
  };
  report_log log;
  for (const operation& op : operations) {
    SCOPED_TRACE(&op - operations);
    s_count = 9;
    EXPECT_EQ(op.call(nullptr), op.null);
    EXPECT_EQ(log.taken(), op.null ? std::vector<std::string>{"pask_vector 900d0001"} : std::vector<std::string>{});
    EXPECT_EQ(op.call(foreign), op.bad);
    EXPECT_EQ(log.taken().size(), 1u);
    EXPECT_EQ(s_count, op.call == operations[8].call ? 0u : 9u);
  }
  const pask_vector_handle vector = make(0, nullptr, {1});
  EXPECT_EQ(pask_vector_getindex(vector, 0, nullptr), 0x900d0001u);
  EXPECT_EQ(pask_vector_count(nullptr, nullptr), 0x900d0001u);
  EXPECT_EQ(pask_vector_foreach(vector, nullptr, nullptr), 0x900d0001u);
  EXPECT_EQ(pask_vector_copy(vector, nullptr, nullptr), 0x900d0001u);
  EXPECT_EQ(pask_vector_split(vector, 0, nullptr), 0x900d0001u);
  EXPECT_EQ(log.taken().size(), 5u);
}

TEST(VectorUnstarted, CreateRefusesUnreported) {
  report_log log;
  pask_vector_handle vector = nullptr;
  EXPECT_EQ(pask_vector_create(&vector, 0, nullptr, nullptr), 0x900d0007u);
  EXPECT_EQ(vector, nullptr);
  EXPECT_TRUE(log.taken().empty());
}

// A failure is told by each function that makes it or hands it on.
TEST_F(Vector, RefusedMemoryLeavesItAsItWasAndIsToldAtEachLevel) {
  static pask_vector_handle s_vector, s_out;
  struct refusal {
    uint32_t granted;
    pask_status (*call)();
    pask_status word;
    size_t levels;
    values left;
  };
  const values full(16, 5);
  const refusal refusals[] = {
      {0, [] { return pask_vector_create(&s_out, 1, nullptr, nullptr); }, 0x900d0002, 2, full},
      {1, [] { return pask_vector_create(&s_out, 1, nullptr, nullptr); }, 0x90020002, 2, full},
      {0, [] { return pask_vector_add(s_vector, 6); }, 0x900d0002, 3, full},
      {0, [] { return pask_vector_insert(s_vector, 0, 6); }, 0x900d0002, 3, full},
      {0, [] { return pask_vector_set_min_size(s_vector, 17); }, 0x900d0002, 2, full},
      {0, [] { return pask_vector_copy(s_vector, release, &s_out); }, 0x900d0002, 2, full},
      {1, [] { return pask_vector_copy(s_vector, release, &s_out); }, 0x90020002, 2, full},
      {2, [] { return pask_vector_copy(s_vector, release, &s_out); }, 0x900d0002, 2, full},
      {2, [] { return pask_vector_split(s_vector, 4, &s_out); }, 0x900d0002, 2, full},
      {3, [] { return pask_vector_split(s_vector, 4, &s_out); }, 0x900d0002, 1, values(4, 5)},
  };
  s_vector = make(PASK_VECTOR_THREADSAFE, nullptr, full);
  report_log log;
  for (const refusal& r : refusals) {
    SCOPED_TRACE(&r - refusals);
    s_released.clear();
    const int64_t blocks = velox_standin_memory_live_blocks();
    velox_standin_memory_refuse(r.granted, 0);
    EXPECT_EQ(r.call(), r.word);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    EXPECT_EQ(log.taken().size(), r.levels);
    EXPECT_EQ(items_of(s_vector), r.left);
    EXPECT_EQ(s_released.size(), 16 - r.left.size());
    EXPECT_EQ(s_out, nullptr);
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);
  }
  const pask_vector_handle sorted = make(PASK_VECTOR_SORTED);
  EXPECT_EQ(pask_vector_add(sorted, 0), 0x900d0001u);
  EXPECT_EQ(pask_vector_find(sorted, 0, nullptr), 0x900d0001u);
  EXPECT_EQ(log.taken().size(), 4u);
}

}  // namespace
