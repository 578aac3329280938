// The hash table against a plain model, with and without its lock; growth as told by the allocations; who releases what and
// when; refused memory; readers and writers at once.
#include <gtest/gtest.h>
#include <velox/pask_hashtable.h>
#include <velox/pask_modules.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, NO_MEMORY = 0x900d0002, EXISTS = 0x900d0368,
                      INVALID = 0x900d0001, NO_TABLE = 0x900d0321;

std::atomic<int> s_reports;
std::vector<std::string> s_freed;

void count_report(int32_t, const char* label, uint32_t, uint32_t, const char*, ...) {
  EXPECT_STREQ(label, "pask_hashtable");
  ++s_reports;
}

void note_free(void* data, uint32_t size) { s_freed.emplace_back(static_cast<char*>(data), size); }

std::string upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return text;
}

struct HashTable : testing::Test {
  void SetUp() override {
    ASSERT_EQ(pask_datatypes_initialize(), 0u);
    velox_standin_log_set(count_report);
    velox_standin_log_enable(0x0d, PASK_LOG_ERROR);
    s_freed.clear();
    s_reports = 0;
    live_ = velox_standin_memory_live_blocks();
  }
  void TearDown() override {
    EXPECT_EQ(pask_hashtable_delete(table), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), live_) << "leak";
    velox_standin_log_set(nullptr);
    pask_datatypes_shutdown();
  }

  void make(uint32_t flags) { ASSERT_EQ(pask_hashtable_create(&table, flags, note_free), 0u); }
  pask_status add(const std::string& key, const std::string& value, uint8_t copy = 1) {
    return pask_hashtable_value_add(table, key.c_str(), value.empty() ? nullptr : value.data(),
                                    static_cast<uint32_t>(value.size()), copy);
  }
  pask_status update(const char* key, uint32_t index, const std::string& value) {
    return pask_hashtable_value_update_ex(table, key, index, value.data(), static_cast<uint32_t>(value.size()), 1);
  }
  // The bytes in the table, or null.
  const char* find(const char* key, uint32_t index = 0) {
    const void* data = nullptr;
    uint32_t size = 0;
    return pask_hashtable_value_find_ex(table, key, index, &data, &size) == 0 ? static_cast<const char*>(data)
                                                                              : nullptr;
  }
  // All entries in order, as "key=value".
  static std::vector<std::string> entries(pask_hashtable_handle of) {
    std::vector<std::string> all;
    const char* key;
    const void* data;
    uint32_t size;
    while (pask_hashtable_index_get(of, static_cast<uint32_t>(all.size()), &key, &data, &size) == 0)
      all.push_back(std::string(key) + "=" + std::string(static_cast<const char*>(data), size));
    return all;
  }
  // Runs an operation whose n-th allocation is refused; how many levels reported it.
  int refused(uint32_t n, const std::function<void()>& operation) {
    s_reports = 0;
    velox_standin_memory_refuse(n, 0);
    operation();
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    return s_reports;
  }

  pask_hashtable_handle table = nullptr;

 private:
  int64_t live_ = 0;
};

// ---- Against a model

struct Agrees : HashTable, testing::WithParamInterface<uint32_t> {};

// The model is the flat sequence itself, in which the values of a key lie together.
TEST_P(Agrees, WithAModelUnderRandomOperations) {
  const uint32_t flags = GetParam();
  const uint32_t seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto below = [&](size_t n) { return static_cast<uint32_t>(random() % n); };
  // Keys of every length around a word, and of both cases; borrowed ones need them to stay.
  std::vector<std::string> names;
  for (uint32_t i = 0; i < 60; ++i) names.push_back(std::string(i % 19, "xX\xe9z"[i % 4]) + std::to_string(i / 2));
  for (uint32_t i = 0; i < 30; ++i) names.push_back(upper(names[i]));

  make(flags);
  std::vector<std::pair<std::string, std::string>> model;
  size_t placed = 0;
  const auto matches = [&](pask_hashtable_handle of) {
    std::vector<std::string> all;
    for (const auto& [key, value] : model) all.push_back(key + "=" + value);
    return entries(of) == all;
  };
  for (int step = 0; step < 6000; ++step) {
    const std::string& name = names[below(names.size())];
    const std::string value = std::to_string(step);
    const auto same = [&](const auto& entry) {
      return flags & PASK_HASHTABLE_CASE_SENSITIVE ? entry.first == name : upper(entry.first) == upper(name);
    };
    const auto first = std::find_if(model.begin(), model.end(), same);
    const auto end = std::find_if_not(first, model.end(), same);
    const uint32_t index = below(3);
    const uint32_t values = static_cast<uint32_t>(end - first);
    const bool has = index < values;
    switch (below(12)) {
      case 0:
        EXPECT_EQ(update(name.c_str(), index, value), has ? 0u : NOT_FOUND);
        if (has) first[index].second = value, ++placed;
        break;
      case 1:
        EXPECT_EQ(pask_hashtable_value_remove_ex(table, name.c_str(), index, nullptr, nullptr), has ? 0u : NOT_FOUND);
        if (has) model.erase(first + index);
        break;
      case 2:
        EXPECT_EQ(pask_hashtable_value_delete(table, name.c_str()), first != end ? 0u : NOT_FOUND);
        model.erase(first, end);
        break;
      case 3: {
        const uint32_t flat = below(model.size() + 1);
        EXPECT_EQ(pask_hashtable_index_remove(table, flat), flat < model.size() ? 0u : PAST_END);
        if (flat < model.size()) model.erase(model.begin() + flat);
        break;
      }
      case 4: {
        uint32_t count = 77;
        EXPECT_EQ(find(name.c_str(), index) != nullptr, has);
        EXPECT_EQ(pask_hashtable_value_count(table, name.c_str(), &count), 0u);
        EXPECT_EQ(count, values == 0 ? 77 : values);
        break;
      }
      case 5: {
        const char* key = "";
        const uint32_t flat = below(model.size() + 1);
        EXPECT_EQ(pask_hashtable_index_get(table, flat, &key, nullptr, nullptr), flat < model.size() ? 0u : PAST_END);
        EXPECT_EQ(key, flat < model.size() ? model[flat].first : "");
        break;
      }
      default: {
        const bool refused = first != end && flags & PASK_HASHTABLE_UNIQUE_KEYS;
        EXPECT_EQ(add(name, value), refused ? EXISTS : 0u);
        if (refused) break;
        ++placed;
        if (first == end || flags & PASK_HASHTABLE_MULTI_VALUE)
          model.insert(end, {first == end ? name : first->first, value});
        else
          first->second = value;
      }
    }
    if (step % 1500 == 1000) pask_hashtable_clear(table), model.clear();
    if (step % 100 == 0) {
      pask_hashtable_handle copy = nullptr;
      ASSERT_EQ(pask_hashtable_copy(table, &copy), 0u);
      ASSERT_TRUE(matches(table) && matches(copy) && !HasFailure()) << "step " << step;
      placed += model.size();
      pask_hashtable_delete(copy);
    }
  }
  pask_hashtable_delete(table);
  table = nullptr;
  EXPECT_EQ(s_freed.size(), placed) << "each value is released once";
}

INSTANTIATE_TEST_SUITE_P(Flags, Agrees, testing::Values(0u, 0x1u, 0x10u, 0x20u, 0x40u, 0x41u, 0x60u, 0x81u, 0x141u));

// ---- Growth

// Each add is foreseen: one allocation, and another when the estimate from djb2 says that the buckets are full.
TEST_F(HashTable, GrowsByOccupiedBucketsAndCollisions) {
  for (const uint32_t flags : {0u, PASK_HASHTABLE_CASE_SENSITIVE}) {
    make(flags);
    std::vector<uint32_t> hashes;
    std::set<uint32_t> used;
    uint32_t buckets = 0, collisions = 0, resizes = 0;
    for (uint32_t n = 0; n < 3000; ++n) {
      const std::string key = (n % 3 ? "velox_Option_" : "") + std::to_string(n * 7919) + (n % 2 ? "\xc3\xa9nd" : "");
      uint32_t hash = 5381;
      for (const char c : flags ? key : upper(key)) hash = hash * 33 + static_cast<uint8_t>(c);
      if (buckets && used.count(hash % buckets)) ++collisions;
      const uint32_t estimate = (static_cast<uint32_t>(used.size()) + collisions) * 4 / 3;
      const bool grows = buckets <= estimate;
      if (grows) {
        for (buckets = 16; buckets <= estimate;) buckets *= 2;
        used.clear();
        for (const uint32_t h : hashes) used.insert(h % buckets);
        collisions = 0;
        ++resizes;
      }
      hashes.push_back(hash);
      used.insert(hash % buckets);
      const uint64_t before = velox_standin_memory_allocations();
      ASSERT_EQ(add(key, "v"), 0u);
      ASSERT_EQ(velox_standin_memory_allocations() - before, grows ? 2u : 1u) << "key " << n;
    }
    EXPECT_GT(resizes, 5u);
    pask_hashtable_delete(table);
    table = nullptr;
  }
}

// ---- Release

TEST_F(HashTable, ReplacedValuesLiveAsTheFlagsSay) {
  struct row {
    uint32_t flags;
    bool read, retired;
  };
  for (const row& r : {row{0, true, false}, row{0x1, true, true}, row{0x1, false, false}, row{0x81, true, false}}) {
    SCOPED_TRACE(testing::Message() << std::hex << r.flags << (r.read ? " read" : ""));
    s_freed.clear();
    make(r.flags);
    for (int round = 0; round < 2; ++round) {  // clear collects retired values afresh
      ASSERT_EQ(add("k", "old"), 0u);
      const char* old = r.read ? find("k") : nullptr;
      ASSERT_EQ(add("k", "new"), 0u);
      EXPECT_EQ(s_freed.size(), r.retired ? 0u : 1u);
      EXPECT_TRUE(!r.retired || std::string(old, 3) == "old");
      EXPECT_EQ(pask_hashtable_clear(table), 0u);
      EXPECT_EQ(s_freed, (std::vector<std::string>{"old", "new"})) << "retired values go first";
      s_freed.clear();
    }
    pask_hashtable_delete(table);
    table = nullptr;
  }
}

TEST_F(HashTable, ARetiredValueOutlivesItsKey) {
  make(PASK_HASHTABLE_THREADSAFE);
  const std::function<pask_status()> ends[] = {
      [&] { return pask_hashtable_value_delete(table, "k"); },
      [&] { return pask_hashtable_value_remove_ex(table, "k", 0, nullptr, nullptr); },
      [&] { return pask_hashtable_index_remove(table, 0); }};
  for (const auto& end : ends) {
    s_freed.clear();
    ASSERT_EQ(add("k", "first"), 0u);
    const char* first = find("k");
    ASSERT_EQ(add("k", "second"), 0u);
    const char* second = find("k");
    ASSERT_EQ(update("k", 0, "third"), 0u);
    ASSERT_EQ(end(), 0u);
    EXPECT_EQ(s_freed, std::vector<std::string>{"third"});
    EXPECT_EQ(std::string(first, 5) + std::string(second, 6), "firstsecond");
  }
  s_freed.clear();
  EXPECT_EQ(pask_hashtable_clear(table), 0u);
  EXPECT_EQ(s_freed.size(), 6u);
}

TEST_F(HashTable, RemovedValuesGoToTheirOwner) {
  make(PASK_HASHTABLE_MULTI_VALUE);
  const std::string borrowed = "borrowed";
  ASSERT_EQ(add("k", "copied") | add("k", borrowed, 0) | add("k", "") | add("k", borrowed, 0), 0u);
  for (void* const expected : {static_cast<void*>(nullptr), static_cast<void*>(const_cast<char*>(borrowed.data()))}) {
    void* data = &data;
    uint32_t size = 7;
    EXPECT_EQ(pask_hashtable_value_remove_ex(table, "K", 0, &data, &size), 0u);
    EXPECT_EQ(data, expected);
    EXPECT_EQ(size, expected ? 8u : 0u);
  }
  EXPECT_EQ(s_freed, std::vector<std::string>{"copied"});
  EXPECT_EQ(pask_hashtable_index_remove(table, 0) | pask_hashtable_index_remove(table, 0), 0u);
  EXPECT_EQ(s_freed, (std::vector<std::string>{"copied", "borrowed"})) << "an empty value holds nothing";
  EXPECT_EQ(pask_hashtable_value_delete(table, "k"), NOT_FOUND);
}

// ---- Failures

TEST_F(HashTable, ReportsEachFailureOnce) {
  make(PASK_HASHTABLE_UNIQUE_KEYS);
  ASSERT_EQ(add("k", "v"), 0u);
  uint32_t stranger[64] = {};
  auto* const other = reinterpret_cast<pask_hashtable_handle>(stranger);
  const pask_status words[][2] = {{pask_hashtable_value_add(table, "a", "b", 0, 1), INVALID},
                                  {pask_hashtable_value_add(table, "a", nullptr, 1, 1), INVALID},
                                  {pask_hashtable_value_update_ex(table, "k", 0, "b", 0, 1), INVALID},
                                  {pask_hashtable_value_find_ex(table, nullptr, 0, nullptr, nullptr), INVALID},
                                  {pask_hashtable_copy(table, nullptr), INVALID},
                                  {pask_hashtable_delete(other), NO_TABLE},
                                  {add("K", "v"), EXISTS}};
  for (const auto& word : words) EXPECT_EQ(word[0], word[1]) << "row " << &word - words;
  EXPECT_EQ(s_reports, static_cast<int>(std::size(words)));
  EXPECT_EQ(pask_hashtable_value_find_ex(nullptr, nullptr, 0, nullptr, nullptr), NOT_FOUND);
  EXPECT_EQ(pask_hashtable_index_get(table, 1, nullptr, nullptr, nullptr), PAST_END);
  EXPECT_EQ(s_reports, static_cast<int>(std::size(words))) << "information isn't reported";
}

TEST_F(HashTable, RefusedMemoryLeavesTheCallersDataAlone) {
  make(PASK_HASHTABLE_THREADSAFE);
  EXPECT_EQ(refused(0, [&] { EXPECT_EQ(add("k", "v", 0), NO_MEMORY); }), 2);  // the item
  EXPECT_EQ(refused(1, [&] { EXPECT_EQ(add("k", "v", 0), NO_MEMORY); }), 2);  // the buckets
  EXPECT_TRUE(s_freed.empty());
  ASSERT_EQ(add("k", "old"), 0u);
  EXPECT_NE(find("k"), nullptr);
  EXPECT_EQ(refused(1, [&] { EXPECT_EQ(add("k", "new"), NO_MEMORY); }), 3);  // the list of retired values
  EXPECT_EQ(s_freed, std::vector<std::string>{"old"});
  EXPECT_EQ(std::string(find("k"), 3), "new");
  pask_hashtable_delete(table);

  make(PASK_HASHTABLE_MULTI_VALUE);
  s_freed.clear();
  ASSERT_EQ(add("a", "1") | add("b", "2") | add("b", "3") | add("b", "4"), 0u);
  EXPECT_EQ(refused(1, [&] { EXPECT_EQ(add("a", "5", 0), NO_MEMORY); }), 2);  // the array of a second value
  EXPECT_TRUE(s_freed.empty());
  pask_hashtable_handle copy = nullptr;
  for (uint32_t n = 0; n < 8; ++n)
    EXPECT_EQ(refused(n, [&] { EXPECT_EQ(pask_hashtable_copy(table, &copy), NO_MEMORY); }), 2) << n;
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(entries(table), (std::vector<std::string>{"a=1", "b=2", "b=3", "b=4"}));
}

// ---- Threads

std::atomic<uint32_t> s_releases;

// Readers hold what they have read until they meet at the end; writers replace, remove and add the same keys.
TEST_F(HashTable, ReadersKeepWhatWritersReplace) {
  ASSERT_EQ(pask_hashtable_create(&table, PASK_HASHTABLE_THREADSAFE, [](void*, uint32_t) { ++s_releases; }), 0u);
  s_releases = 0;
  const std::vector<std::string> stable = {"a", "b", "c"};
  for (const auto& key : stable) ASSERT_EQ(add(key, key + "0"), 0u);
  std::atomic<uint32_t> placed{3};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(add(stable[static_cast<size_t>(i % 3)], stable[static_cast<size_t>(i % 3)] + std::to_string(i)), 0u);
        ASSERT_EQ(add("fleeting", "value"), 0u);
        placed += 2;
        if (i % 2) pask_hashtable_value_remove_ex(table, "fleeting", 0, nullptr, nullptr);
        if (i % 5 == 0) pask_hashtable_value_delete(table, "fleeting");
      }
    });
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      std::vector<const char*> held;
      for (int i = 0; i < 3000; ++i) held.push_back(find(stable[static_cast<size_t>(i % 3)].c_str()));
      for (size_t i = 0; i < held.size(); ++i) ASSERT_EQ(held[i][0], stable[i % 3][0]);
      uint32_t values = 0;
      ASSERT_EQ(pask_hashtable_value_count(table, "a", &values), 0u);
      ASSERT_EQ(values, 1u);
    });
  for (auto& thread : threads) thread.join();
  pask_hashtable_delete(table);
  table = nullptr;
  EXPECT_EQ(s_releases, placed);
}

}  // namespace
