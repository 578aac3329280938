// The calls that a request is made of, in their exact order.
#include "service_fixture.h"

namespace {

const std::string DATA = "lookup_add_data cadenzreq1 velox_lookup_data_radio_";

class Lookup : public Service {
 protected:
  // The lookup calls of one request, without execution, result and release.
  std::string assembled(velox_cadenz_filter_handle filter) {
    recording::take();
    EXPECT_EQ(generate(filter), 0u);
    const std::string calls = behind("lookup_");
    return calls.substr(0, calls.find("|execute"));
  }
  // What a request for this one seed tells of it.
  std::string data_of(const object& mdo) {
    renew_query();
    EXPECT_EQ(seed(mdo), 0u);
    EXPECT_EQ(generate(), 0u);
    return behind(DATA + "seed");
  }
};

TEST_F(Lookup, SendsOnlyTheOptionsThatAreSet) {
  const filter_of empty = {};  // neither seeds nor a filter value: the outcome is the lookup's
  const std::string bare = "create|add_request velox_lookup_type_radio_recommend cadenzreq1 radio 1";
  EXPECT_EQ(assembled(empty), bare);
  struct {
    const char *key, *value;
    std::string call, off;  // as set, and with "no" as its value
  } const rows[] = {
      {VELOX_QUERYOPT_SERVICE_URL, "2", "serviceurl 2", "serviceurl no"},
      {VELOX_QUERYOPT_NETWORK_INTF, "2", "networkintf 2", "networkintf no"},
      {VELOX_CADENZ_OPTION_ENABLE_XIDS, "2", "xids 1", ""},
      {VELOX_CADENZ_OPTION_ENABLE_CONTENT, "2", "content 1", ""},
      {VELOX_CADENZ_OPTION_ENABLE_SONIC, "2", "sonic 1", ""},
      {VELOX_CADENZ_OPTION_RETURN_COUNT, "2", "return_count 2", "return_count no"},
      {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "3", "focus_popularity 3", "focus_popularity no"},
      {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "4", "focus_similarity 4", "focus_similarity no"},
      {VELOX_CADENZ_OPTION_CATALOG_FILTER, nullptr, "catalog_filter (null)", "catalog_filter no"},
      {VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, "2", "max_tracks_per_artist 2", "max_tracks_per_artist no"},
      {VELOX_CADENZ_OPTION_ROTATION_RADIO, "2", "rotation RADIO", "rotation NONE"},
      {VELOX_CADENZ_OPTION_STATION_DMCA, "2", "", ""},
  };
  for (const bool off : {false, true}) {
    std::string calls = bare;
    for (auto row = std::rbegin(rows); row != std::rend(rows); ++row)
      EXPECT_EQ(set(row->key, off ? "no" : row->value), 0u);
    for (const auto& row : rows)
      if (const std::string& call = off ? row.off : row.call; !call.empty())
        calls +=
            (&row < rows + 2 ? "|option_set" : "|request_option_set cadenzreq1") + (" velox_lookup_option_" + call);
    EXPECT_EQ(assembled(empty), calls);
  }
}

TEST_F(Lookup, DescribesEachKindOfSeed) {
  const object bare(ARTIST, {}), contributor(CONTRIBUTOR, {{ERA, "c-era"}});
  const object artist("VELOX_ctx_artist", {{ARTIST_ID, "a-id"}, {GENRE, "a-genre"}},
                      {{VELOX_CHILD_CONTRIBUTOR, &contributor}});
  const object track(TRACK, {{TUI, "t"}, {TAG, "g"}, {MOOD, "t-mood"}}, {{OF_ARTIST, &artist}});
  EXPECT_EQ(data_of(artist), " ARTIST 1|_artist_id a-id 1|_attribute_genre a-genre 1|_attribute_era c-era 1");
  EXPECT_EQ(data_of(track),
            " TRACK 1|_track_tui t 1|_track_tui_tag g 1|_attribute_era c-era 1|_attrbute_mood t-mood 1");
  EXPECT_EQ(data_of({TRACK, {{TUI, "t"}, {ARTIST_ID, "i"}}}), " ARTIST 1|_track_tui t 1|_artist_id i 1");
  EXPECT_EQ(data_of({TRACK, {{TUI, ""}, {TAG, ""}}}), " TRACK 1|_track_tui  1|_track_tui_tag  1") << "was read";
  EXPECT_EQ(data_of({ALBUM, {{ARTIST_ID, "x"}}, {{OF_TRACK, &track}}}),
            " TRACK 1|_track_tui t 1|_track_tui_tag g 1|_artist_id x 1|_attribute_era c-era 1|_attrbute_mood t-mood 1");
  EXPECT_EQ(data_of({ALBUM, {{ARTIST_ID, "x"}, {GENRE, "g"}}, {{OF_ARTIST, &artist}}}),
            " ARTIST 1|_artist_id x 1|_attribute_genre g 1|_attribute_era c-era 1");
  EXPECT_EQ(data_of({CONTRIBUTOR, {{ARTIST_ID, "i"}, {ERA, "own"}}, {{OF_ARTIST, &bare}}}),
            " ARTIST 1|_artist_id i 1|_attribute_era own 1");
  EXPECT_EQ(data_of({CONTRIBUTOR, {{ARTIST_ID, "i"}, {ERA, "own"}}, {{OF_ARTIST, &artist}}}),
            " ARTIST 1|_artist_id i 1|_attribute_era c-era 1")
      << "the artist's contributor takes its place";
}

TEST_F(Lookup, AFilterGoesToEverySeed) {
  const object one(ARTIST, {{ARTIST_ID, "1"}}), two(ARTIST, {{ARTIST_ID, "2"}});
  EXPECT_TRUE(seed(one) == 0 && seed(two) == 0);
  const filter_of filter = {{VELOX_LIST_MOODS, 1}, {VELOX_LIST_GENRES, 9}, {VELOX_LIST_MOODS, 2}};
  recording::take();
  EXPECT_EQ(generate(filter), 0u);
  EXPECT_EQ(behind(DATA + "seed"),
            " ARTIST 1|_artist_id 1 1| ARTIST 2|_artist_id 2 2"
            "| ATTRIBUTE 1|_attrbute_mood 1 1|_attrbute_mood 2 1|_attribute_genre 9 1"
            "| ATTRIBUTE 2|_attrbute_mood 1 2|_attrbute_mood 2 2|_attribute_genre 9 2");
}

// The lookup for the nameless one gives an album that has nothing to offer.
TEST_F(Lookup, AnUnusableSeedStopsTheAssembly) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const object name("velox_ctx_name", {{VELOX_VAL_DISPLAY, "Name"}});
  const object artist(ARTIST, {{ARTIST_ID, "1"}});
  const object person("velox_ctx_person", {}, {{VELOX_CHILD_NAME, &name}});
  answer = [](const velox_standin_lookup&, velox_standin_run* run) {
    const object album(ALBUM, {});
    return velox_standin_run_result(run, 0, object(RESPONSE, {}, {{OF_ALBUM, &album}}));
  };
  EXPECT_TRUE(seed(artist) == 0 && seed(person) == 0);
  forget();
  EXPECT_EQ(generate(), CADENZ_ERR_BAD_SEED);
  EXPECT_EQ(recording::take_log(), (lines{"N|velox_cadenz|1|90b50790|(null)",
                                          "0|velox_cadenz_query_generate_recommendations|1|90b50790|(null)"}));
  const lines calls = recording::take("lookup_");
  EXPECT_EQ(calls.back(), "lookup_release");
  EXPECT_EQ(calls[calls.size() - 2], DATA + "seed_artist_id 1 1") << "the seed in front of it stays in the request";
}

}  // namespace
