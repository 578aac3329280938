// Finding by name, and the lists.
#include "catalogue.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"  // what a place doesn't tell is 0

namespace {

class Find : public Catalogue {
 protected:
  static std::string names(const std::vector<Item>& found) {
    std::string told;
    for (const Item& each : found)
      told += (told.empty() ? "" : ", ") + (each.title().empty() ? each.artist() : each.title());
    return told;
  }
};

TEST_F(Find, NamesAreFoundBestFirst) {
  scan(write("names.tsv",
             "title\tartist\talbum\tpopularity\n"
             "Rivers of Light\tBjörk Ångström\tNight Letters\t900\n"
             "River\tJohn O'Dell\tRiver\t10\n"
             "The River\tJohn O'Dell\tRiver\t500\n"
             "River Song\tZoë\t\t20\n"
             "!!!\tAC/DC Tribute\tLoud\t5\n"
             "Straße \"quoted\"\tТест\t\t5\n"));
  constexpr uint32_t TRACKS = VELOX_CATALOG_TRACKS, ARTISTS = VELOX_CATALOG_ARTISTS;
  const struct {
    const char* text;
    uint32_t kinds;
    const char* expected;
  } cases[] = {{"river", TRACKS, "River, Rivers of Light, River Song, The River"},
               {"RIVER", VELOX_CATALOG_ALBUMS, "River"},
               {"the riv", TRACKS, "The River"},
               {"bjork ang", ARTISTS, "Björk Ångström"},
               {"ac dc", ARTISTS, "AC/DC Tribute"},
               {"!!!", TRACKS, "!!!"},
               {"strasse \"QUO", TRACKS, "Straße \"quoted\""},
               {"ТЕСТ", ARTISTS, "Тест"},
               {"\" OR name:* NEAR(", TRACKS, ""},
               {"ivers", TRACKS, ""}};
  for (const auto& each : cases) EXPECT_EQ(names(search(each.text, each.kinds)), each.expected) << each.text;
  EXPECT_EQ(search("river", VELOX_CATALOG_TRACKS | VELOX_CATALOG_ALBUMS, 1).size(), 2u) << "the limit is for each kind";
}

TEST_F(Find, ListsTellWhatThereIs) {
  scan(write("lists.tsv",
             "title\tartist\tgenre\tmood\tdate\n"
             "1\tA\tRock; Pop\tCalm\t1991\n"
             "2\tA\trock\tCalm; Warm\t1999\n"
             "3\tB\tROCK;Folk\t\t2001-02\n"));
  const auto list = [&](const char* type) {
    std::string told;
    EXPECT_EQ(velox_catalog_list(
                  catalog, type,
                  [](void* to, velox_list_element_handle element, const char* name, uint64_t tracks) {
                    EXPECT_STREQ(velox_standin_list_element_name(element), name);
                    *static_cast<std::string*>(to) += std::string(name) + " " + std::to_string(tracks) + ";";
                    return 0;
                  },
                  &told),
              0u);
    return told;
  };
  EXPECT_EQ(list(VELOX_LIST_GENRES), "Rock 3;Folk 1;Pop 1;");
  EXPECT_EQ(list(VELOX_LIST_MOODS), "Calm 2;Warm 1;");
  EXPECT_EQ(list(VELOX_LIST_ERAS), "1990s 2;2000s 1;");
  const std::string rock = search("1").at(0).at("_sdkmgr_val_list_genre_id");
  scan(write("lists.tsv", "title\tartist\tgenre\n9\tA\tJazz\n"));
  EXPECT_EQ(list(VELOX_LIST_GENRES), "Jazz 1;");
  scan(write("lists.tsv", "title\tartist\tgenre\n1\tA\tRock\n"));
  EXPECT_EQ(search("1").at(0).at("_sdkmgr_val_list_genre_id"), rock) << "a genre that comes back has its number";
}

TEST_F(Find, TheDemonstrationCatalogueSaysWhatItIs) {
  scan(DEMO_TSV);
  EXPECT_GE(counts().tracks, 400u);
  EXPECT_GE(counts().artists, 60u);
  EXPECT_EQ(counts().invented, 1);
  scan(write("real.tsv", "title\tartist\nReal\tReal\n"));
  EXPECT_EQ(counts().invented, 0);
}

/** What velox_catalog_browse tells, by names. */
class Browse : public Find {
 protected:
  void SetUp() override {
    Find::SetUp();
    scan(write("browse.tsv",
               "title\tartist\talbum\talbum_artist\tgenre\tdate\tpopularity\ttrack_tui\n"
               "One\tbeta\tZebra\t\tRock\t1991\t10\tt1\n"
               "Two\tAlpha\tApple\t\tRock\t1985\t900\tt2\n"
               "Three\tAlpha\tApple\t\tFolk\t1985\t20\tt3\n"
               "Four\tGamma\tMixed\tAlpha\tRock\t1999\t500\tt4\n"
               "Five\tGamma\t\t\t\t\t1\tt5\n"));
  }
  void TearDown() override {
    found.clear();
    Find::TearDown();
  }
  std::string browse(const velox_catalog_browsing& what, pask_status expected = 0) {
    found.clear();
    EXPECT_EQ(velox_catalog_browse(
                  catalog, &what,
                  [](void* to, velox_mdo_handle each) {
                    static_cast<std::vector<Item>*>(to)->emplace_back(each);
                    return 0;
                  },
                  &found),
              expected)
        << message();
    return names(found);
  }
  std::vector<Item> found;
};

TEST_F(Browse, ByPlaceAndOrder) {
  constexpr uint32_t TRACKS = VELOX_CATALOG_TRACKS, ALBUMS = VELOX_CATALOG_ALBUMS, ARTISTS = VELOX_CATALOG_ARTISTS;
  browse({.kind = ALBUMS, .limit = 1});
  const std::string apple = found.at(0).at(VELOX_VAL_ALBUM_ID);
  browse({.kind = ARTISTS, .limit = 1});
  const std::string alpha = found.at(0).at("_sdkmgr_val_artist_id");
  EXPECT_EQ(found.at(0).at(VELOX_VAL_TRACKS), "2");
  const struct {
    const char* why;
    velox_catalog_browsing what;
    const char* expected;
  } rows[] = {
      {"by name, whatever the case", {.kind = ARTISTS, .limit = 9}, "Alpha, beta, Gamma"},
      {"a page", {.kind = ARTISTS, .offset = 1, .limit = 1}, "beta"},
      {"by title", {.kind = ALBUMS, .limit = 9}, "Apple, Mixed, Zebra"},
      {"by artist", {.kind = ALBUMS, .order = VELOX_CATALOG_BY_ARTIST, .limit = 9}, "Apple, Mixed, Zebra"},
      {"newest", {.kind = ALBUMS, .order = VELOX_CATALOG_NEWEST, .limit = 2}, "Mixed, Apple"},
      {"tracks of an album", {.kind = TRACKS, .album = apple.c_str(), .limit = 9}, "Two, Three"},
      {"one album", {.kind = ALBUMS, .album = apple.c_str(), .limit = 9}, "Apple"},
      {"no identifier of ours", {.kind = ALBUMS, .album = "x-y", .limit = 9}, ""},
      {"an artist's albums", {.kind = ALBUMS, .artist = alpha.c_str(), .limit = 9}, "Apple, Mixed"},
      {"an artist's tracks", {.kind = TRACKS, .artist = alpha.c_str(), .limit = 9}, "Two, Three"},
      {"one artist", {.kind = ARTISTS, .artist = alpha.c_str(), .limit = 9}, "Alpha"},
      {"one track", {.kind = TRACKS, .track = "t4", .limit = 9}, "Four"},
      {"of a genre", {.kind = TRACKS, .list_type = VELOX_LIST_GENRES, .element = "ROCK", .limit = 9}, "Two, Four, One"},
      {"its albums",
       {.kind = ALBUMS, .list_type = VELOX_LIST_GENRES, .element = "rock", .limit = 9},
       "Apple, Mixed, Zebra"},
      {"its artists", {.kind = ARTISTS, .list_type = VELOX_LIST_GENRES, .element = "folk", .limit = 9}, "Alpha"},
      {"of years", {.kind = ALBUMS, .first_year = 1985, .last_year = 1995, .limit = 9}, "Apple, Zebra"},
      {"backwards", {.kind = ALBUMS, .first_year = 1999, .last_year = 1990, .limit = 9}, "Mixed, Zebra"},
      {"of no genre there is", {.kind = TRACKS, .list_type = VELOX_LIST_GENRES, .element = "Polka", .limit = 9}, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(browse(row.what), row.expected) << row.why;
  browse({.kind = 3, .limit = 1}, VELOX_STANDIN_ERR_INVALID_ARG);
  browse({.kind = TRACKS, .order = 4, .limit = 1}, VELOX_STANDIN_ERR_INVALID_ARG);

  for (const char* genre : {"", "Rock"}) {
    velox_catalog_browsing some = {.kind = TRACKS, .order = VELOX_CATALOG_RANDOM, .random_seed = 7, .limit = 3};
    if (*genre) some.list_type = VELOX_LIST_GENRES, some.element = genre;
    const std::string drawn = browse(some);
    EXPECT_EQ(found.size(), 3u);
    EXPECT_EQ(browse(some), drawn) << "the same seed";
    bool another = false;
    while (!another && ++some.random_seed < 50) another = browse(some) != drawn;
    EXPECT_TRUE(another);
  }
}

TEST_F(Browse, TheChartCountsGenresByDecade) {
  std::string told;
  const auto add = [](void* to, const char* genre, uint32_t decade, uint64_t tracks) {
    *static_cast<std::string*>(to) +=
        std::string(genre) + " " + std::to_string(decade) + " " + std::to_string(tracks) + ";";
    return 0;
  };
  EXPECT_EQ(velox_catalog_chart(catalog, add, &told), 0u);
  EXPECT_EQ(told, " 0 1;Rock 1980 1;Rock 1990 2;Folk 1980 1;");
  expect_sound();
  scan(write("browse.tsv", "title\tartist\tgenre\tdate\nOne\tbeta\tFolk\t1991\n"));
  told.clear();
  EXPECT_EQ(velox_catalog_chart(catalog, add, &told), 0u);
  EXPECT_EQ(told, "Folk 1990 1;");
  expect_sound();
}

}  // namespace
