// The hash table against a plain model, with and without its lock; growth as told by the allocations; who releases what and
// when; reports; readers and writers at once.
#include <gtest/gtest.h>
#include <velox/pask_hashtable.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "held_lock.h"
#include "random.h"
#include "report_log.h"

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, NO_MEMORY = 0x900d0002, EXISTS = 0x900d0368,
                      INVALID = 0x900d0001, NO_TABLE = 0x900d0321;

using texts = std::vector<std::string>;

// The record's first fields, in their promised order.
struct record {
  uint32_t magic;
  pask_rwlock_handle lock;
};

std::mutex s_freeing;
texts s_freed;

void note_free(void* data, uint32_t size) {
  const std::lock_guard held(s_freeing);
  s_freed.emplace_back(static_cast<char*>(data), size);
}

std::string upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return text;
}

struct HashTable : testing::Test {
  void SetUp() override { ASSERT_EQ(pask_datatypes_initialize(), 0u); }
  void TearDown() override {
    EXPECT_EQ(pask_hashtable_delete(table), 0u);
    EXPECT_EQ(pask_datatypes_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0) << "leak";
  }

  // In place of the table that was.
  void make(uint32_t flags) {
    ASSERT_EQ(pask_hashtable_delete(table), 0u);
    ASSERT_EQ(pask_hashtable_create(&table, flags, note_free), 0u);
    s_freed.clear();
  }
  pask_status add(const std::string& key, const std::string& value, uint8_t copy = 1) {
    return pask_hashtable_value_add(table, key.c_str(), value.empty() ? nullptr : value.data(),
                                    static_cast<uint32_t>(value.size()), copy);
  }
  pask_status update(const std::string& key, uint32_t index, const std::string& value) {
    return pask_hashtable_value_update_ex(table, key.c_str(), index, value.data(), static_cast<uint32_t>(value.size()),
                                          1);
  }
  // The bytes in the table, or null.
  const char* find(const std::string& key, uint32_t index = 0) {
    const void* data = nullptr;
    pask_hashtable_value_find_ex(table, key.c_str(), index, &data, nullptr);
    return static_cast<const char*>(data);
  }
  // All entries in order, as "key=value".
  static texts entries(pask_hashtable_handle of) {
    texts all;
    const char* key;
    const void* data;
    uint32_t size;
    while (pask_hashtable_index_get(of, static_cast<uint32_t>(all.size()), &key, &data, &size) == 0)
      all.push_back(std::string(key) + "=" + std::string(static_cast<const char*>(data), size));
    return all;
  }

  pask_hashtable_handle table = nullptr;
};

// ---- Against a model

struct Agrees : HashTable, testing::WithParamInterface<uint32_t> {};

// The model is the flat sequence itself, in which the values of a key lie together.
TEST_P(Agrees, WithAModelUnderRandomOperations) {
  const uint32_t flags = GetParam();
  TEST_RANDOM(random, std::mt19937);
  const auto below = [&](size_t n) { return static_cast<uint32_t>(random() % n); };
  // Keys of every length around a word, and of both cases; borrowed ones need them to stay.
  texts names;
  for (uint32_t i = 0; i < 60; ++i) names.push_back(std::string(i % 19, "xX\xe9z"[i % 4]) + std::to_string(i / 2));
  for (uint32_t i = 0; i < 30; ++i) names.push_back(upper(names[i]));

  make(flags);
  std::vector<std::pair<std::string, std::string>> model;
  size_t placed = 0;
  for (int step = 0; step < 6000; ++step) {
    const std::string& name = names[below(names.size())];
    const std::string value = std::to_string(step);
    const auto same = [&](const auto& entry) {
      return flags & PASK_HASHTABLE_CASE_SENSITIVE ? entry.first == name : upper(entry.first) == upper(name);
    };
    const auto first = std::find_if(model.begin(), model.end(), same);
    const auto end = std::find_if_not(first, model.end(), same);
    const uint32_t index = below(3), flat = below(model.size() + 1), values = static_cast<uint32_t>(end - first);
    const bool has = index < values, in_range = flat < model.size();
    switch (below(12)) {
      case 0:
        EXPECT_EQ(update(name, index, value), has ? 0u : NOT_FOUND);
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
      case 3:
        EXPECT_EQ(pask_hashtable_index_remove(table, flat), in_range ? 0u : PAST_END);
        if (in_range) model.erase(model.begin() + flat);
        break;
      case 4: {
        uint32_t count = 77;
        EXPECT_EQ(find(name, index) != nullptr, has);
        EXPECT_EQ(pask_hashtable_value_count(table, name.c_str(), &count), 0u);
        EXPECT_EQ(count, values == 0 ? 77 : values);
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
      texts all;
      for (const auto& [key, bytes] : model) all.push_back(key + "=" + bytes);
      pask_hashtable_handle copy = nullptr;
      ASSERT_EQ(pask_hashtable_copy(table, &copy), 0u);
      ASSERT_TRUE(entries(table) == all && entries(copy) == all && !HasFailure()) << "step " << step;
      placed += model.size();
      pask_hashtable_delete(copy);
    }
  }
  pask_hashtable_delete(std::exchange(table, nullptr));
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
    uint32_t buckets = 0, collisions = 0;
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
      }
      hashes.push_back(hash);
      used.insert(hash % buckets);
      const uint64_t before = velox_standin_memory_allocations();
      ASSERT_EQ(add(key, "v"), 0u);
      ASSERT_EQ(velox_standin_memory_allocations() - before, grows ? 2u : 1u) << "key " << n;
    }
  }
}

// ---- Release

TEST_F(HashTable, ReplacedValuesLiveAsTheFlagsSayAndOutliveTheirKey) {
  for (const auto& [flags, read] :
       {std::pair(0x0u, true), std::pair(0x1u, true), std::pair(0x1u, false), std::pair(0x81u, true)}) {
    const bool retired = read && flags == PASK_HASHTABLE_THREADSAFE;
    make(flags);
    for (int end = 0; end < 3; ++end) {  // clear collects retired values afresh
      SCOPED_TRACE(testing::Message() << flags << read << end);
      ASSERT_EQ(add("k", "first"), 0u);
      const char* first = read ? find("k") : nullptr;
      ASSERT_EQ(add("k", "second"), 0u);
      const char* second = read ? find("k") : nullptr;
      ASSERT_EQ(update("k", 0, "third"), 0u);
      EXPECT_EQ(s_freed, retired ? texts{} : (texts{"first", "second"}));
      ASSERT_EQ(end == 0   ? pask_hashtable_value_delete(table, "k")
                : end == 1 ? pask_hashtable_index_remove(table, 0)
                           : 0u,
                0u);
      EXPECT_TRUE(!retired || std::string(first, 5) + std::string(second, 6) == "firstsecond");
      EXPECT_EQ(pask_hashtable_clear(table), 0u);
      EXPECT_EQ(std::exchange(s_freed, {}),
                retired && end < 2 ? (texts{"third", "first", "second"}) : (texts{"first", "second", "third"}));
    }
  }
}

TEST_F(HashTable, RemovedValuesGoToTheirOwner) {
  make(PASK_HASHTABLE_MULTI_VALUE);
  const std::string borrowed = "borrowed";
  ASSERT_EQ(add("k", "copied") | add("k", borrowed, 0) | add("k", "") | add("k", borrowed, 0), 0u);
  for (const char* const expected : {static_cast<const char*>(nullptr), borrowed.data()}) {
    void* data = &data;
    uint32_t size = 7;
    EXPECT_EQ(pask_hashtable_value_remove_ex(table, "K", 0, &data, &size), 0u);
    EXPECT_EQ(data, expected);
    EXPECT_EQ(size, expected ? 8u : 0u);
  }
  EXPECT_EQ(pask_hashtable_value_delete(table, "k"), 0u);
  EXPECT_EQ(s_freed, (texts{"copied", "borrowed"})) << "an empty value holds nothing";
}

// ---- Failures

TEST_F(HashTable, ReportsEachFailureOnce) {
  make(PASK_HASHTABLE_UNIQUE_KEYS);
  ASSERT_EQ(add("k", "v"), 0u);
  uint32_t stranger[64] = {};
  report_log log;
  EXPECT_EQ(pask_hashtable_delete(reinterpret_cast<pask_hashtable_handle>(stranger)), NO_TABLE);
  EXPECT_EQ(add("K", "v"), EXISTS);
  EXPECT_EQ(log.taken(), (texts{"pask_hashtable 900d0321", "pask_hashtable 900d0368"}));
  for (const pask_status word :
       {pask_hashtable_value_add(table, "a", "b", 0, 1), pask_hashtable_value_add(table, "a", nullptr, 1, 1),
        pask_hashtable_value_update_ex(table, "k", 0, "b", 0, 1), pask_hashtable_copy(table, nullptr),
        pask_hashtable_value_find_ex(table, nullptr, 0, nullptr, nullptr)})
    EXPECT_EQ(word, INVALID);
  EXPECT_EQ(pask_hashtable_value_find_ex(nullptr, nullptr, 0, nullptr, nullptr),
            NOT_FOUND);  // information isn't reported
  EXPECT_EQ(pask_hashtable_index_get(table, 1, nullptr, nullptr, nullptr), PAST_END);
  EXPECT_EQ(log.taken(), texts(5, "pask_hashtable 900d0001"));
}

// Each level tells; a value that didn't get in stays its owner's.
TEST_F(HashTable, RefusedMemoryIsToldAtEachLevel) {
  report_log log;
  const auto refused = [&](uint32_t granted, size_t levels, auto operation) {
    velox_standin_memory_refuse(granted, 0);
    EXPECT_EQ(operation(), NO_MEMORY);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    EXPECT_EQ(log.taken(), texts(levels, "pask_hashtable 900d0002")) << granted;
  };
  make(PASK_HASHTABLE_MULTI_VALUE);
  for (const uint32_t granted : {0u, 1u})
    refused(granted, 2, [&] { return add("a", "1", 0); });  // the item, the buckets
  ASSERT_EQ(add("a", "1") | add("b", "2") | add("b", "3") | add("b", "4"), 0u);
  refused(1, 2, [&] { return add("a", "5", 0); });  // the array of a second value
  EXPECT_EQ(s_freed, texts{});
  pask_hashtable_handle copy = nullptr;
  for (uint32_t n = 0; n < 8; ++n) refused(n, 2, [&] { return pask_hashtable_copy(table, &copy); });
  EXPECT_EQ(entries(table), (texts{"a=1", "b=2", "b=3", "b=4"}));

  make(PASK_HASHTABLE_THREADSAFE);
  ASSERT_EQ(add("k", "old"), 0u);
  EXPECT_NE(find("k"), nullptr);
  refused(1, 3, [&] { return add("k", "new"); });  // the list of retired values: the new one is in all the same
  EXPECT_EQ(s_freed, texts{"old"});
  EXPECT_EQ(std::string(find("k"), 3), "new");
}

// ---- Threads

// Those that share the lock come through beside a reader, and nobody beside a writer.
TEST_F(HashTable, EachOperationWaitsForTheLock) {
  make(PASK_HASHTABLE_THREADSAFE);
  ASSERT_EQ(add("a", "1") | add("b", "2") | add("c", "3"), 0u);
  const pask_rwlock_handle lock = reinterpret_cast<const record*>(table)->lock;
  const auto free_lock = [=] { pask_thread_rwlock_unlock(lock); };
  uint32_t values = 0, count = 0;  // readers run at once
  pask_hashtable_handle copy = nullptr;
  const std::vector<named_call> readers = {
      {"find", [&] { find("a"); }},
      {"value_count", [&] { pask_hashtable_value_count(table, "a", &values); }},
      {"count", [&] { pask_hashtable_count(table, &count); }},
  };
  const std::vector<named_call> writers = {
      {"add", [&] { add("d", "4"); }},
      {"update", [&] { update("a", 0, "5"); }},
      {"remove", [&] { pask_hashtable_value_remove_ex(table, "a", 0, nullptr, nullptr); }},
      {"value_delete", [&] { pask_hashtable_value_delete(table, "b"); }},
      {"index_get", [&] { pask_hashtable_index_get(table, 0, nullptr, nullptr, nullptr); }},
      {"index_remove", [&] { pask_hashtable_index_remove(table, 0); }},
      {"clear", [&] { pask_hashtable_clear(table); }},
      {"copy", [&] { pask_hashtable_copy(table, &copy); }},
  };
  EXPECT_EQ(pask_thread_rwlock_writelock(lock), 0u);
  EXPECT_EQ(through_lock(readers, free_lock), "");
  EXPECT_EQ(pask_thread_rwlock_readlock(lock), 0u);
  for (const named_call& reader : readers) std::jthread{reader.run};
  EXPECT_EQ(through_lock(writers, free_lock), "");
  EXPECT_EQ(pask_hashtable_delete(copy), 0u);
}

// Readers hold what they have read until they meet at the end; writers replace, remove and add the same keys.
TEST_F(HashTable, ReadersKeepWhatWritersReplace) {
  make(PASK_HASHTABLE_THREADSAFE);
  const texts stable = {"a", "b", "c"};
  for (const auto& key : stable) ASSERT_EQ(add(key, key + "0"), 0u);
  std::vector<std::jthread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      for (size_t i = 0; i < 3000; ++i) {
        ASSERT_EQ(add(stable[i % 3], stable[i % 3] + std::to_string(i)) | add("fleeting", "value"), 0u);
        if (i % 2) pask_hashtable_value_remove_ex(table, "fleeting", 0, nullptr, nullptr);
        if (i % 5 == 0) pask_hashtable_value_delete(table, "fleeting");
      }
    });
    threads.emplace_back([&] {
      std::vector<const char*> held;
      for (size_t i = 0; i < 3000; ++i) held.push_back(find(stable[i % 3]));
      for (size_t i = 0; i < 3000; ++i) ASSERT_EQ(held[i][0], stable[i % 3][0]);
    });
  }
  threads.clear();
  pask_hashtable_delete(std::exchange(table, nullptr));
  EXPECT_EQ(s_freed.size(), 12003u);
}

}  // namespace
