// The vector of records against a plain model, and its promised comparisons, releases, blocks and report counts.
#include <gtest/gtest.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread.h>
#include <velox/pask_vector2.h>
#include <velox/velox_manager.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "held_lock.h"
#include "random.h"
#include "report_log.h"

static int s_byte_comparisons;

// In place of the memory service's own.
int32_t pask_memory_memcmp(const void* a, const void* b, uint32_t size) {
  ++s_byte_comparisons;
  return std::memcmp(a, b, size);
}

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, INVALID = 0x900d0001, NO_MEMORY = 0x900d0002,
                      WRONG_SIZE = 0x900d0209, NO_LOCK = 0x90020002;
constexpr uint32_t SORTED = PASK_VECTOR2_SORTED, UNIQUE = PASK_VECTOR2_UNIQUE, LOCKED = PASK_VECTOR2_THREADSAFE;

using values = std::vector<uint32_t>;
using vector2 = pask_vector2_handle;

// The record's fields, in their promised order.
struct record {
  uint32_t magic;
  pask_critsec_handle lock;
  uint32_t* buffer;
  uint32_t capacity, element_size, count;
  uint8_t owns_buffer;
  uint32_t flags;
};
const record* of(vector2 vector) { return reinterpret_cast<const record*>(vector); }

// An element is one number, in as many words as it has.
values items_of(vector2 vector) {
  values all;
  const uint32_t words = of(vector)->element_size / 4;
  for (const uint32_t* at = of(vector)->buffer; all.size() < of(vector)->count; at += words) {
    EXPECT_EQ(at[0], at[words - 1]);
    all.push_back(*at);
  }
  return all;
}

values s_released, s_compared;
vector2 s_vector, s_out;
uint32_t s_number = 6;
std::function<void()> s_change;  // done by the callback that ends the countdown
size_t s_countdown;
void count_down() {
  if (s_countdown != 0 && --s_countdown == 0) s_change();
}
void release(void* at) {
  s_released.push_back(*static_cast<uint32_t*>(at));
  count_down();
}

// Orders by tens: 21 and 25 are equal, yet not identical.
int32_t by_tens(const void* a, const void* b) {
  s_compared.push_back(*static_cast<const uint32_t*>(b));
  const auto tens = static_cast<int32_t>(*static_cast<const uint32_t*>(a) / 10);
  const int32_t order = tens - static_cast<int32_t>(s_compared.back() / 10);
  count_down();
  return order;
}
bool less(uint32_t a, uint32_t b) { return a / 10 < b / 10; }

class Vector2 : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pask_datatypes_initialize(), 0u); }
  void TearDown() override {
    for (const vector2 vector : made_) EXPECT_EQ(pask_vector2_delete(vector), 0u);
    EXPECT_EQ(pask_datatypes_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
    s_released.clear();
  }
  vector2 make(uint32_t flags = 0, const values& initial = {}, uint32_t size = 4) {
    EXPECT_EQ(pask_vector2_create(&made_.emplace_back(), size, flags, by_tens, release), 0u);
    for (const uint32_t value : initial) EXPECT_EQ(pask_vector2_add(made_.back(), &value, size, nullptr), 0u);
    return made_.back();
  }
  std::vector<vector2> made_;
};

TEST_F(Vector2, FollowsAPlainModel) {
  TEST_RANDOM(engine, std::minstd_rand);
  const auto random = [&](size_t below) { return static_cast<uint32_t>(engine() % below); };
  for (const uint32_t flags : {0u, SORTED, UNIQUE, SORTED | UNIQUE | LOCKED}) {
    const uint32_t size = 4 + 4 * (flags / 16);
    const vector2 vector = make(flags, {}, size);
    values model;
    for (int step = 0; step < 4000; ++step) {
      const values element(4, 1 + random(300));
      const uint32_t value = element[0], count = static_cast<uint32_t>(model.size()), at = random(count + 1);
      const bool sorted = (of(vector)->flags & SORTED) != 0;
      const auto same = std::find_if(model.begin(), model.end(), [&](uint32_t v) { return v / 10 == value / 10; });
      const uint32_t first = same == model.end() ? NOT_FOUND : static_cast<uint32_t>(same - model.begin());
      uint32_t index = NOT_FOUND;
      values gone;
      s_released.clear();
      switch (random(40) / 9) {  // the last is rare, since it breaks or mends the order
        case 0:
        case 1: {
          const bool replaces = flags & UNIQUE && first != NOT_FOUND;
          if (replaces) gone = {std::exchange(*same, value)};
          const auto end = flags & UNIQUE ? model.begin() : model.end();
          const auto place = sorted ? std::upper_bound(model.begin(), model.end(), value, less) : end;
          ASSERT_EQ(pask_vector2_add(vector, element.data(), size, &index), 0u);
          ASSERT_EQ(index, replaces ? first : place - model.begin());
          if (!replaces) model.insert(place, value);
          break;
        }
        case 2: {
          const uint32_t last = at + random(3), end = std::min(last + 1, count);
          ASSERT_EQ(last == at ? pask_vector2_deleteindex(vector, at) : pask_vector2_deleterange(vector, at, last),
                    at < count ? 0u : PAST_END);
          gone.assign(model.begin() + at, model.begin() + end);
          model.erase(model.begin() + at, model.begin() + end);
          break;
        }
        case 3: {
          const uint32_t hint = random(3) ? at : UINT32_MAX;
          ASSERT_EQ(pask_vector2_hintfind(vector, hint, element.data(), &index), first == NOT_FOUND ? first : 0);
          ASSERT_EQ(sorted || hint >= count || index == NOT_FOUND ? index : first, first);
          break;
        }
        default:
          ASSERT_EQ(pask_vector2_insert(vector, at < count ? at : at + 7, element.data(), size), 0u);
          model.insert(model.begin() + at, value);
          ASSERT_EQ(of(vector)->flags & SORTED, sorted && std::ranges::is_sorted(model, less) ? SORTED : 0);
          if (random(2)) break;
          ASSERT_EQ(pask_vector2_sort(vector, by_tens, 0), 0u);
          ASSERT_TRUE(std::ranges::is_permutation(items_of(vector), model));
          ASSERT_TRUE(std::ranges::is_sorted(model = items_of(vector), less));
      }
      ASSERT_EQ(items_of(vector), model) << "step " << step;
      ASSERT_EQ(s_released, gone);
    }
  }
}

TEST_F(Vector2, ResizesInThePromisedSteps) {
  const vector2 vector = make();
  values capacities = {0};
  for (uint32_t i = 0; i < 160; ++i) {
    EXPECT_EQ(pask_vector2_add(vector, &i, 4, nullptr), 0u);
    if (capacities.back() != of(vector)->capacity) capacities.push_back(of(vector)->capacity);
  }
  EXPECT_EQ(capacities, (values{0, 16, 27, 42, 66, 102, 156, 237}));
  EXPECT_EQ(pask_vector2_deleterange(vector, 3, UINT32_MAX) | pask_vector2_deleterange(vector, 2, 1), 0u);
  for (const auto& [asked, result, word] :
       {std::tuple{2u, 237u, 0u}, {5u, 5u, 0u}, {0x40000001u, 5u, NO_MEMORY}, {9u, 9u, 0u}}) {
    EXPECT_EQ(pask_vector2_set_min_size(vector, asked), word);
    EXPECT_EQ(of(vector)->capacity, result);
  }
  ASSERT_EQ(pask_vector2_copy(vector, nullptr, &made_.emplace_back()), 0u);
  EXPECT_TRUE(items_of(made_.back()) == items_of(vector) && of(made_.back())->capacity == 3);
  EXPECT_EQ(pask_vector2_deleterange(vector, 0, 2) | pask_vector2_trim(vector), 0u);
  EXPECT_TRUE(of(vector)->capacity == 0 && of(vector)->buffer == nullptr);
}

TEST_F(Vector2, SearchesCompareInThePromisedOrder) {
  const values tens = {10, 20, 30, 40, 50, 60, 70, 80};
  const vector2 plain = make(0, tens), sorted = make(SORTED, tens);
  for (const auto& [vector, hint, value, expected, word] :
       {std::tuple{plain, 6u, 20u, values{70, 80, 10, 20}, 0u},
        {plain, 8u, 20u, {10, 20}, 0},
        {plain, 7u, 5u, {80, 10, 20, 30, 40, 50, 60, 70}, NOT_FOUND},
        {sorted, 8u, 25u, {40, 20, 10}, 0},
        {sorted, 1u, 59u, {20, 30, 50, 40}, 0},
        {sorted, 7u, 39u, {80, 70, 50, 20, 30}, 0},
        {sorted, 0u, 5u, {10, 10}, NOT_FOUND}}) {
    s_compared.clear();
    EXPECT_EQ(pask_vector2_hintfind(vector, hint, &value, nullptr), word);
    EXPECT_EQ(s_compared, expected);
  }
}

// Each callback of each operation in turn moves the array, cuts the vector or empties it: no further one sees what isn't there.
TEST_F(Vector2, CallbacksMayChangeIt) {
  values full;
  while (full.size() < 16) full.push_back(10 * static_cast<uint32_t>(1 + full.size()));
  struct row {
    const char* name;
    uint32_t flags;
    std::function<pask_status()> run;
  };
  static const uint32_t s_sought = 85;
  const row changes[] = {
      {"moves", 0, [] { return pask_vector2_set_min_size(s_vector, 50000); }},
      {"clears", 0, [] { return pask_vector2_clear(s_vector); }},
      {"cuts", 0, [] { return pask_vector2_deleterange(s_vector, 2, UINT32_MAX) | pask_vector2_trim(s_vector); }},
  };
  const row operations[] = {
      {"sort", SORTED, [] { return pask_vector2_sort(s_vector, by_tens, 1); }},
      {"add", SORTED, [] { return pask_vector2_add(s_vector, &s_sought, 4, nullptr); }},
      {"replace", SORTED | UNIQUE, [] { return pask_vector2_add(s_vector, &s_sought, 4, nullptr); }},
      {"insert", SORTED, [] { return pask_vector2_insert(s_vector, 8, &s_sought, 4); }},
      {"find", 0, [] { return pask_vector2_hintfind(s_vector, 12, &s_sought, nullptr) & ~NOT_FOUND; }},
      {"gallop up", SORTED, [] { return pask_vector2_hintfind(s_vector, 0, &s_sought, nullptr) & ~NOT_FOUND; }},
      {"gallop down", SORTED, [] { return pask_vector2_hintfind(s_vector, 15, &s_sought, nullptr) & ~NOT_FOUND; }},
      {"delete", 0, [] { return pask_vector2_deleterange(s_vector, 4, 9); }},
  };
  for (const row& operation : operations)
    for (const row& change : changes)
      for (size_t at = 1, changed = 1; changed != 0; ++at) {
        SCOPED_TRACE(testing::Message() << operation.name << ", callback " << at << " " << change.name);
        s_vector = make(operation.flags, full);
        EXPECT_EQ(operation.run(), 0u);
        const values undisturbed = items_of(s_vector);
        s_vector = make(operation.flags, full);
        s_compared.clear();
        changed = 0;
        s_change = [&] { changed += change.run() == 0; };
        s_countdown = at;
        EXPECT_EQ(operation.run(), 0u);
        s_countdown = 0;
        for (const uint32_t value : s_compared) EXPECT_TRUE(value >= 10 && value <= 160) << value;
        EXPECT_TRUE(of(s_vector)->capacity != 50000 || items_of(s_vector) == undisturbed);
        EXPECT_TRUE(&operation != operations ||
                    (of(s_vector)->flags & SORTED) == (of(s_vector)->count == 16 ? SORTED : 0));
      }
}

// A block of the caller's is changed in place until the array is resized.
TEST_F(Vector2, MovesFromABorrowedBlockWhenItResizesAndPassesAnOwnedOneOn) {
  const vector2 vector = make(SORTED, {7, 8});
  uint32_t block[4] = {40, 30, 20, 10};
  EXPECT_EQ(pask_vector2_attach(vector, block, 10, 4, 0, 1), WRONG_SIZE);
  EXPECT_EQ(items_of(vector), (values{7, 8}));
  // After one operation on a vector over the block: whether it still is, the capacity and the elements.
  EXPECT_EQ(pask_vector2_attach(vector, of(vector)->buffer, 8, 4, 1, 1), INVALID) << "its own";
  EXPECT_EQ(pask_vector2_attach(vector, of(vector)->buffer + 15, 4, 4, 0, 1), INVALID) << "a piece of its own";
  EXPECT_EQ(items_of(vector), (values{7, 8}));
  const auto after = [&](auto operation, const values& in_block, uint32_t capacity, const values& items) {
    EXPECT_EQ(pask_vector2_attach(vector, block, sizeof block, 4, 0, 0), 0u);
    EXPECT_EQ(of(vector)->flags & SORTED, 0u);
    EXPECT_EQ(operation(), 0u);
    EXPECT_EQ(of(vector)->buffer == block, capacity == 4 && !of(vector)->owns_buffer);
    EXPECT_EQ(of(vector)->capacity, capacity);
    EXPECT_EQ(items_of(vector), items);
    EXPECT_EQ(values(block, block + 4), in_block);
  };
  s_byte_comparisons = 0;
  after([=] { return pask_vector2_swapindex(vector, 3, 3) | pask_vector2_sort(vector, nullptr, 0); },  // by bytes
        {10, 20, 30, 40}, 4, {10, 20, 30, 40});
  EXPECT_GT(s_byte_comparisons, 0) << "bytes compare by the memory service";
  EXPECT_EQ(s_released, (values{7, 8}));
  after([=] { return pask_vector2_add(vector, &s_number, 4, nullptr); }, {10, 20, 30, 40}, 9, {10, 20, 30, 40, 6});
  after([=] { return pask_vector2_swapindex(vector, 0, 3); }, {10, 20, 30, 40}, 5, {40, 20, 30, 10});
  EXPECT_EQ(pask_vector2_swapindex(vector, 0, 4), PAST_END);
  after([=] { return pask_vector2_deleteindex(vector, 0) | pask_vector2_trim(vector); }, {20, 30, 40, 40}, 3,
        {20, 30, 40});
  void* buffer = block;
  uint32_t capacity = 0;
  s_released.clear();
  EXPECT_EQ(pask_vector2_detach(vector, &buffer, &capacity, nullptr), 0u);
  EXPECT_TRUE(s_released.empty() && capacity == 3 && of(vector)->capacity == 0);
  EXPECT_EQ(pask_vector2_attach(vector, buffer, 12, 4, 1, 0) | pask_vector2_clear(vector), 0u);
  EXPECT_EQ(s_released, (values{20, 30, 40}));
}

TEST_F(Vector2, EachOperationWaitsForTheLock) {
  const vector2 v = make(LOCKED, values(50, 7));
  void* at = nullptr;
  static uint32_t block[2];
  uint32_t count = 0;
  vector2 copy = nullptr;
  const auto go_on = [](void*, void*) -> uint8_t { return 1; };
  const std::vector<named_call> calls = {
      {"add", [&] { pask_vector2_add(v, &s_number, 4, nullptr); }},
      {"insert", [&] { pask_vector2_insert(v, 0, &s_number, 4); }},
      {"attach", [&] { pask_vector2_attach(v, block, 8, 4, 0, 0); }},
      {"detach", [&] { pask_vector2_detach(v, nullptr, nullptr, nullptr); }},
      {"get_buffer", [&] { pask_vector2_get_buffer(v, &at, nullptr, nullptr); }},
      {"set_min_size", [&] { pask_vector2_set_min_size(v, 99); }},
      {"getindex", [&] { pask_vector2_getindex(v, 0, &at); }},
      {"count", [&] { pask_vector2_count(v, &count); }},
      {"sort", [&] { pask_vector2_sort(v, nullptr, 0); }},
      {"foreach", [&] { pask_vector2_foreach(v, go_on, nullptr); }},
      {"swapindex", [&] { pask_vector2_swapindex(v, 0, 1); }},
      {"trim", [&] { pask_vector2_trim(v); }},
      {"find", [&] { pask_vector2_find(v, &s_number, nullptr); }},
      {"copy", [&] { pask_vector2_copy(v, nullptr, &copy); }},
      {"clear", [&] { pask_vector2_clear(v); }},
      {"deleteindex", [&] { pask_vector2_deleteindex(v, 0); }},
      {"deleterange", [&] { pask_vector2_deleterange(v, 0, 1); }},
  };
  EXPECT_EQ(pask_thread_critsec_enter(of(v)->lock), 0u);
  EXPECT_EQ(through_lock(calls, [&] { pask_thread_critsec_leave(of(v)->lock); }), "");
  made_.push_back(copy);
  EXPECT_EQ(pask_vector2_create(&s_out, 4, LOCKED, nullptr, nullptr), 0u);
  const pask_critsec_handle lock = of(s_out)->lock;
  EXPECT_EQ(pask_thread_critsec_enter(lock), 0u);
  EXPECT_EQ(through_lock({{"delete", [] { pask_vector2_delete(s_out); }}}, [=] { pask_thread_critsec_leave(lock); }),
            "");
  s_out = nullptr;
}

#define CALL(operation, ...) [](vector2 v) { return pask_vector2_##operation(v, __VA_ARGS__); }

// Each operation with a bad handle and without an argument: the status word, told once by each level.
TEST_F(Vector2, RefusesNullAndForeignHandles) {
  static void* s_at;
  static uint32_t s_count = 9;
  uint8_t room[128] = {1};
  report_log log;
  const auto refuse = [&](pask_status null, pask_status bad,
                          std::initializer_list<pask_status (*)(vector2)> operations) {
    for (const auto& operation : operations) {
      EXPECT_EQ(operation(nullptr), null) << &operation - operations.begin();
      EXPECT_EQ(operation(reinterpret_cast<vector2>(room)), bad) << &operation - operations.begin();
      EXPECT_EQ(log.taken().size(), null ? 2u : 1u);
    }
  };
  refuse(0, 0x900d0320, {pask_vector2_delete, CALL(set_min_size, 1)});
  refuse(INVALID, 0x900d0320,
         {CALL(add, &s_number, 4, nullptr), CALL(insert, 0, &s_number, 4), CALL(attach, &s_count, 4, 4, 0, 0),
          CALL(detach, &s_at, nullptr, nullptr), CALL(get_buffer, &s_at, nullptr, nullptr)});
  refuse(INVALID, 0x900d0321,
         {CALL(getindex, 0, &s_at), CALL(deleteindex, 0), CALL(deleterange, 0, 0), CALL(swapindex, 0, 0),
          CALL(sort, by_tens, 1), CALL(hintfind, 1, &s_number, &s_count), pask_vector2_trim, pask_vector2_clear,
          CALL(
              foreach, [](void*, void*) -> uint8_t { return 0; }, nullptr),
          CALL(copy, nullptr, &s_out)});
  refuse(0, 0x900d0321, {CALL(count, &s_count)});
  const vector2 vector = make(0, {1});
  EXPECT_EQ(pask_vector2_attach(vector, nullptr, 4, 4, 0, 0) | pask_vector2_find(vector, nullptr, nullptr), INVALID);
  EXPECT_EQ(log.taken(), std::vector<std::string>(3, "pask_vector2 900d0001"));  // the search is two levels
  EXPECT_EQ(pask_vector2_add(vector, &s_number, 3, nullptr) & pask_vector2_insert(vector, 0, &s_number, 5), WRONG_SIZE);
  EXPECT_EQ(items_of(vector), values{1});
}

TEST_F(Vector2, RefusedMemoryLeavesItAsItWasAndIsToldAtEachLevel) {
  const values full(16, 5);
  s_vector = make(LOCKED, full);
  report_log log;
  const auto refused = [&](uint32_t granted, size_t levels, pask_status (*call)()) {
    velox_standin_memory_refuse(granted, 0);
    EXPECT_EQ(call(), granted == 1 ? NO_LOCK : NO_MEMORY);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    EXPECT_EQ(log.taken().size(), levels);
    EXPECT_TRUE(items_of(s_vector) == full && s_released.empty() && !s_out);
  };
  refused(1, 2, [] { return pask_vector2_create(&s_out, 4, LOCKED, nullptr, nullptr); });
  for (const uint32_t granted : {0u, 1u, 2u})
    refused(granted, 2, [] { return pask_vector2_copy(s_vector, release, &s_out); });
  refused(0, 3, [] { return pask_vector2_add(s_vector, &s_number, 4, nullptr); });
  refused(0, 2, [] { return pask_vector2_swapindex(s_vector, 0, 1); });
}

}  // namespace
