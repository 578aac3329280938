// Recommendations and album lookups, asked for through the lookup table as the service does.
#include <algorithm>
#include <atomic>
#include <map>
#include <set>
#include <thread>

#include "catalogue.h"

namespace {

struct Datum {
  uint32_t ordinal;
  std::string key, value;
};
using Data = std::vector<Datum>;
using Options = std::vector<std::pair<std::string, std::string>>;

Data operator+(Data a, const Data& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

struct Answer {
  pask_status status = 0;
  std::vector<Item> tracks;
  std::string fallback;
  std::string titles() const {
    std::string told;
    for (const Item& each : tracks) told += each.title() + "|";
    return told;
  }
};

class Recommend : public Catalogue {
 protected:
  void SetUp() override {
    Catalogue::SetUp();
    void* table = nullptr;
    ASSERT_EQ(record->interface_get(VELOX_INTERFACE_LOOKUP, 0, 0, &table), 0u);
    lookups = static_cast<velox_lookup_interface*>(table);
    ASSERT_EQ(velox_standin_user_create("listener", &user), 0u);
    ASSERT_EQ(velox_catalog_default_set(url.c_str()), 0u);
  }
  void TearDown() override {
    velox_catalog_default_set(nullptr);
    velox_standin_user_release(user);
    Catalogue::TearDown();
  }
  /** Runs one request; the result is handed to `read`. */
  pask_status look_up(const char* type, const Data& data, const Options& options,
                      const std::function<void(velox_mdo_handle)>& read) {
    velox_lookup_handle lookup = nullptr;
    const auto told = [](void* self, const velox_progress* progress, uint8_t* abort) {
      auto& each = static_cast<Recommend*>(self)->on_progress;
      if (each) each(*progress, abort);
    };
    EXPECT_EQ(lookups->lookup_create(lookups, told, this, &lookup), 0u);
    EXPECT_EQ(lookups->lookup_add_request(lookup, type, "r", "radio", 1), 0u);
    for (const auto& [key, value] : options)
      lookups->lookup_request_option_set(lookup, "r", ("velox_lookup_option_" + key).c_str(), value.c_str());
    if (!service.empty()) lookups->lookup_option_set(lookup, "velox_lookup_option_serviceurl", service.c_str());
    for (const Datum& each : data)
      lookups->lookup_add_data(lookup, "r", each.key.c_str(), each.value.c_str(), each.ordinal);
    pask_status status = lookups->lookup_execute(lookup, user, nullptr);
    velox_mdo_handle result = nullptr;
    if (status == 0) status = lookups->lookup_get_result(lookup, "r", &result);
    lookups->lookup_release(lookup);
    if (status == 0) read(result);
    velox_standin_mdo_release(result);
    return status;
  }
  Answer recommend(const Data& data, const Options& options = {}) {
    Answer made;
    made.status = look_up(VELOX_LOOKUP_TYPE_RECOMMEND, data, options, [&](velox_mdo_handle answer) {
      EXPECT_STREQ(velox_standin_mdo_context(answer), "velox_ctx_response");
      const char* fallback = velox_standin_mdo_value(answer, VELOX_VAL_FALLBACK, 1);
      made.fallback = fallback ? fallback : "";
      for (uint32_t i = 1; i <= velox_standin_mdo_child_count(answer, "velox_ctx_track!"); ++i)
        made.tracks.emplace_back(velox_standin_mdo_child(answer, "velox_ctx_track!", i));
    });
    return made;
  }
  /** "album title|matching track|tracks of the album|artist" of what an album lookup finds. */
  std::string album(const Data& data) {
    std::string told;
    const pask_status status = look_up(VELOX_LOOKUP_TYPE_ALBUM, data, {}, [&](velox_mdo_handle answer) {
      velox_mdo_handle found = velox_standin_mdo_child(answer, "velox_ctx_album!", 1);
      ASSERT_NE(found, nullptr);
      velox_mdo_handle match = velox_standin_mdo_child(found, "velox_ctx_track!matching", 1);
      told = Item(found).title() + "|" + (match ? Item(match).title() : "") + "|" +
             std::to_string(velox_standin_mdo_child_count(found, "velox_ctx_track!")) + "|" + Item(found).artist();
    });
    return status == 0 ? told : status == VELOX_STANDIN_ERR_NOT_FOUND ? "nothing" : message();
  }
  static Data seed_of(const Item& track, uint32_t ordinal = 1) {
    return {{ordinal, VELOX_LOOKUP_DATA_SEED, "TRACK"},
            {ordinal, VELOX_LOOKUP_DATA_SEED_TUI, track.at("velox_val_tui")},
            {ordinal, VELOX_LOOKUP_DATA_SEED_TUI_TAG, track.at("velox_val_tui_tag")},
            {ordinal, VELOX_LOOKUP_DATA_SEED_ARTIST_ID, track.at("_sdkmgr_val_artist_id")},
            {ordinal, VELOX_LOOKUP_DATA_SEED_GENRE, track.at("_sdkmgr_val_list_genre_id")},
            {ordinal, VELOX_LOOKUP_DATA_SEED_MOOD, track.at("_sdkmgr_val_list_mood_id")}};
  }
  Data seed_of(const char* title, uint32_t ordinal = 1) { return seed_of(search(title).at(0), ordinal); }
  static Data unknown_seed() {
    return {{1, VELOX_LOOKUP_DATA_SEED, "TRACK"},
            {1, VELOX_LOOKUP_DATA_SEED_TUI, "?"},
            {1, VELOX_LOOKUP_DATA_SEED_TUI_TAG, "?"}};
  }
  /** The number of a genre, mood or era. */
  std::string element(const std::string& name) const {
    return std::to_string(query(("SELECT id FROM attribute WHERE name='" + name + "'").c_str()));
  }

  /** 24 artists of 10 tracks in 6 genres, each artist also in the next genre, ten years apart. */
  void fill() {
    static const char* const k_genres[] = {"Ambient", "Bebop", "Country", "Disco", "Electro", "Folk"};
    static const char* const k_moods[] = {"Calm", "Warm", "Dark", "Loud"};
    std::string text = "title\tartist\talbum\tgenre\tmood\tdate\tpopularity\ttrack_tui\tpath\n";
    for (int a = 0; a < 24; ++a) {
      for (int t = 0; t < 10; ++t) {
        const std::string number = std::to_string(a) + "-" + std::to_string(t);
        text += "Song " + number + "\tArtist " + std::to_string(a) + "\tAlbum " + std::to_string(a * 2 + t / 5) + "\t" +
                k_genres[a % 6] + (t % 2 ? std::string("; ") + k_genres[(a + 1) % 6] : "") + "\t" +
                k_moods[(a + t / 5) % 4] + "\t" + std::to_string(1955 + a % 6 * 10 + t % 3) + "\t" +
                std::to_string((a * 37 + t * 101) % 1001) + "\tid-" + number + "\t/music/" + k_genres[a % 6] + "/" +
                number + ".flac\n";
      }
    }
    ASSERT_EQ(scan(write("six.tsv", text)), "240 240 0 0 0 0");
  }

  velox_lookup_interface* lookups = nullptr;
  velox_user_handle user = nullptr;
  std::string service;
  std::function<void(const velox_progress&, uint8_t*)> on_progress;
};

TEST_F(Recommend, SeedsOfEveryKindGiveRelatedTracksWithReasons) {
  fill();
  const Item song = search("Song 6-0").at(0);
  const std::string artist = song.at(VELOX_VAL_ARTIST_ID), ambient = element("Ambient");
  const Data seeds[] = {seed_of(song),
                        {{1, VELOX_LOOKUP_DATA_SEED, "ARTIST"}, {1, VELOX_LOOKUP_DATA_SEED_ARTIST_ID, artist}},
                        {{1, VELOX_LOOKUP_DATA_SEED, "ATTRIBUTE"}, {1, VELOX_LOOKUP_DATA_SEED_GENRE, ambient}},
                        unknown_seed() + Data{{1, VELOX_LOOKUP_DATA_SEED_GENRE, ambient}}};
  for (const Data& each : seeds) {
    SCOPED_TRACE(each[0].value);
    const Answer answer = recommend(each, {{"return_count", "10"}});
    ASSERT_EQ(answer.status, 0u) << message();
    EXPECT_EQ(answer.fallback, "");
    std::set<std::string> titles = {"Song 6-0"};
    std::map<std::string, int> of_artist;
    for (const Item& track : answer.tracks) {
      EXPECT_TRUE(titles.insert(track.title()).second) << "the seed, or one twice: " << track.title();
      EXPECT_LE(++of_artist[track.artist()], 3);
      EXPECT_NE(track.at(VELOX_VAL_REASON).find("genre Ambient"), std::string::npos) << track.at(VELOX_VAL_REASON);
      EXPECT_EQ(track.at(VELOX_VAL_REASON_SEED), "1");
      EXPECT_LE(track.number(VELOX_VAL_SCORE), 1000);
    }
    EXPECT_EQ(titles.size(), 11u);
    EXPECT_EQ(recommend(each, {{"return_count", "10"}}).titles(), answer.titles()) << "determinism";
  }
}

TEST_F(Recommend, AFilterNarrowsAndASeedOnlyDrawsNear) {
  fill();
  const std::string disco = element("Disco"), dark = element("Dark"), eighties = element("1980s");
  const Data song = seed_of("Song 0-0"), two = song + seed_of("Song 1-0", 2);
  const auto attributes = [](uint32_t ordinal, const Data& values) {
    return Data{{ordinal, VELOX_LOOKUP_DATA_SEED, "ATTRIBUTE"}} + values;
  };
  const auto filter = [&](uint32_t ordinal) {
    return attributes(ordinal,
                      {{ordinal, VELOX_LOOKUP_DATA_SEED_MOOD, dark}, {ordinal, VELOX_LOOKUP_DATA_SEED_ERA, eighties}});
  };
  const Data alone = attributes(1, {{1, VELOX_LOOKUP_DATA_SEED_GENRE, disco}, {1, VELOX_LOOKUP_DATA_SEED_MOOD, dark}});
  const struct {
    const char* what;
    Data data;
    const char *key, *value;
    bool narrows;
  } rows[] = {
      {"two seeds", two, VELOX_VAL_MOOD, "Dark", false},
      {"the mood of a filter behind them", two + filter(1) + filter(2), VELOX_VAL_MOOD, "Dark", true},
      {"its era", two + filter(1) + filter(2), VELOX_VAL_ERA, "1980s", true},
      {"attributes alone", alone, VELOX_VAL_MOOD, "Dark", true},
      {"attributes among other seeds", alone + seed_of("Song 0-0", 2), VELOX_VAL_MOOD, "Dark", false},
  };
  for (const auto& row : rows) {
    const std::vector<Item> tracks = recommend(row.data).tracks;
    EXPECT_FALSE(tracks.empty()) << row.what;
    const bool all =
        std::all_of(tracks.begin(), tracks.end(), [&](const Item& each) { return each.at(row.key) == row.value; });
    EXPECT_EQ(all, row.narrows) << row.what;
  }
  const Answer none = recommend(song + attributes(1, {{1, VELOX_LOOKUP_DATA_SEED_GENRE, "999"}}));
  EXPECT_TRUE(none.tracks.empty());
  EXPECT_EQ(none.fallback, "no track of the catalogue passes the filter");
}

TEST_F(Recommend, TheCatalogueFilterIsAGenreAnArtistOrAPath) {
  fill();
  const Data data = seed_of("Song 0-0");
  const std::pair<const char*, const char*> cases[] = {{"genre:Disco", ""},
                                                       {"artist:artist 5", "Artist 5"},
                                                       {"Artist 5", "Artist 5"},
                                                       {"path:/music/Folk/1", "/music/Folk/1"},
                                                       {"/music/Bebop", "/music/Bebop"}};
  for (const auto& [filter, begins] : cases) {
    const Answer answer =
        recommend(data, {{"catalog_filter", filter}, {"return_count", "8"}, {"max_tracks_per_artist", "10"}});
    EXPECT_EQ(answer.tracks.size(), 8u) << filter;
    for (const Item& track : answer.tracks) {
      const bool disco = track.at(VELOX_VAL_GENRE) == "Disco" || track.at(VELOX_VAL_GENRE) == "Country";
      EXPECT_TRUE(*begins ? track.artist() == begins || track.at(VELOX_VAL_LOCATION).rfind(begins, 0) == 0 : disco)
          << filter << " " << track.title();
    }
  }
  EXPECT_TRUE(recommend(data, {{"catalog_filter", "genre:Polka"}}).tracks.empty());
}

TEST_F(Recommend, WithoutASeedThatIsKnownItGivesWhatIsPopular) {
  scan(write("few.tsv", "title\tartist\nOne\tA\nTwo\tB\n"));
  EXPECT_EQ(recommend({}).tracks.size(), 2u);
  EXPECT_EQ(recommend(unknown_seed()).fallback, "popular tracks");
}

TEST_F(Recommend, ProgressFlowsAndAnAbortStopsAtOnce) {
  fill();
  const Data data = seed_of("Song 0-0");
  std::vector<int32_t> states;
  uint32_t given = 0;
  on_progress = [&](const velox_progress& progress, uint8_t*) {
    states.push_back(progress.state);
    if (progress.state == 11 && progress.kind == 20) given += progress.count;
  };
  EXPECT_EQ(recommend(data).tracks.size(), 25u);
  ASSERT_GE(states.size(), 4u);
  EXPECT_EQ(states.front(), 8);
  EXPECT_EQ(states.back(), 12);
  EXPECT_EQ(given, 25u);
  for (const int32_t at : {8, 10, 11}) {
    on_progress = [at](const velox_progress& progress, uint8_t* abort) {
      if (progress.state == at) *abort = 1;
    };
    EXPECT_EQ(recommend(data).status, VELOX_STANDIN_ERR_ABORTED) << at;
  }
  on_progress = nullptr;
  EXPECT_EQ(recommend(data).tracks.size(), 25u);
}

TEST_F(Recommend, ThreadsAskWhileTheCatalogueGrows) {
  fill();
  const Data data = seed_of("Song 0-0");
  std::vector<std::thread> threads;
  std::atomic<int> full{0};
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 15; ++i) full += recommend(data).tracks.size() == 25u;
    });
  }
  for (int i = 0; i < 15; ++i) {
    write("more.tsv", "title\tartist\tgenre\nMore " + std::to_string(i) + "\tSomebody\tAmbient\n");
    scan(path("more.tsv"));
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(full, 45);
  expect_sound();
}

TEST_F(Recommend, ServiceUrlsChooseTheCatalogue) {
  scan(write("few.tsv", "title\tartist\nOne\tA\nTwo\tB\n"));
  const std::string none = "sqlite:" + path("none.db");
  for (const auto& [where, status] : {std::pair(std::string("http://far"), VELOX_STANDIN_ERR_UNSUPPORTED),
                                      {none, VELOX_STANDIN_ERR_CATALOG},
                                      {url, 0}}) {
    service = where;
    EXPECT_EQ(recommend({}).status, status) << where;
  }
  service.clear();
  write("few.tsv", "title\tartist\nOne\tA\nTwo\tB\nThree\tC\n");
  scan(path("few.tsv"));
  EXPECT_EQ(recommend({}).tracks.size(), 3u) << "what was written meanwhile is seen";
  EXPECT_EQ(look_up("velox_lookup_type_weather", {}, {}, [](velox_mdo_handle) {}), VELOX_STANDIN_ERR_UNSUPPORTED);
  velox_catalog_default_set(nullptr);
  EXPECT_EQ(recommend({}).status, VELOX_STANDIN_ERR_UNSUPPORTED);
}

TEST_F(Recommend, AlbumLookupsFindWhatTextsDescribe) {
  scan(write("albums.tsv",
             "title\tartist\talbum\ttrack_tui\tpopularity\n"
             "Dawn\tSólveig\tNorth\tid-1\t10\n"
             "Dusk\tSólveig\tNorth\tid-2\t20\n"
             "Dawn\tOther\tNorth\tid-3\t30\n"
             "Alone\tOther\t\tid-4\t40\n"));
  const std::pair<Data, const char*> cases[] = {
      {{{1, VELOX_LOOKUP_DATA_TUI, "id-3"}, {1, VELOX_LOOKUP_DATA_TUI_TAG, "x"}}, "North|Dawn|1|Other"},
      {{{1, VELOX_LOOKUP_DATA_TRACK_ARTIST, "solveig"}, {1, VELOX_LOOKUP_DATA_TRACK_TITLE, "DAWN"}},
       "North|Dawn|2|Sólveig"},
      {{{1, VELOX_LOOKUP_DATA_TRACK_ARTIST, "Other"}, {1, VELOX_LOOKUP_DATA_TRACK_TITLE, "alone"}},
       "Alone|Alone|1|Other"},
      {{{1, VELOX_LOOKUP_DATA_ALBUM_ARTIST, "Sólveig"}, {1, VELOX_LOOKUP_DATA_ALBUM_TITLE, "north"}},
       "North||2|Sólveig"},
      {{{1, VELOX_LOOKUP_DATA_TRACK_ARTIST, "Sólveig"}}, "Sólveig||0|Sólveig"},
      {{{1, VELOX_LOOKUP_DATA_TRACK_ARTIST, "Sólveig"}, {1, VELOX_LOOKUP_DATA_TRACK_TITLE, "Noon"}}, "nothing"},
      {{{1, VELOX_LOOKUP_DATA_TUI, "id-9"}, {1, VELOX_LOOKUP_DATA_TUI_TAG, "x"}}, "nothing"}};
  for (const auto& each : cases) EXPECT_EQ(album(each.first), each.second) << each.first.front().value;
}

}  // namespace
