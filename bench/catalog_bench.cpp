// What a recommendation and a search cost in catalogues of 10,000 and 1,000,000 tracks, and what scanning them costs. The
// catalogues are made from invented tables in the temporary folder at the first use, which takes a minute for the large one.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <velox/velox_catalog.h>

#include "against.h"

namespace {

void check(pask_status status, const char* what) {
  if (status == 0) return;
  velox_standin_error error = {};
  velox_standin_last_error(&error);
  throw std::runtime_error(std::string(what) + ": " + (error.message ? error.message : "no message"));
}

/** Some 30 tracks an artist; few genres are common and many are rare, as in real collections. */
void write_table(const std::string& path, int64_t tracks) {
  std::mt19937_64 chance(7);
  const auto below = [&](uint64_t end) { return static_cast<int>(chance() % end); };
  const auto rare = [&](int end) {
    const double u = static_cast<double>(chance() >> 11) * 0x1p-53;
    return std::min(end - 1, static_cast<int>(-std::log(1 - u) * end / 5));
  };
  std::FILE* file = std::fopen(path.c_str(), "w");
  std::fputs("title\tartist\talbum\tgenre\tmood\tdate\tpopularity\tduration\n", file);
  static const char* const k_words[] = {"river",   "signal", "morning", "window",
                                        "harvest", "motion", "garden",  "mirror"};
  for (int64_t i = 0, artist = 0; i < tracks; ++artist) {
    const int main_genre = rare(150), other = rare(150), year = 1955 + below(65), fame = below(1000);
    for (int n = 0; n < 30 && i < tracks; ++n, ++i)
      std::fprintf(file, "The %s %s %ld\tArtist %ld\tAlbum %ld of %ld\tGenre %d%s\tMood %d; Mood %d\t%d\t%d\t%d\n",
                   k_words[below(8)], k_words[below(8)], static_cast<long>(i), static_cast<long>(artist),
                   static_cast<long>(n / 10), static_cast<long>(artist), main_genre,
                   below(2) ? ("; Genre " + std::to_string(other)).c_str() : "", rare(40), rare(40), year + n / 10,
                   std::min(1000, fame / 2 + below(500)), 120 + below(300));
  }
  std::fclose(file);
}

constexpr int64_t k_seeds = 240;

/** A catalogue, with some of its tracks as seeds. */
struct catalogue {
  std::string url;
  struct track {
    std::string tui, tag, artist;
  };
  std::vector<track> tracks;
};

const catalogue& of(int64_t size) {
  static std::pair<int64_t, catalogue> made[2];
  catalogue& found = made[size > 100000].second;
  if (!found.url.empty()) return found;
  const std::string stem = (std::filesystem::temp_directory_path() / ("velox_bench_" + std::to_string(size))).string();
  found.url = "sqlite:" + stem + ".db";
  if (!std::filesystem::exists(stem + ".tsv")) write_table(stem + ".tsv", size);
  velox_catalog_handle handle = nullptr;
  velox_catalog_scan_report report = {};
  check(velox_catalog_open(found.url.c_str(), VELOX_CATALOG_CREATE, &handle), "open");
  check(velox_catalog_scan(handle, (stem + ".tsv").c_str(), nullptr, &report), "scan");
  for (int64_t at = 1; at <= k_seeds; ++at) {
    const std::string text = std::to_string(size / (k_seeds + 1) * at);
    check(velox_catalog_search(
              handle, text.c_str(), VELOX_CATALOG_TRACKS, 1,
              [](void* to, velox_mdo_handle track) {
                const auto value = [&](const char* key) { return std::string(velox_standin_mdo_value(track, key, 1)); };
                static_cast<catalogue*>(to)->tracks.push_back(
                    {value("velox_val_tui"), value("velox_val_tui_tag"), value("_sdkmgr_val_artist_id")});
                return 1;
              },
              &found),
          "search");
  }
  velox_catalog_close(handle);
  return found;
}

struct manager {
  const velox_manager_record* record = nullptr;
  velox_lookup_interface* lookups = nullptr;
  velox_user_handle user = nullptr;
  manager() {
    check(velox_standin_start(&record), "start");
    void* table = nullptr;
    check(record->interface_get(VELOX_INTERFACE_LOOKUP, 0, 0, &table), "interface");
    lookups = static_cast<velox_lookup_interface*>(table);
    check(velox_standin_user_create("bench", &user), "user");
  }
  ~manager() {
    velox_standin_user_release(user);
    velox_standin_stop();
  }
};

using add_fn = std::function<void(const char* key, const std::string& value, uint32_t ordinal)>;

manager& running() {
  static manager with;
  return with;
}

/** A whole lookup; the answer is the caller's to release. */
velox_mdo_handle ask(const std::string& url, const char* type, const std::function<void(const add_fn&)>& fill) {
  manager& with = running();
  velox_lookup_handle lookup = nullptr;
  velox_mdo_handle answer = nullptr;
  check(with.lookups->lookup_create(
            with.lookups, [](void*, const velox_progress*, uint8_t*) {}, nullptr, &lookup),
        "create");
  check(with.lookups->lookup_option_set(lookup, "velox_lookup_option_serviceurl", url.c_str()), "option");
  check(with.lookups->lookup_add_request(lookup, type, "r", "radio", 1), "request");
  fill([&](const char* key, const std::string& value, uint32_t ordinal) {
    check(with.lookups->lookup_add_data(lookup, "r", key, value.c_str(), ordinal), "data");
  });
  check(with.lookups->lookup_execute(lookup, with.user, nullptr), "execute");
  check(with.lookups->lookup_get_result(lookup, "r", &answer), "result");
  with.lookups->lookup_release(lookup);
  return answer;
}

void add_seed(const add_fn& add, const catalogue::track& track, uint32_t ordinal) {
  add("velox_lookup_data_radio_seed", "TRACK", ordinal);
  add("velox_lookup_data_radio_seed_track_tui", track.tui, ordinal);
  add("velox_lookup_data_radio_seed_track_tui_tag", track.tag, ordinal);
}

/** 25 tracks from so many seeds, others each time. */
void recommend(benchmark::State& state) {
  running();
  const catalogue& from = of(state.range(0));
  uint32_t tracks = 0;
  size_t turn = 0;
  for (auto _ : state) {
    const velox_mdo_handle answer = ask(from.url, "velox_lookup_type_radio_recommend", [&](const add_fn& add) {
      for (uint32_t seed = 1; seed <= static_cast<uint32_t>(state.range(1)); ++seed)
        add_seed(add, from.tracks[turn++ % from.tracks.size()], seed);
    });
    tracks = velox_standin_mdo_child_count(answer, "velox_ctx_track!");
    velox_standin_mdo_release(answer);
  }
  state.counters["tracks"] = tracks;
}
WORKLOAD("recommendation|ours", recommend)
    ->ArgsProduct({{10'000, 1'000'000}, {1, 6}})
    ->ArgNames({"tracks", "seeds"})
    ->Unit(benchmark::kMillisecond);

/** A station that has been listened to: of each playlist most is played, some skipped, now and then a track is liked or
 *  disliked. */
std::string heard_station(const catalogue& from, const catalogue::track& seed, int64_t events) {
  velox_mdo_handle playlist =
      ask(from.url, "velox_lookup_type_radio_create", [&](const add_fn& add) { add_seed(add, seed, 1); });
  const std::string id = velox_standin_mdo_value(playlist, "_sdkmgr_val_cadenz_radio_id", 1);
  for (int64_t told = 0; told < events;) {
    const velox_mdo_handle next = ask(from.url, "velox_lookup_type_radio_event", [&](const add_fn& add) {
      uint32_t ordinal = 0;
      for (uint32_t i = 1; velox_mdo_handle album = velox_standin_mdo_child(playlist, "velox_ctx_album!", i); ++i) {
        for (uint32_t j = 1; velox_mdo_handle track = velox_standin_mdo_child(album, "velox_ctx_track!", j); ++j) {
          const char* kind = told % 97 == 0   ? "TRACK_LIKE"
                             : told % 89 == 0 ? "TRACK_DISLIKE"
                             : told % 7 == 0  ? "TRACK_SKIPPED"
                                              : "TRACK_PLAYED";
          add("velox_lookup_data_radio_event", kind, ++ordinal);
          add("velox_lookup_data_radio_event_track_tui", velox_standin_mdo_value(track, "velox_val_tui", 1), ordinal);
          add("velox_lookup_data_radio_event_track_tui_tag", velox_standin_mdo_value(track, "velox_val_tui_tag", 1),
              ordinal);
          ++told;
        }
      }
      add("velox_lookup_data_radio_id", id, 1);
    });
    velox_standin_mdo_release(std::exchange(playlist, next));
  }
  velox_standin_mdo_release(playlist);
  return id;
}

/** The next playlist of stations with so many events behind them. */
void playlist(benchmark::State& state) {
  running();
  const catalogue& from = of(state.range(0));
  constexpr size_t k_stations = 8;
  static std::map<std::pair<int64_t, int64_t>, std::vector<std::string>> made;
  std::vector<std::string>& stations = made[{state.range(0), state.range(1)}];
  for (size_t i = stations.size(); i < k_stations; ++i)
    stations.push_back(heard_station(from, from.tracks[i * from.tracks.size() / k_stations], state.range(1)));
  uint32_t albums = 0;
  size_t turn = 0;
  for (auto _ : state) {
    const velox_mdo_handle answer = ask(from.url, "velox_lookup_type_radio_lookahead", [&](const add_fn& add) {
      add("velox_lookup_data_radio_id", stations[turn++ % k_stations], 1);
    });
    albums = velox_standin_mdo_child_count(answer, "velox_ctx_album!");
    velox_standin_mdo_release(answer);
  }
  state.counters["albums"] = albums;
}
WORKLOAD("next playlist|ours", playlist)
    ->Args({10'000, 0})
    ->Args({10'000, 10'000})
    ->Args({1'000'000, 0})
    ->Args({1'000'000, 10'000})
    ->ArgNames({"tracks", "events"})
    ->Unit(benchmark::kMillisecond);

void search(benchmark::State& state) {
  const catalogue& from = of(state.range(0));
  velox_catalog_handle handle = nullptr;
  check(velox_catalog_open(from.url.c_str(), VELOX_CATALOG_READ, &handle), "open");
  for (auto _ : state)
    check(velox_catalog_search(
              handle, "river morn", 7, 20, [](void*, velox_mdo_handle) { return 0; }, nullptr),
          "search");
  velox_catalog_close(handle);
}
WORKLOAD("search of two words|ours", search)
    ->Arg(10'000)
    ->Arg(1'000'000)
    ->ArgName("tracks")
    ->Unit(benchmark::kMillisecond);

void scan(benchmark::State& state) {
  of(state.range(0));
  const std::string stem =
      (std::filesystem::temp_directory_path() / ("velox_bench_" + std::to_string(state.range(0)))).string();
  const std::string file = stem + "_scan.db";
  velox_catalog_scan_report report = {};
  for (auto _ : state) {
    for (const char* ending : {"", "-wal", "-shm"}) std::filesystem::remove(file + ending);
    velox_catalog_handle handle = nullptr;
    check(velox_catalog_open(("sqlite:" + file).c_str(), VELOX_CATALOG_CREATE, &handle), "open");
    check(velox_catalog_scan(handle, (stem + ".tsv").c_str(), nullptr, &report), "scan");
    velox_catalog_close(handle);
  }
  std::filesystem::remove(file);
  state.SetItemsProcessed(static_cast<int64_t>(report.seen) * state.iterations());
}
WORKLOAD("scan of a table|ours", scan)->Arg(10'000)->ArgName("lines")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
