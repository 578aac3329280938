// What choosing is made of, part by part over small catalogues that are written down here: how a request is read, which windows a
// source names, what each score term gives and says, and the order at the end.
#include <gtest/gtest.h>

#include <cmath>

#include "choice/arrange.h"
#include "choice/sources.h"
#include "hand_made_store.h"

namespace velox::catalog {
namespace {

/** All tracks of a store, scored for a request. */
class scores {
 public:
  scores(hand_made_store& store, const request& asked) : by_(store, asked, all_) {
    const track_filter any;
    store.look({.windows = {{.of = window::passing, .limit = 10000}}, .filter = &any}, all_);
    for (const scored& each : by_.ranked()) of_[all_.all()[each.track].id] = each;
  }
  const scored& of(int64_t id) const { return of_.at(id); }
  reason why(int64_t id) { return by_.explain(of(id)); }

 private:
  candidates all_;
  scorer by_;
  std::map<int64_t, scored> of_;
};

TEST(Terms, SharesAddUpAndTheNearestTieIsTold) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}, .year = 1991, .album = "One"},
                         {.id = 2, .artist = "B", .genres = {"X"}},
                         {.id = 3, .artist = "A", .genres = {"X"}},
                         {.id = 4, .artist = "A", .genres = {"X"}, .album = "One"},
                         {.id = 5, .artist = "B", .genres = {"X"}, .year = 1991},
                         {.id = 6, .artist = "A", .genres = {"X"}, .year = 1991, .album = "One"},
                         {.id = 7, .artist = "B", .genres = {"X", "Y"}},
                         {.id = 8, .artist = "B", .genres = {"Y"}},
                         {.id = 9, .artist = "B", .genres = {"Y"}, .year = 1981},
                         {.id = 10, .artist = "A", .genres = {"Y"}},
                         {.id = 11, .artist = "B", .genres = {"Y", "Y2", "Y3", "Y4"}}});
  request asked = from_tracks(store, {1});
  scores made(store, asked);
  const double x = std::log(1 + 11.0 / 7), y = std::log(1 + 11.0 / 5);
  const struct {
    int64_t id;
    double similarity;
    const char *kind, *sentence;
  } rows[] = {
      {2, 0.78, "genre", "genre X, like \"Song 1\" (seed 1)"},
      {3, 0.88, "artist", "same artist as A (seed 1); genre X"},
      {4, 0.94, "album", "same album as \"Song 1\" (seed 1); genre X"},
      {5, 1.00, "similar", "genre X, 1990s, like \"Song 1\" (seed 1)"},
      {6, 1.00, "album", "same album as \"Song 1\" (seed 1); genre X, 1990s"},  // and not more
      {7, 0.78 * x / std::sqrt(x * x + y * y), "genre", "genre X, like \"Song 1\" (seed 1)"},
      {8, 0, "popular", "popular in this catalogue"},
      {9, 0.22 * 0.6 / 2, "era", "from about the same years as \"Song 1\" (seed 1)"},  // nothing else is alike: half
      {10, 0.10, "artist", "same artist as A (seed 1)"},
  };
  for (const auto& row : rows) {
    EXPECT_NEAR(made.of(row.id).similarity, row.similarity, 0.001) << row.id;
    EXPECT_EQ(made.why(row.id).kind, row.kind) << row.id;
    EXPECT_EQ(made.why(row.id).sentence, row.sentence) << row.id;
  }
  request liked = from_tracks(store, {11});
  liked.seeds[0].liked = true;
  scores of_liked(store, liked);
  EXPECT_EQ(of_liked.why(11).sentence, "same artist as B (liked); genre Y2, genre Y3")
      << "the rarest first, two at most";
  EXPECT_EQ(of_liked.why(11).seed, 0u) << "nobody asked for it";
}

TEST(Terms, RareGenresCountMoreThanCommonOnesAndMoodsLess) {
  std::vector<hand_made_track> tracks = {
      {.id = 1, .artist = "A", .genres = {"Rare", "Common"}, .moods = {"Calm"}},
      {.id = 2, .artist = "B", .genres = {"Rare"}},
      {.id = 3, .artist = "C", .moods = {"Calm"}},
      {.id = 4, .artist = "D", .genres = {"Common"}},
  };
  for (int i = 0; i < 16; ++i) tracks.push_back({.id = 10 + i, .artist = "O", .genres = {"Common"}});
  hand_made_store store(tracks);
  request asked = from_tracks(store, {1});
  scores made(store, asked);
  const double rare = std::log(1 + 20.0 / 2), calm = 0.6 * rare, common = std::log(1 + 20.0 / 18);
  const double length = std::sqrt(rare * rare + calm * calm + common * common);
  EXPECT_NEAR(made.of(2).similarity, 0.78 * rare / length, 0.001);
  EXPECT_NEAR(made.of(3).similarity, 0.78 * calm / length, 0.001);
  EXPECT_NEAR(made.of(4).similarity, 0.78 * common / length, 0.001);
}

/** The parts of a score that can be told: chance moves the rest by 0.03. */
TEST(Terms, ScoresFollowTheNearestSeedTheOthersALittleAndTheFocus) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}},
                         {.id = 2, .artist = "B", .genres = {"Y"}},
                         {.id = 3, .artist = "C", .genres = {"X"}, .popularity = 0},
                         {.id = 4, .artist = "D", .genres = {"Y"}, .popularity = 1000}});
  const struct {
    int64_t id;
    std::initializer_list<int64_t> seeds;
    int popularity, similarity;
    uint32_t seed;
    double score;
  } rows[] = {
      {3, {1}, -1, -1, 0, 0.89 * 0.78},
      {3, {1, 2}, -1, -1, 0, 0.89 * (0.9 * 0.78 + 0.1 * 0.39)},
      {4, {1, 2}, -1, -1, 1, 0.89 * (0.9 * 0.78 + 0.1 * 0.39) + 0.08},
      {4, {2}, 1000, -1, 0, 0.62 * 0.78 + 0.35},
      {4, {2}, 0, -1, 0, 0.62 * 0.78},
      {4, {2}, 600, -1, 0, 0.62 * 0.78 + 0.35 * 0.6},
      {3, {1}, -1, 1000, 0, 0.89 * 0.78},
      {3, {1}, -1, 0, 0, 0.89 * (1 - (0.78 - scorer::k_near))},
  };
  for (const auto& row : rows) {
    request asked = from_tracks(store, row.seeds);
    asked.popularity = row.popularity;
    asked.similarity = row.similarity;
    const scored made = scores(store, asked).of(row.id);
    EXPECT_EQ(made.seed, row.seed) << row.id;
    EXPECT_GE(made.score, row.score - 0.001) << row.id << " " << row.popularity << " " << row.similarity;
    EXPECT_LE(made.score, row.score + 0.031) << row.id << " " << row.popularity << " " << row.similarity;
  }
}

TEST(Arranging, SeedsTakeTurnsAndNoArtistFollowsItself) {
  const struct {
    const char* what;
    std::vector<std::pair<int64_t, uint32_t>> tracks;  // artist and seed, best first, numbered from 1
    bool radio, rotate;
    const char* expected;
  } rows[] = {
      {"best first", {{1, 0}, {1, 0}, {2, 0}}, false, false, "1 2 3"},
      {"artists apart", {{1, 0}, {1, 0}, {2, 0}, {2, 0}, {3, 0}}, false, true, "1 3 2 4 5"},
      {"seeds in turns", {{1, 0}, {2, 0}, {3, 1}, {4, 1}}, false, true, "1 3 2 4"},
      {"artists before seeds", {{1, 0}, {1, 1}, {2, 1}, {3, 0}}, false, true, "1 3 4 2"},
      {"most of it is one artist's", {{1, 0}, {2, 0}, {3, 0}, {3, 0}, {3, 0}}, false, true, "3 1 4 2 5"},
      {"a station's order stays", {{1, 0}, {1, 0}, {2, 0}}, true, false, "3 2 1"},
  };
  for (const auto& row : rows) {
    std::vector<choice> tracks;
    uint32_t seeds = 1;
    for (const auto& [artist, seed] : row.tracks) {
      choice one{};
      one.track.id = static_cast<int64_t>(tracks.size()) + 1;
      one.track.family = artist;
      one.seed = seed;
      one.score = 1 - 0.01f * static_cast<float>(tracks.size());
      seeds = std::max(seeds, seed + 1);
      tracks.push_back(one);
    }
    request asked;
    asked.seeds.resize(seeds);
    asked.radio = row.radio;
    asked.rotate = row.rotate;
    std::reverse(tracks.begin(), tracks.end());
    arrange(tracks, asked);
    EXPECT_EQ(order(tracks), row.expected) << row.what;
  }
}

// ---- Requests -------------------------------------------------------------------------------------------------------

TEST(Requests, AreReadWithTheirDefaultsAndLimits) {
  const hand_made_store store({{.id = 1, .artist = "A"}});
  const struct {
    const char *key, *value;
    uint32_t count, per_artist;
    int popularity;
    bool rotate;
  } rows[] = {
      {"", "", 25, 3, -1, true},
      {VELOX_LOOKUP_OPTION_RETURN_COUNT, "0", 25, 3, -1, true},
      {VELOX_LOOKUP_OPTION_RETURN_COUNT, "5000", 1000, 3, -1, true},
      {VELOX_LOOKUP_OPTION_RETURN_COUNT, "many", 25, 3, -1, true},
      {VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, "0", 25, 0, -1, true},
      {VELOX_LOOKUP_OPTION_FOCUS_POPULARITY, "1001", 25, 3, 1000, true},
      {VELOX_LOOKUP_OPTION_ROTATION, "NONE", 25, 3, -1, false},
      {VELOX_LOOKUP_OPTION_ROTATION, "RADIO", 25, 3, -1, true},
  };
  for (const auto& row : rows) {
    const velox_standin_item options[] = {{row.key, row.value, 0}};
    const request made = make_request(store, {options, {}}, {});
    EXPECT_EQ(made.count, row.count) << row.key;
    EXPECT_EQ(made.per_artist, row.per_artist) << row.key;
    EXPECT_EQ(made.popularity, row.popularity) << row.key;
    EXPECT_EQ(made.rotate, row.rotate) << row.key;
  }
  const velox_standin_item place[] = {{VELOX_LOOKUP_OPTION_CATALOG_FILTER, "Soul", 0}};
  resolved found;
  found.genre = 7, found.artist = 8;
  const request in_genre = make_request(store, {place, {}}, found);
  EXPECT_TRUE(in_genre.filter.genre == 7 && in_genre.filter.artist == 0) << "a genre before an artist of its name";
  EXPECT_EQ(in_genre.per_artist, 3u);
  found.genre = 0;
  EXPECT_EQ(make_request(store, {place, {}}, found).per_artist, 0u) << "all that is wanted is of one artist";
}

TEST(Requests, SeedsAreLikeTheirTracksArtistsAndAttributes) {
  hand_made_store store(
      {{.id = 1, .artist = "A", .genres = {"X", "Y"}, .year = 1984}, {.id = 2, .artist = "B", .year = 1999}});
  const int64_t x = store.attribute_of(k_genre, "X"), y = store.attribute_of(k_genre, "Y"),
                eighties = store.attribute_of(k_era, "1980s"), nineties = store.attribute_of(k_era, "1990s");

  seed_record artist_alone, of_track;
  artist_alone.artist = 5, artist_alone.artist_attributes = {{x, 16}, {y, 4}};
  of_track.attributes = {y};
  const seed artist = make_seed(store, artist_alone);
  ASSERT_EQ(artist.profile.size(), 2u);
  EXPECT_FLOAT_EQ(artist.profile[0].weight, 1);
  EXPECT_FLOAT_EQ(artist.profile[1].weight, 0.5f) << "the root of a quarter";

  const std::string genre = std::to_string(x), era = std::to_string(eighties), other_era = std::to_string(nineties);
  const velox_standin_item lone[] = {{VELOX_LOOKUP_DATA_SEED, VELOX_LOOKUP_SEED_ATTRIBUTE, 1},
                                     {VELOX_LOOKUP_DATA_SEED_GENRE, genre.c_str(), 1},
                                     {VELOX_LOOKUP_DATA_SEED_ERA, era.c_str(), 1},
                                     {VELOX_LOOKUP_DATA_SEED_ERA, other_era.c_str(), 1}};
  for (const size_t items : {3u, 4u}) {
    resolved found;
    found.seeds = {of_track};
    const request made = make_request(store, {{}, {lone, items}}, found);
    EXPECT_TRUE(made.attributes_only);
    EXPECT_EQ(made.filter.any_of[k_genre], std::vector<int64_t>{x});
    EXPECT_EQ(made.filter.any_of[k_era].size(), items - 2);
    ASSERT_EQ(made.seeds.size(), 1u);
    ASSERT_EQ(made.seeds[0].profile.size(), 1u) << "like what it asks for, and nothing else";
    EXPECT_EQ(made.seeds[0].profile[0].attribute, x);
    EXPECT_EQ(made.seeds[0].year, items == 3 ? 1985 : 0) << "the middle of one decade";
  }
}

// ---- Sources --------------------------------------------------------------------------------------------------------

/** The windows that a source names: "artist 5 40" and so on, those of an attribute summed up by level. */
std::string windows_of(const store& from, const request& asked, void (*add)(gathering&)) {
  gathering all(from, asked, 10);
  add(all);
  std::map<std::pair<int64_t, int>, uint32_t> of_level;
  std::string told;
  for (const window& each : all.windows()) {
    const char* const names[] = {"attribute ", "artist ", "album ", "sound ", "path ", "passing "};
    if (each.of == window::of_attribute)
      of_level[{each.id, each.level}] += each.limit;
    else
      told += names[each.of] + std::to_string(each.id) + " " + std::to_string(each.limit) + "; ";
  }
  for (const auto& [which, rows] : of_level)
    told += std::to_string(which.first) + "/" + std::to_string(which.second) + " " + std::to_string(rows) + "; ";
  return told;
}

TEST(Sources, NameTheirWindows) {
  hand_made_store store({{.id = 1, .artist = "A", .genres = {"X"}, .year = 1984, .popularity = 0},
                         {.id = 2, .artist = "B", .genres = {"X"}, .year = 1984, .popularity = 1000}});
  const int64_t x = store.attribute_of(k_genre, "X"), era = store.attribute_of(k_era, "1980s");
  request asked;
  asked.seeds.push_back({.artist = 5, .album = 6, .profile = {{x, 1}}, .eras = {era}, .label = "", .artist_name = ""});
  const auto both_levels = [](int64_t id) { return std::to_string(id) + "/0 1; " + std::to_string(id) + "/4 1; "; };
  const struct {
    const char* what;
    void (*add)(gathering&);
    std::string expected;
  } rows[] = {{"seeds", add_seeds, "artist 5 40; album 6 40; " + both_levels(x)},
              {"artists", add_artists, "artist 5 300; "},
              {"genres", add_genres, both_levels(x)},
              {"eras", add_eras, both_levels(era)},
              {"popular", add_popular, both_levels(k_everything)},
              {"filtered", add_filtered, ""},
              {"passing", add_passing, ""}};
  for (const auto& row : rows) EXPECT_EQ(windows_of(store, asked, row.add), row.expected) << row.what;
  asked.filter.set[k_era] = true;
  asked.filter.any_of[k_era] = {era};
  EXPECT_EQ(windows_of(store, asked, add_filtered), both_levels(era));
  EXPECT_EQ(windows_of(store, asked, add_passing), "passing 0 40; ");
  asked.filter.set[k_mood] = true;
  EXPECT_EQ(windows_of(store, asked, add_passing), "") << "no mood, no track";
  EXPECT_EQ(windows_of(store, asked, add_filtered), "");
}

TEST(Sources, TakeOfEachLevelAsTheFocusAsks) {
  std::vector<hand_made_track> tracks;
  for (int i = 0; i < 2000; ++i)
    tracks.push_back({.id = i + 1, .artist = "A", .genres = {"X"}, .popularity = i % 2 * 1000});
  hand_made_store store(tracks);
  request asked;
  asked.last_track = 2000;
  asked.seeds.push_back(
      {.profile = {{store.attribute_of(k_genre, "X"), 1}}, .eras = {}, .label = "", .artist_name = ""});
  const auto rows_of = [&](int level, int focus) {
    asked.popularity = focus;
    const std::string told = windows_of(store, asked, add_genres), name = "/" + std::to_string(level) + " ";
    const size_t at = told.find(name);
    return at == std::string::npos ? 0 : std::stoi(told.substr(at + name.size()));
  };
  const auto near = [](int rows, int expected) { return rows >= expected && rows < expected + 16; };
  EXPECT_TRUE(near(rows_of(0, -1), 150) && near(rows_of(4, -1), 450)) << "the popular rather, three to one";
  EXPECT_TRUE(rows_of(0, 1000) < 30 && rows_of(4, 1000) > 570);
  EXPECT_TRUE(rows_of(0, 0) > 570 && rows_of(4, 0) < 30);
  EXPECT_TRUE(near(rows_of(0, 500), 300) && near(rows_of(4, 500), 300));
  EXPECT_EQ(windows_of(store, asked, add_popular).substr(0, 2), "0/") << "of everything";
  EXPECT_EQ(windows_of(store, asked, add_popular).find("/0 "), std::string::npos) << "what is most popular suffices";
}

}  // namespace
}  // namespace velox::catalog
