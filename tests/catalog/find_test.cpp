// Finding by name, and the lists.
#include "catalogue.h"

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

}  // namespace
