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

TEST(Choosing, LimitsArtistsSongsAndSeeds) {
  std::vector<hand_made_track> tracks = {{.id = 1, .artist = "A", .genres = {"X"}, .year = 1990}};
  for (int i = 2; i < 8; ++i) tracks.push_back({.id = i, .artist = "A", .genres = {"X"}, .year = 1990});
  for (int i = 10; i < 16; ++i) tracks.push_back({.id = i, .artist = "B", .genres = {"X"}, .year = 1990});
  tracks.push_back({.id = 20, .artist = "C", .genres = {"X"}, .year = 1990, .title = "Song 1"});
  tracks.push_back({.id = 21, .artist = "A", .genres = {"X"}, .year = 1990, .title = "Song 1"});
  hand_made_store store(tracks);
  const auto of_artist = [](const choices& made, const std::string& artist) {
    return std::count_if(made.tracks.begin(), made.tracks.end(),
                         [&](const choice& each) { return each.track.artist == key(artist); });
  };
  struct {
    uint32_t per_artist, count;
    long of_a, of_b;
  } const rows[] = {{3, 7, 3, 3}, {1, 3, 1, 1}, {0, 9, 3, 5}, {5, 8, 3, 4}};
  for (const auto& row : rows) {
    request asked = from_tracks(store, {1}, row.count);
    asked.per_artist = row.per_artist;
    const choices made = chosen(store, asked);
    EXPECT_EQ(made.tracks.size(), row.count) << row.per_artist;
    EXPECT_LE(of_artist(made, "A"), row.of_a) << "a seed's own artist has three at most while others are near";
    EXPECT_GE(of_artist(made, "B"), row.of_b) << row.per_artist;
    EXPECT_EQ(order(made.tracks).find("21"), std::string::npos) << "the seed's song again";
  }
  request all = from_tracks(store, {1}, 100);
  all.per_artist = 0;
  EXPECT_EQ(chosen(store, all).tracks.size(), 13u) << "not the seed, not its song again";
  all.radio = true;
  EXPECT_EQ(chosen(store, all).tracks.size(), 14u) << "a station may play the seed, and one of a song's tracks";
}

TEST(Choosing, AFilterOfOneArtistGivesAllOfIt) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}},
                         {.id = 2, .artist = "A", .genres = {"X"}},
                         {.id = 3, .artist = "A", .genres = {"X"}},
                         {.id = 4, .artist = "A", .genres = {"X"}},
                         {.id = 5, .artist = "A", .genres = {"X"}},
                         {.id = 6, .artist = "B", .genres = {"X"}}});
  request asked = from_tracks(store, {1}, 4);
  asked.filter.placed = true;
  asked.filter.artist = key("A");
  asked.per_artist = 0;
  const choices made = chosen(store, asked);
  EXPECT_EQ(made.tracks.size(), 4u);
  EXPECT_EQ(made.fallback, "") << "all of them are near";
}

TEST(Choosing, SeedsTakeTurnsAndNoArtistFollowsItself) {
  std::vector<hand_made_track> tracks = {{.id = 1, .artist = "S", .genres = {"X"}},
                                         {.id = 2, .artist = "T", .genres = {"Y"}}};
  for (int i = 0; i < 4; ++i) {
    tracks.push_back({.id = 10 + i, .artist = "A", .genres = {"X"}, .popularity = 900});
    tracks.push_back({.id = 20 + i, .artist = "B" + std::to_string(i), .genres = {"Y"}, .popularity = 100});
  }
  hand_made_store store(tracks);
  request asked = from_tracks(store, {1, 2}, 8);
  asked.per_artist = 0;
  const choices made = chosen(store, asked);
  ASSERT_EQ(made.tracks.size(), 8u);
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(made.tracks[i].seed, i % 2) << "in turns: " << order(made.tracks);
    const int64_t before = i > 0 ? made.tracks[i - 1].track.artist : 0;
    EXPECT_NE(made.tracks[i].track.artist, before) << order(made.tracks);
  }
}

TEST(Choosing, GoesWiderStepByStepAndTellsTheStep) {
  hand_made_store store(
      {{.id = 1, .artist = "A", .genres = {"X"}, .year = 1990},
       {.id = 2, .artist = "A", .genres = {"Z"}, .year = 1920},
       {.id = 3, .artist = "A", .genres = {"Z"}, .year = 1920},
       {.id = 4, .artist = "A", .genres = {"Z"}, .year = 1920},
       {.id = 5, .artist = "A", .genres = {"Z"}, .year = 1920},
       {.id = 6, .artist = "B", .genres = {"Y"}, .year = 1995},
       {.id = 7, .artist = "C", .genres = {"Y"}, .year = 1930},
       {.id = 8,
        .artist = "H",
        .genres = {"X",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "8",  "9",  "10", "11", "12", "13", "14", "15",
                   "16", "17", "18", "19", "20", "21", "22", "23", "24", "25", "26", "27", "28", "29", "30"},
        .popularity = 1000}});
  struct {
    uint32_t count;
    const char *tracks, *fallback;
  } const rows[] = {{3, "2 3 4", "more tracks of the seeds' artists"},  // a popular one that is less near waits
                    {4, "2 3 4 8", "other tracks of the same genres and moods"},
                    {5, "2 3 4 6 8", "other tracks of the same era"},
                    {6, "2 3 4 6 7 8", "popular tracks"}};
  for (const auto& row : rows) {
    request asked = from_tracks(store, {1}, row.count);
    asked.rotate = false;
    store.questions = 0;
    choices made = chosen(store, asked);
    std::sort(made.tracks.begin(), made.tracks.end(),
              [](const choice& a, const choice& b) { return a.track.id < b.track.id; });
    EXPECT_EQ(made.tracks.size(), row.count);
    EXPECT_EQ(made.fallback, row.fallback);
    EXPECT_EQ(store.questions, 2);
  }
  request nothing = from_tracks(store, {1});
  nothing.filter.set[k_genre] = true;
  EXPECT_EQ(chosen(store, nothing).fallback, "no track of the catalogue passes the filter");
}

// ---- A station's history -----------------------------------------------------------------------------------------------------------

struct listening {
  station of;
  std::vector<heard_track> heard = {};
  int64_t now = 100000;
};

std::vector<choice> next_of(hand_made_store& store, const listening& how, uint32_t count = 25) {
  request asked = from_tracks(store, {1}, count);
  asked.radio = true;
  station_history history(how.of, how.heard, asked, how.now);
  std::vector<choice> tracks = chosen(store, asked, &history).tracks;
  history.keep_apart(tracks);
  return tracks;
}

bool has(const std::vector<choice>& tracks, int64_t id) {
  return std::any_of(tracks.begin(), tracks.end(), [&](const choice& each) { return each.track.id == id; });
}

std::vector<hand_made_track> of_many_artists(int count) {
  std::vector<hand_made_track> tracks;
  for (int i = 1; i <= count; ++i)
    tracks.push_back({.id = i, .artist = "Artist " + std::to_string(i), .genres = {"X"}, .album = "Album"});
  return tracks;
}

TEST(History, KeepsAwayWhatWasBannedHeardAndSkipped) {
  hand_made_store store(of_many_artists(40));
  store.told[2].banned = true;
  store.told[3].last = 1001 - 299;                           // heard within the last 300
  store.told[4].last = 1001 - 300;                           // just not any more
  store.told[5].last = 1001 - 899, store.told[5].skips = 1;  // once skipped: away three times as long
  store.told[6].last = 1001 - 900, store.told[6].skips = 1;
  listening how;
  how.of.id = 1;
  how.of.heard = 1001;
  store.questions = 0;
  const std::vector<choice> tracks = next_of(store, how, 36);
  const std::pair<int64_t, bool> rows[] = {{2, false}, {3, false}, {4, true}, {5, false}, {6, true}, {7, true}};
  for (const auto& [id, there] : rows) EXPECT_EQ(has(tracks, id), there) << id;
  EXPECT_LE(store.questions, 4);
  const std::vector<choice> all = next_of(store, how, 100);
  EXPECT_FALSE(has(all, 2)) << "never, however little is left";
  EXPECT_TRUE(has(all, 3) && has(all, 5)) << "rather again than silence";
}

TEST(History, TheRuleOfRadioCountsThreeHours) {
  std::vector<hand_made_track> tracks;
  for (int i = 1; i <= 30; ++i)
    tracks.push_back({.id = i,
                      .artist = "Artist " + std::to_string(i % 3),
                      .genres = {"X"},
                      .album = "Album " + std::to_string(i % 6)});
  hand_made_store store(tracks);
  listening how;
  how.of.id = 1;
  how.of.settings[VELOX_LOOKUP_OPTION_DMCA] = "yes";
  const auto most = [](const std::vector<choice>& of, auto part) {
    std::map<int64_t, int> counts;
    int found = 0;
    for (const choice& each : of) found = std::max(found, ++counts[part(each.track)]);
    return found;
  };
  const auto artist_of = [](const candidate& each) { return each.artist; };
  const auto album_of = [](const candidate& each) { return each.album; };
  std::vector<choice> next = next_of(store, how);
  EXPECT_EQ(next.size(), 12u) << "three artists with four tracks each";
  EXPECT_EQ(most(next, artist_of), 4);
  EXPECT_LE(most(next, album_of), 3);
  for (size_t i = 3; i < next.size(); ++i)
    EXPECT_FALSE(next[i].track.artist == next[i - 1].track.artist && next[i].track.artist == next[i - 2].track.artist &&
                 next[i].track.artist == next[i - 3].track.artist);
  const int64_t artist = identity_of_artist("Artist 0");
  how.of.heard = 2;
  how.heard = {{artist, 0, how.now - k_radio_rule_seconds}, {artist, 0, how.now - k_radio_rule_seconds - 1}};
  EXPECT_EQ(next_of(store, how).size(), 11u) << "one was heard within three hours, the other before";
  how.of.settings.clear();
  EXPECT_GT(next_of(store, how).size(), 12u) << "without the rule";
}

TEST(History, NoArtistFloodsOrFollowsTheLastOneHeard) {
  std::vector<hand_made_track> tracks;
  for (int i = 1; i <= 24; ++i)
    tracks.push_back({.id = i, .artist = i <= 12 ? "A" : "B" + std::to_string(i), .genres = {"X"}});
  hand_made_store store(tracks);
  listening how;
  how.of.id = 1;
  how.of.heard = 3;
  how.heard = {{identity_of_artist("A"), 0, 0}, {identity_of_artist("A"), 0, 0}, {identity_of_artist("B20"), 0, 0}};
  const std::vector<choice> next = next_of(store, how, 6);
  ASSERT_EQ(next.size(), 6u);
  EXPECT_NE(next[0].track.artist, key("A")) << "it was heard last";
  EXPECT_LE(std::count_if(next.begin(), next.end(), [](const choice& each) { return each.track.artist == key("A"); }),
            1)
      << "two of the last twelve were of it";
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
  for (int i = 2; i <= 11; ++i) store.told[i].banned = true;
  for (int i = 12; i <= 20; ++i) store.told[i].last = 100 - (i - 11);
  listening how;
  how.of.id = 1;
  how.of.heard = 100;
  store.told[1].last = 99;
  const std::vector<choice> next = next_of(store, how, 2);  // of ten, those that weren't among the last five
  ASSERT_EQ(next.size(), 2u);
  EXPECT_TRUE(has(next, 20) && has(next, 19)) << order(next);
  EXPECT_EQ(next_of(store, how, 25).size(), 5u);
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
