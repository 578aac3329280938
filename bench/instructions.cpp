// Twelve key workloads, each once, for a count of the instructions that they take inside the library: a figure that the machine's other
// work doesn't change. Runs under callgrind; scripts/bench --instructions holds the counts against baseline.tsv.
#include <valgrind/callgrind.h>
#include <velox/pask.h>
#include <velox/velox_cadenz.h>

#include <cstring>
#include <string>
#include <vector>

#include "null_manager.h"

namespace {

constexpr int TIMES = 200;

// Counts one run of a workload; what it needs is there before, and a first run has warmed it.
template <class Work>
void count(const char* name, Work work) {
  work();
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  work();
  CALLGRIND_DUMP_STATS_AT(name);
  CALLGRIND_STOP_INSTRUMENTATION;
}

template <class Work>
auto repeated(Work work) {
  return [work] {
    for (int i = 0; i < TIMES; ++i) work();
  };
}

velox_cadenz_query_handle query_with(int seeds) {
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_CATALOG_FILTER, "genre:Dream Pop");
  for (int i = 0; i < seeds; ++i) velox_cadenz_query_set_mdo(query, null_manager::any<velox_mdo_handle>());
  return query;
}

void service() {
  count("a query's life", repeated([] { velox_cadenz_query_release(query_with(6)); }));

  velox_cadenz_query_handle query = query_with(6);
  count("a recommendation", repeated([query] {
          velox_mdo_handle answer = nullptr;
          velox_cadenz_query_generate_recommendations(query, nullptr, &answer);
        }));
  velox_cadenz_station_handle station = nullptr;
  velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, &station);
  count("a playlist after an event", repeated([station] {
          velox_mdo_handle playlist = nullptr;
          velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_PLAYED, null_manager::any<velox_mdo_handle>());
          velox_cadenz_station_generate_playlist(station, &playlist);
        }));
  velox_cadenz_station_release(station);
  velox_cadenz_query_release(query);
}

int order(const void* a, const void* b, void*) { return memcmp(a, b, 8); }

void collections() {
  std::vector<std::string> keys;
  for (int i = 0; i < TIMES; ++i) keys.push_back("an_option_of_some_length_" + std::to_string(i * 7919));
  count("hash table, add", [&keys] {
    pask_hashtable_handle table = nullptr;
    pask_hashtable_create(&table, 0, nullptr);
    for (const std::string& key : keys) pask_hashtable_value_add(table, key.c_str(), "value", 6, 1);
    pask_hashtable_delete(table);
  });
  pask_hashtable_handle table = nullptr;
  pask_hashtable_create(&table, PASK_HASHTABLE_THREADSAFE, nullptr);
  for (const std::string& key : keys) pask_hashtable_value_add(table, key.c_str(), "value", 6, 1);
  count("hash table with its lock, find", [&keys, table] {
    for (const std::string& key : keys) {
      const void* data = nullptr;
      uint32_t size = 0;
      pask_hashtable_value_find_ex(table, key.c_str(), 0, &data, &size);
    }
  });
  pask_hashtable_delete(table);
  count("vector, add", [] {
    pask_vector_handle vector = nullptr;
    pask_vector_create(&vector, 0, nullptr, nullptr);
    for (uintptr_t i = 0; i < TIMES; ++i) pask_vector_add(vector, i);
    pask_vector_delete(vector);
  });
  count("sort", [] {
    uint64_t words[TIMES];
    uint64_t next = 1;
    for (uint64_t& word : words) word = next = next * 6364136223846793005u + 1442695040888963407u;
    pask_utils_qsort(words, TIMES, sizeof words[0], order, nullptr);
  });
}

void text() {
  std::string mixed;
  while (mixed.size() < 10000) mixed += "Voil\303\240 l'\303\251t\303\251, \344\270\255\346\226\207 ";
  const char* const long_text = mixed.c_str();
  count("characters of a long text", [long_text] { pask_string_charlen(long_text); });
  count("equal, any case", repeated([] { pask_string_equal("velox_option_Playlist", "VELOX_OPTION_playlist", 1); }));
  count("format", repeated([] {
          char line[200];
          pask_string_snprintf(line, sizeof line, "%s[%d].%-12s=%08x, %.3f", "seed", 3, "identifier", 77u, 2.71828);
        }));
}

void rest() {
  pask_critsec_handle section = nullptr;
  pask_thread_critsec_create(&section);
  count("critical section", repeated([section] {
          pask_thread_critsec_enter(section);
          pask_thread_critsec_leave(section);
        }));
  pask_thread_critsec_delete(section);

  const std::string message(10000, 'x');
  const char* const data = message.data();
  count("MD5", [data] {
    pask_md5_ctx digest;
    pask_md5_start(&digest);
    pask_md5_compute(&digest, data, 10000);
    pask_md5_end(&digest);
  });
}

}  // namespace

int main() {
  velox_cadenz_initialize(&null_manager::g_record);
  service();
  collections();
  text();
  rest();
  velox_cadenz_shutdown();
}
