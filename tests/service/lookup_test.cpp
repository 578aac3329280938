// The calls that a request is made of, in their exact order.
#include "service_fixture.h"

namespace {

class Lookup : public Service {
 protected:
  // The lookup calls of one request, without execution, result and release.
  lines assembled(velox_cadenz_filter_handle filter = nullptr) {
    recording::take();
    EXPECT_EQ(generate(filter), 0u);
    lines calls;
    for (const std::string& line : recording::take("lookup_")) {
      if (line == "lookup_execute") break;
      calls.push_back(line);
    }
    return calls;
  }
  // The data of one seed, without the common beginning of each line.
  lines data_of(velox_mdo_handle mdo) {
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
    EXPECT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
    EXPECT_EQ(seed(mdo), 0u);
    static const std::string BEGIN = "lookup_add_data cadenzreq1 velox_lookup_data_radio_seed";
    lines data;
    for (const std::string& line : assembled())
      if (line.compare(0, BEGIN.size(), BEGIN) == 0) data.push_back(line.substr(BEGIN.size()));
    return data;
  }
};

const lines BARE = {"lookup_create", "lookup_add_request velox_lookup_type_radio_recommend cadenzreq1 radio 1"};

TEST_F(Lookup, SendsOnlyTheOptionsThatAreSet) {
  const filter_of empty = {};
  EXPECT_EQ(assembled(empty), BARE) << "neither seeds nor a filter value: the outcome is the lookup's";

  for (const char* key :
       {VELOX_CADENZ_OPTION_STATION_DMCA, VELOX_CADENZ_OPTION_ENABLE_SONIC, VELOX_CADENZ_OPTION_ROTATION_RADIO,
        VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, VELOX_CADENZ_OPTION_FOCUS_SIMILARITY,
        VELOX_CADENZ_OPTION_FOCUS_POPULARITY, VELOX_CADENZ_OPTION_RETURN_COUNT, VELOX_CADENZ_OPTION_ENABLE_CONTENT,
        VELOX_CADENZ_OPTION_ENABLE_XIDS, VELOX_QUERYOPT_NETWORK_INTF, VELOX_QUERYOPT_SERVICE_URL})
    EXPECT_EQ(set(key, "2"), 0u);
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_CATALOG_FILTER, nullptr), 0u);
  EXPECT_EQ(assembled(empty), (lines{BARE[0], BARE[1], "lookup_option_set velox_lookup_option_serviceurl 2",
                                     "lookup_option_set velox_lookup_option_networkintf 2",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_xids 1",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_content 1",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_sonic 1",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_return_count 2",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_focus_popularity 2",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_focus_similarity 2",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_catalog_filter (null)",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_max_tracks_per_artist 2",
                                     "lookup_request_option_set cadenzreq1 velox_lookup_option_rotation RADIO"}));

  for (const char* key : {VELOX_CADENZ_OPTION_ENABLE_SONIC, VELOX_CADENZ_OPTION_ENABLE_CONTENT,
                          VELOX_CADENZ_OPTION_ENABLE_XIDS, VELOX_CADENZ_OPTION_ROTATION_RADIO})
    EXPECT_EQ(set(key, "no"), 0u);
  const lines calls = assembled(empty);
  EXPECT_EQ(calls.size(), 10u) << "a false enable option sends nothing";
  EXPECT_EQ(calls.back(), "lookup_request_option_set cadenzreq1 velox_lookup_option_rotation NONE");
}

TEST_F(Lookup, DescribesEachKindOfSeed) {
  const object contributor("velox_ctx_contributor", {{"_sdkmgr_val_list_era_id", "c-era"}});
  const object artist("VELOX_ctx_artist", {{"_sdkmgr_val_artist_id", "a-id"}, {"_sdkmgr_val_list_genre_id", "a-genre"}},
                      {{"velox_ctx_contributor!", &contributor}});
  const object track("velox_ctx_track",
                     {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "tag"}, {"_sdkmgr_val_list_mood_id", "t-mood"}},
                     {{"velox_ctx_artist!", &artist}});
  EXPECT_EQ(data_of(track), (lines{" TRACK 1", "_track_tui t 1", "_track_tui_tag tag 1", "_attribute_era c-era 1",
                                   "_attrbute_mood t-mood 1"}));
  EXPECT_EQ(data_of(artist),
            (lines{" ARTIST 1", "_artist_id a-id 1", "_attribute_genre a-genre 1", "_attribute_era c-era 1"}));

  const object album("velox_ctx_album", {{"_sdkmgr_val_artist_id", "album-artist"}}, {{"velox_ctx_track!", &track}});
  EXPECT_EQ(data_of(album), (lines{" TRACK 1", "_track_tui t 1", "_track_tui_tag tag 1", "_artist_id album-artist 1",
                                   "_attribute_era c-era 1", "_attrbute_mood t-mood 1"}));
  const object empty_album("velox_ctx_album", {{"_sdkmgr_val_artist_id", "x"}, {"_sdkmgr_val_list_genre_id", "g"}},
                           {{"velox_ctx_artist!", &artist}});
  EXPECT_EQ(data_of(empty_album),
            (lines{" ARTIST 1", "_artist_id x 1", "_attribute_genre g 1", "_attribute_era c-era 1"}));

  const object untagged("velox_ctx_track", {{"velox_val_tui", "t"}, {"_sdkmgr_val_artist_id", "i"}});
  EXPECT_EQ(data_of(untagged), (lines{" ARTIST 1", "_track_tui t 1", "_artist_id i 1"}));
  const object blank("velox_ctx_track", {{"velox_val_tui", ""}, {"velox_val_tui_tag", ""}});
  EXPECT_EQ(data_of(blank), (lines{" TRACK 1", "_track_tui  1", "_track_tui_tag  1"})) << "an empty text was read";

  const object lone("velox_ctx_contributor", {{"_sdkmgr_val_artist_id", "i"}, {"_sdkmgr_val_list_era_id", "own"}});
  EXPECT_EQ(data_of(lone), (lines{" ARTIST 1", "_artist_id i 1", "_attribute_era own 1"}));
  const object bare_artist("velox_ctx_artist", {});
  const object keeps("velox_ctx_contributor", {{"_sdkmgr_val_artist_id", "i"}, {"_sdkmgr_val_list_era_id", "own"}},
                     {{"velox_ctx_artist!", &bare_artist}});
  EXPECT_EQ(data_of(keeps).back(), "_attribute_era own 1")
      << "an artist without a contributor leaves the seed in place";
  const object replaced("velox_ctx_contributor", {{"_sdkmgr_val_artist_id", "i"}, {"_sdkmgr_val_list_era_id", "own"}},
                        {{"velox_ctx_artist!", &artist}});
  EXPECT_EQ(data_of(replaced).back(), "_attribute_era c-era 1");
}

TEST_F(Lookup, AFilterGoesToEverySeed) {
  const object one("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "1"}});
  const object two("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "2"}});
  seed(one);
  seed(two);
  const filter_of filter = {{VELOX_LIST_MOODS, 1}, {VELOX_LIST_GENRES, 9}, {VELOX_LIST_MOODS, 2}};
  lines data = assembled(filter);
  data.erase(data.begin(), data.begin() + 6);
  lines expected;
  for (const char* n : {"1", "2"})
    for (const char* line :
         {"_seed ATTRIBUTE ", "_seed_attrbute_mood 1 ", "_seed_attrbute_mood 2 ", "_seed_attribute_genre 9 "})
      expected.push_back(std::string("lookup_add_data cadenzreq1 velox_lookup_data_radio") + line + n);
  EXPECT_EQ(data, expected);
}

TEST_F(Lookup, AnUnusableSeedStopsTheAssembly) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const object named("velox_ctx_name", {{"velox_val_display", "Name"}});
  const object nameless("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "1"}});
  const object person("velox_ctx_person", {}, {{"velox_ctx_name!off", &named}});
  // The lookup for the nameless one gives an album that has nothing to offer.
  answer = [](const velox_standin_lookup&, velox_standin_run* run) {
    const object album("velox_ctx_album", {});
    const object response("velox_ctx_response", {}, {{"velox_ctx_album!", &album}});
    return velox_standin_run_result(run, 0, response);
  };
  seed(nameless);
  seed(person);
  forget();
  EXPECT_EQ(generate(), CADENZ_ERR_BAD_SEED);
  EXPECT_EQ(recording::take_log(), (lines{"N|velox_cadenz|1|90b50790|(null)",
                                          "0|velox_cadenz_query_generate_recommendations|1|90b50790|(null)"}));
  const lines calls = recording::take("lookup_");
  EXPECT_EQ(calls.back(), "lookup_release");
  EXPECT_EQ(calls[calls.size() - 2], "lookup_add_data cadenzreq1 velox_lookup_data_radio_seed_artist_id 1 1")
      << "the seed in front of it stays in the request";
}

}  // namespace
