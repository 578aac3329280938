// Choosing, over small catalogues that are written down here: what each score term gives, who comes in which order, what a history
// lets through, and how many questions it all takes.
#include <gtest/gtest.h>

#include <fstream>

#include "choice/answers.h"
#include "choice/history.h"
#include "hand_made_store.h"
#include "velox_catalog.h"

namespace velox::catalog {
namespace {

/** A request with tracks as seeds. */
request from_tracks(const hand_made_store& store, std::initializer_list<int64_t> seeds, uint32_t count = 25) {
  request made;
  for (const int64_t id : seeds) {
    made.seeds.push_back(make_seed(store, store.record_of(id)));
    made.seeds.back().ordinal = static_cast<uint32_t>(made.seeds.size());
  }
  made.count = count;
  made.last_track = 1000;
  return made;
}

choices chosen(hand_made_store& store, const request& asked, listener* history = nullptr) {
  progress nobody(nullptr, store);
  return choose(store, asked, nobody, history);
}

std::string order(const std::vector<choice>& tracks) {
  std::string told;
  for (const choice& each : tracks) told += (told.empty() ? "" : " ") + std::to_string(each.track.id);
  return told;
}

std::vector<hand_made_track> with_others(std::vector<hand_made_track> tracks, int others) {
  for (int i = 0; i < others; ++i)
    tracks.push_back({.id = 900 + i, .artist = "Other " + std::to_string(i), .genres = {"Common"}, .year = 1900});
  return tracks;
}

// ---- Terms ----------------------------------------------------------------------------------------------------------------------

TEST(Terms, EachDrawsByItsShareAndSaysSo) {
  hand_made_store store(with_others(
      {{.id = 1, .artist = "A", .genres = {"Rare", "Common"}, .moods = {"Calm"}, .year = 1990, .album = "One"},
       {.id = 2, .artist = "A", .genres = {"Rare", "Common"}, .moods = {"Calm"}, .year = 1990, .album = "One"},
       {.id = 3, .artist = "A", .genres = {"Rare", "Common"}, .moods = {"Calm"}, .year = 1990},
       {.id = 4, .artist = "B", .genres = {"Rare", "Common"}, .moods = {"Calm"}, .year = 2004},
       {.id = 5, .artist = "C", .genres = {"Rare"}, .year = 2020},
       {.id = 6, .artist = "D", .genres = {"Common"}, .year = 2020},
       {.id = 7, .artist = "E", .genres = {"Alien"}, .year = 1991},
       {.id = 8, .artist = "F", .genres = {"Alien"}, .year = 2020}},
      40));
  request asked = from_tracks(store, {1}, 60);
  asked.rotate = false;
  const choices made = chosen(store, asked);
  struct {
    int64_t id;
    const char *kind, *sentence;
  } const rows[] = {
      {2, "album", "same album as \"Song 1\" (seed 1); genre Rare, mood Calm, genre Common, 1990s"},
      {3, "artist", "same artist as A (seed 1); genre Rare, mood Calm, genre Common, 1990s"},
      {4, "similar", "genre Rare, mood Calm, genre Common, like \"Song 1\" (seed 1)"},
      {5, "genre", "genre Rare, like \"Song 1\" (seed 1)"},
      {6, "genre", "genre Common, like \"Song 1\" (seed 1)"},
  };
  ASSERT_GE(made.tracks.size(), 5u);
  for (const auto& row : rows) {
    const auto found = std::find_if(made.tracks.begin(), made.tracks.end(),
                                    [&](const choice& each) { return each.track.id == row.id; });
    ASSERT_NE(found, made.tracks.end()) << row.id;
    if (row.id == 4) {
      EXPECT_EQ(found->why.kind, "similar");
      EXPECT_NE(found->why.sentence.find(", like \"Song 1\" (seed 1)"), std::string::npos) << found->why.sentence;
      continue;
    }
    EXPECT_EQ(found->why.kind, row.kind) << row.id;
    EXPECT_EQ(found->why.sentence, row.sentence) << row.id;
  }
  EXPECT_EQ(order(made.tracks).substr(0, 7), "2 3 4 5")
      << "each term adds to the next, and rare counts more than common";
}

TEST(Terms, NearYearsCountAndHalfWhereNothingElseIsAlike) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}, .year = 1990},
                         {.id = 2, .artist = "B", .genres = {"X"}, .year = 2010},
                         {.id = 3, .artist = "C", .genres = {"X"}, .year = 1993},
                         {.id = 4, .artist = "D", .genres = {"Y"}, .year = 1990},
                         {.id = 5, .artist = "E", .genres = {"Y"}, .year = 1950}});
  request asked = from_tracks(store, {1});
  const candidates none;
  candidates all;
  const track_filter any;
  store.look({.windows = {{.of = window::passing, .limit = 100}}, .filter = &any}, all);
  scorer by(store, asked, all);
  std::map<int64_t, scored> of;
  for (const scored& each : by.ranked()) of[all.all()[each.track].id] = each;
  EXPECT_NEAR(of[3].similarity - of[2].similarity, 0.22 * (17.0 / 25), 0.001);
  EXPECT_NEAR(of[4].similarity, 0.11, 0.001);
  EXPECT_EQ(of[5].similarity, 0);
  EXPECT_EQ(by.explain(of[4]).kind, "era");
  EXPECT_EQ(by.explain(of[5]).sentence, "popular in this catalogue");
}

TEST(Terms, FocusTurnsTheScore) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}},
                         {.id = 2, .artist = "B", .genres = {"X"}, .popularity = 1000},
                         {.id = 3, .artist = "C", .genres = {"X"}, .popularity = 0},
                         {.id = 4, .artist = "D", .genres = {"X"}, .popularity = 500},
                         {.id = 5, .artist = "E", .genres = {"X", "Y", "Z"}, .popularity = 500}});
  struct {
    int popularity, similarity;
    const char* expected;
  } const rows[] = {{-1, -1, "2 4 3 5"}, {1000, -1, "2 4 3 5"}, {0, -1, "3 4 2 5"}, {-1, 0, "5 2 4 3"}};
  for (const auto& row : rows) {
    request asked = from_tracks(store, {1});
    asked.popularity = row.popularity;
    asked.similarity = row.similarity;
    asked.rotate = false;
    EXPECT_EQ(order(chosen(store, asked).tracks), row.expected) << row.popularity << " " << row.similarity;
  }
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
  // One artist has most of it: it must come first and at every second place.
  hand_made_store one({{.id = 1, .artist = "S", .genres = {"X"}},
                       {.id = 2, .artist = "A", .genres = {"X"}, .popularity = 1},
                       {.id = 3, .artist = "A", .genres = {"X"}, .popularity = 1},
                       {.id = 4, .artist = "A", .genres = {"X"}, .popularity = 1},
                       {.id = 5, .artist = "B", .genres = {"X"}, .popularity = 990},
                       {.id = 6, .artist = "C", .genres = {"X"}, .popularity = 990}});
  const std::vector<choice> spread = chosen(one, from_tracks(one, {1})).tracks;
  ASSERT_EQ(spread.size(), 5u);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(spread[i].track.artist == key("A"), i % 2 == 0) << order(spread);
}

TEST(Choosing, GoesWiderStepByStepAndTellsTheStep) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}, .year = 1990},
                         {.id = 2, .artist = "A", .genres = {"Z"}, .year = 1920},
                         {.id = 3, .artist = "A", .genres = {"Z"}, .year = 1920},
                         {.id = 4, .artist = "A", .genres = {"Z"}, .year = 1920},
                         {.id = 5, .artist = "A", .genres = {"Z"}, .year = 1920},
                         {.id = 6, .artist = "B", .genres = {"Y"}, .year = 1995},
                         {.id = 7, .artist = "C", .genres = {"Y"}, .year = 1930}});
  struct {
    uint32_t count;
    const char *tracks, *fallback;
  } const rows[] = {{1, "2", "more tracks of the seeds' artists"},
                    {4, "2 3 4 6", "other tracks of the same era"},
                    {5, "2 3 4 6 7", "popular tracks"}};
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
  struct {
    const char* what;
    standin::mdo_ref (*answer)(store&, const velox_standin_request&, progress&);
    std::vector<velox_standin_item> options, data;
    int most;
  } const rows[] = {
      {"recommendation",
       recommend,
       {},
       {{VELOX_LOOKUP_DATA_SEED_TUI, "t5", 1}, {VELOX_LOOKUP_DATA_SEED_TUI, "t900", 2}},
       8},
      {"recommendation of 1000",
       recommend,
       {{VELOX_LOOKUP_OPTION_RETURN_COUNT, "1000", 0}, {VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, "0", 0}},
       {{VELOX_LOOKUP_DATA_SEED_TUI, "t5", 1}},
       8},
      {"new station", create_station, {}, {{VELOX_LOOKUP_DATA_SEED_TUI, "t5", 1}}, 10},
      {"event",
       tell_station,
       {},
       {{VELOX_LOOKUP_DATA_EVENT, "TRACK_LIKE", 1}, {VELOX_LOOKUP_DATA_EVENT_TUI, "t7", 1}},
       6},
      {"lookahead", look_ahead, {}, {}, 10},
  };
  for (const auto& row : rows) {
    std::vector<velox_standin_item> data = row.data;
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
    const uint32_t tracks = velox_standin_mdo_child_count(told.get(), VELOX_CHILD_TRACK);
    EXPECT_GT(tracks + velox_standin_mdo_child_count(told.get(), VELOX_CHILD_ALBUM), 0u) << row.what;
    EXPECT_TRUE(row.options.empty() || tracks == 1000) << tracks;
    if (const char* made = velox_standin_mdo_value(told.get(), VELOX_VAL_STATION_ID, 1)) id = made;
  }
  std::system(("rm -r " + base).c_str());
}

}  // namespace
}  // namespace velox::catalog
