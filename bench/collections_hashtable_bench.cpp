// The hash table against std::unordered_map of strings and GLib's GHashTable, with keys like those of options: 20 to 60 bytes,
// every lookup in a fresh buffer, as a caller brings it. The first argument is the number of keys.
#include <velox/pask_hashtable.h>
#include <velox/pask_modules.h>

#include "against.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#if __has_include(<glib.h>)
#include <glib.h>
#define HAVE_GLIB 1
#endif

namespace {

constexpr char k_value[] = "a value of usual length";

std::vector<std::string> keys(int64_t count, const char* stem) {
  std::vector<std::string> all;
  for (int64_t i = 0; i < count; ++i)
    all.push_back(stem + std::string("_option_").append(static_cast<size_t>(i * 7 % 37), 'r') + std::to_string(i));
  return all;
}

// Each table: made empty, add a pair of texts as copies, find as a length, walk as a sum of lengths.

template <uint32_t flags>
struct pask_table {
  pask_table() { pask_hashtable_create(&table, flags, nullptr); }
  ~pask_table() { pask_hashtable_delete(table); }
  void add(const char* key) { pask_hashtable_value_add(table, key, k_value, sizeof k_value, 1); }
  void remove(const char* key) { pask_hashtable_value_delete(table, key); }
  size_t find(const char* key) const {
    const void* data;
    uint32_t size;
    return pask_hashtable_value_find_ex(table, key, 0, &data, &size) == 0 ? size : 0;
  }
  size_t walk() const {
    size_t sum = 0;
    const char* key;
    const void* data;
    uint32_t size;
    for (uint32_t i = 0; pask_hashtable_index_get(table, i, &key, &data, &size) == 0; ++i) sum += size;
    return sum;
  }
  pask_hashtable_handle table;
};

struct std_table {
  void add(const char* key) { map.emplace(key, k_value); }
  void remove(const char* key) { map.erase(key); }
  size_t find(const char* key) const {
    const auto found = map.find(key);
    return found == map.end() ? 0 : found->second.size();
  }
  size_t walk() const {
    size_t sum = 0;
    for (const auto& entry : map) sum += entry.second.size();
    return sum;
  }
  std::unordered_map<std::string, std::string> map;
};

#ifdef HAVE_GLIB
struct glib_table {
  ~glib_table() { g_hash_table_destroy(table); }
  void add(const char* key) { g_hash_table_insert(table, g_strdup(key), g_strdup(k_value)); }
  void remove(const char* key) { g_hash_table_remove(table, key); }
  size_t find(const char* key) const {
    const void* found = g_hash_table_lookup(table, key);
    return found ? sizeof k_value : 0;
  }
  size_t walk() const {
    size_t sum = 0;
    GHashTableIter at;
    void *key, *value;
    for (g_hash_table_iter_init(&at, table); g_hash_table_iter_next(&at, &key, &value);) sum += sizeof k_value;
    return sum;
  }
  GHashTable* table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
};

// The same for several threads.
struct glib_shared : glib_table {
  void add(const char* key) {
    const std::unique_lock held(mutex);
    glib_table::add(key);
  }
  size_t find(const char* key) const {
    const std::shared_lock held(mutex);
    return glib_table::find(key);
  }
  mutable std::shared_mutex mutex;
};
#endif

template <class Table>
void add(benchmark::State& state) {
  const auto all = keys(state.range(0), "velox");
  for (auto _ : state) {
    Table table;
    for (const auto& key : all) table.add(key.c_str());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Table>
void find(benchmark::State& state, const char* stem) {
  Table table;
  for (const auto& key : keys(state.range(0), "velox")) table.add(key.c_str());
  const auto asked = keys(state.range(0), stem);
  for (auto _ : state)
    for (const auto& key : asked) benchmark::DoNotOptimize(table.find(key.c_str()));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Table>
void find_hit(benchmark::State& state) {
  find<Table>(state, "velox");
}

template <class Table>
void find_miss(benchmark::State& state) {
  find<Table>(state, "other");
}

template <class Table>
void walk(benchmark::State& state) {
  Table table;
  for (const auto& key : keys(state.range(0), "velox")) table.add(key.c_str());
  for (auto _ : state) benchmark::DoNotOptimize(table.walk());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Keys and values that the caller keeps.
void add_borrowed_pask(benchmark::State& state) {
  const auto all = keys(state.range(0), "velox");
  for (auto _ : state) {
    pask_table<PASK_HASHTABLE_CASE_SENSITIVE | PASK_HASHTABLE_BORROW_KEYS> made;
    for (const auto& key : all) pask_hashtable_value_add(made.table, key.c_str(), k_value, sizeof k_value, 0);
  }
}
#ifdef HAVE_GLIB
void add_borrowed_glib(benchmark::State& state) {
  const auto all = keys(state.range(0), "velox");
  for (auto _ : state) {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    for (const auto& key : all) g_hash_table_insert(table, const_cast<char*>(key.c_str()), const_cast<char*>(k_value));
    g_hash_table_destroy(table);
  }
}
#endif

// Each key once, in an order of no locality.
template <class Table>
void remove(benchmark::State& state) {
  const auto all = keys(state.range(0), "velox");
  for (auto _ : state) {
    state.PauseTiming();
    auto table = std::make_unique<Table>();
    for (const auto& key : all) table->add(key.c_str());
    state.ResumeTiming();
    for (size_t i = 0, at = 0; i < all.size(); ++i, at = (at + 7919) % all.size()) table->remove(all[at].c_str());
    state.PauseTiming();
    table.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// One table, one or two readers.
template <class Table>
void find_shared(benchmark::State& state) {
  static Table* table;
  const auto all = keys(state.range(0), "velox");
  if (state.thread_index() == 0) {
    table = new Table;
    for (const auto& key : all) table->add(key.c_str());
  }
  for (auto _ : state)
    for (const auto& key : all) benchmark::DoNotOptimize(table->find(key.c_str()));
  state.SetItemsProcessed(state.iterations() * state.range(0));
  if (state.thread_index() == 0) delete table;
}

// Before main, and so before the first table.
const pask_status k_started = pask_datatypes_initialize();

using pask_any_case = pask_table<0>;
using pask_exact = pask_table<PASK_HASHTABLE_CASE_SENSITIVE>;
using pask_locked = pask_table<PASK_HASHTABLE_THREADSAFE>;

#ifdef HAVE_GLIB
#define AGAINST_GLIB(what, operation) WORKLOAD(what "|GHashTable", operation<glib_table>)->KEYS;
#define MANY                          ArgName("keys")->Arg(1000000)
WORKLOAD("hash table, add, exact|ours", add<pask_exact>)->MANY;
WORKLOAD("hash table, add, exact|GHashTable", add<glib_table>)->MANY;
WORKLOAD("hash table, add what the caller keeps|ours", add_borrowed_pask)->MANY;
WORKLOAD("hash table, add what the caller keeps|GHashTable", add_borrowed_glib)->MANY;
WORKLOAD("hash table, delete each key|ours", remove<pask_exact>)->Arg(1000)->Arg(100000)->MANY;
WORKLOAD("hash table, delete each key|GHashTable", remove<glib_table>)->Arg(1000)->Arg(100000)->MANY;
#define SHARED(who, table)                                                                                        \
  WORKLOAD("hash table with its lock, find|" who, find_shared<table>)->ArgName("keys")->Arg(1000)->UseRealTime(); \
  WORKLOAD("hash table with its lock, find, two readers at once|" who, find_shared<table>)                        \
      ->ArgName("keys")                                                                                           \
      ->Arg(1000)                                                                                                 \
      ->Threads(2)                                                                                                \
      ->UseRealTime()
SHARED("ours", pask_locked);
SHARED("GHashTable under std::shared_mutex", glib_shared);
#else
#define AGAINST_GLIB(what, operation)
#endif
#define KEYS ArgName("keys")->Arg(12)->Arg(10000)
#define COMPARE_WITH(what, operation, table)                        \
  WORKLOAD(what "|ours", operation<table>)->KEYS;                   \
  WORKLOAD(what "|std::unordered_map", operation<std_table>)->KEYS; \
  AGAINST_GLIB(what, operation)
#define COMPARE(what, operation)                            \
  COMPARE_WITH(what ", any case", operation, pask_any_case) \
  COMPARE_WITH(what ", exact", operation, pask_exact)       \
  COMPARE_WITH(what ", with its lock", operation, pask_locked)

COMPARE("hash table, add", add)
COMPARE("hash table, find", find_hit)
COMPARE("hash table, find what isn't there", find_miss)
COMPARE("hash table, walk by flat index", walk)

}  // namespace

BENCHMARK_MAIN();
