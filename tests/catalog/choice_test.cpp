// Choosing, over small catalogues that are written down here: who comes at all and in which order, what a history lets through, and
// how many questions it takes.
#include <gtest/gtest.h>

#include <fstream>

#include "choice/answers.h"
#include "choice/history.h"
#include "hand_made_store.h"
#include "velox_catalog.h"

namespace velox::catalog {
namespace {

choices chosen(hand_made_store& store, const request& asked, listener* history = nullptr) {
  progress nobody(nullptr, store);
  return choose(store, asked, nobody, history);
}

// ---- Choosing -------------------------------------------------------------------------------------------------------------------

/** The artists of the tracks, sorted: "AAB". */
std::string artists(const hand_made_store& store, const std::vector<choice>& tracks) {
  std::string told;
  for (const choice& each : tracks) told += store.at(each.track.id).artist;
  std::sort(told.begin(), told.end());
  return told;
}

TEST(Choosing, LimitsArtistsSongsAndSeeds) {
  std::vector<hand_made_track> tracks = {{.id = 20, .artist = "C", .genres = {"X"}, .title = "Song 1"},
                                         {.id = 21, .artist = "A", .genres = {"X"}, .title = "Song 1"}};
  for (int i = 1; i <= 5; ++i) tracks.push_back({.id = i, .artist = "A", .genres = {"X"}, .popularity = 1000});
  for (int i = 6; i <= 9; ++i) tracks.push_back({.id = i, .artist = "B", .genres = {"X"}});
  for (int i = 10; i <= 12; ++i) tracks.push_back({.id = i, .artist = "D", .genres = {"Y"}, .popularity = 0});
  hand_made_store store(tracks);
  const struct {
    const char* what;
    std::initializer_list<int64_t> seeds;
    uint32_t per_artist, count;
    bool filtered, radio;
    const char* artists;
  } rows[] = {
      {"three of an artist", {1}, 3, 7, false, false, "AAABBBC"},
      {"one of an artist", {1}, 1, 3, false, false, "ABC"},
      {"three of the seed's own, while others are near", {1}, 0, 8, false, false, "AAABBBBC"},
      {"the same below a higher limit", {1}, 5, 8, false, false, "AAABBBBC"},
      {"not the seed, nor its song again", {1}, 0, 100, false, false, "AAAABBBBCDDD"},
      {"a station may play the seed, and one of a song's tracks", {1}, 0, 100, false, true, "AAAAABBBBCDDD"},
      {"the filter asks for the seed's own artist", {1}, 0, 4, true, false, "AAAA"},
      {"each seed in its turn", {1, 10}, 0, 4, false, false, "AADD"},
  };
  for (const auto& row : rows) {
    request asked = from_tracks(store, row.seeds, row.count);
    asked.per_artist = row.per_artist;
    asked.radio = row.radio;
    asked.filter.placed = row.filtered;
    asked.filter.artist = row.filtered ? key("A") : 0;
    const choices made = chosen(store, asked);
    EXPECT_EQ(artists(store, made.tracks), row.artists) << row.what;
    EXPECT_EQ(made.fallback, row.count < 100 ? "" : "popular tracks") << row.what;
  }
}

TEST(Choosing, GoesWiderStepByStepAndTellsTheStep) {
  std::vector<hand_made_track> tracks = {
      {.id = 1, .artist = "A", .genres = {"X"}, .year = 1990},
      {.id = 5, .artist = "B", .genres = {"Y"}, .year = 1995},
      {.id = 6, .artist = "C", .genres = {"Y"}, .year = 1930},
      {.id = 7, .artist = "D", .genres = {"X"}, .popularity = 1000},  // popular, but less near: it has many more genres
  };
  for (int i = 0; i < 30; ++i) tracks.back().genres.push_back(std::to_string(i));
  for (int i = 2; i <= 4; ++i) tracks.push_back({.id = i, .artist = "A", .genres = {"Z"}, .year = 1920});
  hand_made_store store(tracks);
  const struct {
    uint32_t count;
    const char *artists, *fallback;
  } rows[] = {{3, "AAA", "more tracks of the seeds' artists"},
              {4, "AAAD", "other tracks of the same genres and moods"},
              {5, "AAABD", "other tracks of the same era"},
              {6, "AAABCD", "popular tracks"},
              {7, "AAABCD", "popular tracks"}};
  for (const auto& row : rows) {
    store.questions = 0;
    const choices made = chosen(store, from_tracks(store, {1}, row.count));
    EXPECT_EQ(artists(store, made.tracks), row.artists);
    EXPECT_EQ(made.fallback, row.fallback) << row.count;
    EXPECT_EQ(store.questions, 2);
  }
  request nothing = from_tracks(store, {1});
  nothing.filter.set[k_genre] = true;
  EXPECT_EQ(chosen(store, nothing).fallback, "no track of the catalogue passes the filter");
  hand_made_store alone({{.id = 1, .artist = "A"}});
  EXPECT_EQ(chosen(alone, from_tracks(alone, {1})).fallback, "no other track is in the catalogue");
}

// ---- A station's history -----------------------------------------------------------------------------------------------------------

struct listening {
  station of;
  std::vector<heard_track> heard = {};
  int64_t now = 100000;
};

/** What a station of the first track gives next, sorted by number. */
std::vector<choice> next_of(hand_made_store& store, const listening& how, uint32_t count) {
  request asked = from_tracks(store, {1}, count);
  asked.radio = true;
  station_history history(how.of, how.heard, asked, how.now);
  std::vector<choice> tracks = chosen(store, asked, &history).tracks;
  std::sort(tracks.begin(), tracks.end(), [](const choice& a, const choice& b) { return a.track.id < b.track.id; });
  return tracks;
}

std::vector<hand_made_track> of_many_artists(int count) {
  std::vector<hand_made_track> tracks;
  for (int i = 1; i <= count; ++i)
    tracks.push_back({.id = i, .artist = "Artist " + std::to_string(i), .genres = {"X"}, .album = "Album"});
  return tracks;
}

TEST(History, KeepsAwayWhatWasBannedHeardAndSkipped) {
  hand_made_store store(of_many_artists(8));
  store.told[2].banned = true;
  store.told[3].last = 1001 - 299;  // heard within the last 300
  store.told[4].last = 1001 - 300;
  store.told[5].last = 1001 - 899, store.told[5].skips = 1;  // once skipped: away three times as long
  store.told[6].last = 1001 - 900, store.told[6].skips = 1;
  listening how;
  how.of.heard = 1001;
  store.questions = 0;
  EXPECT_EQ(order(next_of(store, how, 5)), "1 4 6 7 8");
  EXPECT_LE(store.questions, 4);
  EXPECT_EQ(order(next_of(store, how, 100)), "1 3 4 5 6 7 8") << "again rather than silence, but never what is banned";
}

TEST(History, TheRuleOfRadioCountsThreeHours) {
  const int64_t hours = k_radio_rule_seconds;
  const struct {
    const char* what;
    bool rule, one_album;
    std::vector<int64_t> heard;  // tracks of the artist's first album: seconds ago
    size_t tracks;               // of six of the artist
  } rows[] = {
      {"four of an artist", true, false, {}, 4},
      {"three of an album", true, true, {}, 3},
      {"what was heard in the time counts", true, false, {hours, hours, hours + 1}, 2},
      {"for its album too", true, true, {hours, hours, hours + 1}, 1},
      {"without the rule", false, true, {0, 0, 0, 0}, 6},
  };
  for (const auto& row : rows) {
    std::vector<hand_made_track> tracks;
    for (int i = 1; i <= 6; ++i)
      tracks.push_back({.id = i, .artist = "A", .genres = {"X"}, .album = row.one_album ? "1" : std::to_string(i)});
    hand_made_store store(tracks);
    const identity who = store.remember(0, std::initializer_list<int64_t>{1}).at(1).who;
    listening how;
    if (row.rule) how.of.settings[VELOX_LOOKUP_OPTION_DMCA] = "yes";
    for (const int64_t ago : row.heard) how.heard.push_back({who.artist, who.album, how.now - ago});
    EXPECT_EQ(next_of(store, how, 25).size(), row.tracks) << row.what;
  }
}

TEST(History, NoArtistFloods) {
  std::vector<hand_made_track> tracks = of_many_artists(6);
  for (int i = 7; i <= 12; ++i)
    tracks.push_back({.id = i, .artist = "A", .genres = {"X"}, .popularity = 1000, .album = "Album"});
  hand_made_store store(tracks);
  const int64_t artist = identity_of_artist("A");
  listening how;
  how.heard.assign(k_heard_lately + 1, {.artist = identity_of_artist("other"), .album = 0, .time = 0});
  how.heard.front().artist = how.heard[k_heard_lately - 1].artist = how.heard[k_heard_lately].artist = artist;
  const auto of_it = [&](uint32_t count) {
    const std::vector<choice> next = next_of(store, how, count);
    return std::count_if(next.begin(), next.end(), [](const choice& each) { return each.track.artist == key("A"); });
  };
  EXPECT_EQ(of_it(6), 1) << "two of the last twelve were of it";
  EXPECT_EQ(of_it(12), 6) << "where nothing else is left";
}

TEST(History, ArtistsAndAlbumsAreKeptApart) {
  const struct {
    const char* what;
    bool radio_rule;
    std::vector<const char*> heard;                           // artists, the latest first
    std::vector<std::pair<const char*, const char*>> tracks;  // artist and album, numbered from 1
    const char* expected;
  } rows[] = {
      {"in turns", false, {}, {{"A", ""}, {"A", ""}, {"B", ""}, {"B", ""}}, "1 3 2 4"},
      {"not after the last one heard", false, {"A"}, {{"A", ""}, {"B", ""}}, "2 1"},
      {"nothing else is left", false, {}, {{"A", "1"}, {"A", "1"}, {"A", "1"}, {"A", "1"}}, "1 2 3 4"},
      {"three of an artist in a row", true, {}, {{"A", "1"}, {"A", "2"}, {"A", "3"}, {"A", "4"}}, "1 2 3"},
      {"those that were heard among them", true, {"A", "A", "B"}, {{"A", "1"}, {"A", "2"}, {"A", "3"}}, "1"},
      {"two of an album in a row", true, {}, {{"A", "1"}, {"A", "1"}, {"A", "1"}, {"A", "2"}}, "1 2 4"},
  };
  for (const auto& row : rows) {
    std::vector<hand_made_track> tracks;
    std::vector<int64_t> ids;
    for (const auto& [artist, album] : row.tracks) {
      ids.push_back(static_cast<int64_t>(ids.size()) + 1);
      tracks.push_back({.id = ids.back(), .artist = artist, .album = album});
    }
    hand_made_store store(tracks);
    station of;
    if (row.radio_rule) of.settings[VELOX_LOOKUP_OPTION_DMCA] = "1";
    std::vector<heard_track> heard;
    for (const char* artist : row.heard) heard.push_back({identity_of_artist(artist), 0, 0});
    station_history history(of, heard, request(), 100000);
    history.learn(store.remember(1, ids));
    std::vector<choice> playlist;
    for (const int64_t id : ids) playlist.emplace_back().track.id = id;
    history.keep_apart(playlist);
    EXPECT_EQ(order(playlist), row.expected) << row.what;
  }
}

TEST(History, WhatComesBackWasHeardLongestAgoByHalfOfWhatCanBePlayed) {
  hand_made_store store(of_many_artists(20));
  listening how;
  how.of.heard = 100;
  store.told[1].last = 99;
  for (int i = 2; i <= 11; ++i) store.told[i].banned = true;
  for (int i = 12; i <= 20; ++i) store.told[i].last = 100 - (i - 11);  // the highest number longest ago
  EXPECT_EQ(order(next_of(store, how, 2)), "19 20");
  EXPECT_EQ(order(next_of(store, how, 25)), "16 17 18 19 20") << "of ten, those that weren't among the last five";
  store.told[20].skips = 1;
  EXPECT_EQ(order(next_of(store, how, 2)), "18 19") << "what was skipped stays away twice as long";
  EXPECT_EQ(order(next_of(store, how, 25)), "16 17 18 19 20");
}

// ---- Questions to a real store -----------------------------------------------------------------------------------------------------

TEST(Questions, AreAHandfulForEachRequest) {
  char folder[] = "/tmp/velox_choice_XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string base = folder, url = "sqlite:" + base + "/c.db";
  {
    std::ofstream table(base + "/t.tsv");
    table << "title\tartist\talbum\tgenre\tdate\ttrack_tui\n";
    for (int i = 0; i < 3000; ++i)
      table << "Song " << i << "\tArtist " << i / 10 << "\tAlbum " << i / 5 << "\tGenre " << i / 10 % 20 << "; Genre "
            << i % 7 << "\t" << 1960 + i % 50 << "\tt" << i << "\n";
  }
  velox_catalog_handle filled = nullptr;
  velox_catalog_scan_report report = {};
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_CREATE, &filled), 0u);
  ASSERT_EQ(velox_catalog_scan(filled, (base + "/t.tsv").c_str(), nullptr, &report), 0u);
  velox_catalog_close(filled);

  const std::unique_ptr<store> opened = open_store(url, role::stations);
  counting_store counted(*opened);
  progress nobody(nullptr, counted);
  std::string id;
  const velox_standin_item count_of_1000[] = {{VELOX_LOOKUP_OPTION_RETURN_COUNT, "1000", 0},
                                              {VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, "0", 0}};
  const velox_standin_item count_of_7[] = {{VELOX_LOOKUP_OPTION_RETURN_COUNT, "7", 0}};
  const velox_standin_item count_of_9[] = {{VELOX_LOOKUP_OPTION_RETURN_COUNT, "9", 0}};
  const velox_standin_item two_seeds[] = {{VELOX_LOOKUP_DATA_SEED_TUI, "t5", 1},
                                          {VELOX_LOOKUP_DATA_SEED_TUI, "t900", 2}};
  const velox_standin_item like[] = {{VELOX_LOOKUP_DATA_EVENT, VELOX_LOOKUP_EVENT_TRACK_LIKE, 1},
                                     {VELOX_LOOKUP_DATA_EVENT_TUI, "t7", 1}};
  using items = std::span<const velox_standin_item>;
  const struct {
    const char* what;
    standin::mdo_ref (*answer)(store&, const velox_standin_request&, progress&);
    items options, data;
    int most;
    uint32_t tracks;
  } rows[] = {
      {"recommendation", recommend, {}, two_seeds, 8, 25},
      {"recommendation of 1000", recommend, count_of_1000, items(two_seeds).first(1), 8, 1000},
      {"new station", create_station, {}, two_seeds, 10, 25},
      {"event", tell_station, {}, like, 6, 25},
      {"lookahead with a setting", look_ahead, count_of_7, {}, 10, 7},
      {"lookahead, which doesn't keep it", look_ahead, {}, {}, 10, 25},
      {"setting", set_station, count_of_7, {}, 10, 7},
      {"event, which keeps the setting", tell_station, {}, like, 6, 7},
      {"event with a setting", tell_station, count_of_9, like, 6, 9},
      {"lookahead behind it", look_ahead, {}, {}, 10, 9},
  };
  for (const auto& row : rows) {
    std::vector<velox_standin_item> data(row.data.begin(), row.data.end());
    if (!id.empty()) data.push_back({VELOX_LOOKUP_DATA_STATION_ID, id.c_str(), 1});
    counted.questions = 0;
    const standin::mdo_ref told = row.answer(counted,
                                             {.type = "",
                                              .name = "",
                                              .options = row.options.data(),
                                              .option_count = static_cast<uint32_t>(row.options.size()),
                                              .data = data.data(),
                                              .data_count = static_cast<uint32_t>(data.size())},
                                             nobody);
    EXPECT_LE(counted.questions, row.most) << row.what;
    EXPECT_GE(counted.questions, 2) << row.what;
    uint32_t tracks = velox_standin_mdo_child_count(told.get(), VELOX_CHILD_TRACK);
    for (uint32_t i = 1; const velox_mdo_handle album = velox_standin_mdo_child(told.get(), VELOX_CHILD_ALBUM, i); ++i)
      tracks += velox_standin_mdo_child_count(album, VELOX_CHILD_TRACK);
    EXPECT_EQ(tracks, row.tracks) << row.what;
    if (const char* made = velox_standin_mdo_value(told.get(), VELOX_VAL_STATION_ID, 1)) id = made;
  }
  std::system(("rm -r " + base).c_str());
}

}  // namespace
}  // namespace velox::catalog
