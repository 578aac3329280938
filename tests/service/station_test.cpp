// Stations: making and reopening, which request the moment needs, events, and what survives a failure.
#include <map>

#include "service_fixture.h"

namespace {

const std::string CREATE = "velox_lookup_type_radio_create";
const std::string EVENT = "velox_lookup_type_radio_event";
const std::string SETTING = "velox_lookup_type_radio_setting";
const std::string LOOKAHEAD = "velox_lookup_type_radio_lookahead";
constexpr char POPULARITY[] = "_sdkmgr_val_cadenz_option_focus_popularity";
constexpr char SIMILARITY[] = "_sdkmgr_val_cadenz_option_focus_similarity";
constexpr char DMCA[] = "_sdkmgr_val_cadenz_option_dmca";

std::string data(const std::string& key, const std::string& value, int ordinal) {
  return "lookup_add_data cadenzreq1 velox_lookup_data_radio_" + key + " " + value + " " + std::to_string(ordinal);
}

class Station : public Service {
 protected:
  void SetUp() override {
    Service::SetUp();
    answer = [this](const velox_standin_lookup& lookup, velox_standin_run* run) {
      asked.push_back(lookup.requests[0].type);
      const object album("velox_ctx_album", {});
      velox_mdo_handle response = nullptr;
      velox_standin_mdo_create("velox_ctx_response", &response);
      for (const auto& [key, value] : reported) velox_standin_mdo_value_add(response, key.c_str(), value.c_str());
      if (albums) velox_standin_mdo_child_add(response, "velox_ctx_album!", album);
      velox_standin_run_result(run, 0, response);
      velox_standin_mdo_release(response);
      return outcome;
    };
    reported = {{"_sdkmgr_val_cadenz_radio_id", "station-1"}, {"_sdkmgr_val_response_code", "velox_result_ok"}};
  }
  void TearDown() override {
    EXPECT_EQ(velox_cadenz_station_release(station), 0u);
    Service::TearDown();
  }

  pask_status make(velox_cadenz_filter_handle filter = nullptr) {
    return velox_cadenz_query_generate_station(query, filter, nullptr, nullptr, &station);
  }
  pask_status reopen(const char* id = "station-1") {
    return velox_cadenz_station_lookup(id, user, nullptr, nullptr, &station);
  }
  // Draws a playlist and drops it; the object itself, for comparison only.
  pask_status play() {
    playlist = nullptr;
    const pask_status status = velox_cadenz_station_generate_playlist(station, &playlist);
    EXPECT_EQ(status == 0, playlist != nullptr) << "the out-parameter is written on success only";
    velox_standin_mdo_release(playlist);
    return status;
  }
  pask_status tell(uint32_t event, velox_mdo_handle subject) {
    return velox_cadenz_station_event(station, event, subject);
  }
  lines take_asked() { return std::exchange(asked, {}); }

  velox_cadenz_station_handle station = nullptr;
  velox_mdo_handle playlist = nullptr;
  std::map<std::string, std::string> reported;  // the values of the next answers
  bool albums = true;
  pask_status outcome = 0;
  lines asked;
};

TEST_F(Station, IsMadeFromAQuery) {
  const object artist("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "a1"}});
  EXPECT_EQ(seed(artist), 0u);
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_STATION_DMCA, "true") | set(VELOX_CADENZ_OPTION_CATALOG_FILTER, "rock"), 0u);
  const filter_of filter = {{VELOX_LIST_MOODS, 9}};
  forget();
  ASSERT_EQ(make(filter), 0u);
  EXPECT_EQ(recording::take("lookup_"),
            (lines{"lookup_create", "lookup_add_request " + CREATE + " cadenzreq1 radio 1",
                   "lookup_request_option_set cadenzreq1 velox_lookup_option_catalog_filter rock",
                   "lookup_request_option_set cadenzreq1 velox_lookup_option_dmca true", data("seed", "ARTIST", 1),
                   data("seed_artist_id", "a1", 1), data("seed", "ATTRIBUTE", 1), data("seed_attrbute_mood", "9", 1),
                   "lookup_execute", "lookup_get_result cadenzreq1", "lookup_release"}));
  EXPECT_EQ(recording::take_errors(), lines{"00000000 00000000 velox_cadenz_query_generate_station"});

  const char* text = nullptr;
  EXPECT_EQ(velox_cadenz_station_id(station, &text), 0u);
  EXPECT_STREQ(text, "station-1");
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_STATION_DMCA, "false"), 0u) << "comes too late for the station";
  EXPECT_EQ(velox_cadenz_station_option_get(station, VELOX_CADENZ_OPTION_STATION_DMCA, &text), 0u);
  EXPECT_STREQ(text, "true");
  EXPECT_EQ(velox_cadenz_station_option_get(station, VELOX_CADENZ_OPTION_CATALOG_FILTER, &text), 0u);
  EXPECT_STREQ(text, "rock") << "read, though it can't be set here";
  for (const char* key : {VELOX_CADENZ_OPTION_CATALOG_FILTER, VELOX_CADENZ_OPTION_ROTATION_RADIO,
                          VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, "", "other"})
    EXPECT_EQ(velox_cadenz_station_option_set(station, key, "1"), CADENZ_ERR_INVALID_ARG) << key;
  EXPECT_EQ(velox_cadenz_station_option_get(station, VELOX_CADENZ_OPTION_RETURN_COUNT, &text), CADENZ_ERR_NOT_FOUND);
  take_asked();
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(take_asked(), lines{}) << "the creating answer is the first playlist";
}

TEST_F(Station, NeedsNeitherSeedsNorFilterButAnIdentifier) {
  EXPECT_EQ(make(), 0u);
  EXPECT_EQ(velox_cadenz_station_release(std::exchange(station, nullptr)), 0u);
  reported["_sdkmgr_val_cadenz_radio_id"] = "";
  EXPECT_EQ(make(), CADENZ_ERR_NOT_FOUND);
  reported.erase("_sdkmgr_val_cadenz_radio_id");
  forget();
  EXPECT_EQ(make(), CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(recording::take_errors(), lines{"90b50003 90b50003 velox_cadenz_query_generate_station"});
  outcome = 0x90440021;
  EXPECT_EQ(make(), 0x90b50021u);
  outcome = 0;
  reported["_sdkmgr_val_cadenz_radio_id"] = "id";
  recording::fail("mdo_addref", 0);
  EXPECT_EQ(make(), 0x90b50077u) << "the creating answer can't be held";
  recording::fail_end();
  EXPECT_EQ(station, nullptr);
  EXPECT_EQ(reopen(""), CADENZ_ERR_INVALID_ARG);
}

TEST_F(Station, IsReopenedByALookahead) {
  recording::take();
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(recording::take("lookup_"),
            (lines{"lookup_create", "lookup_add_request " + LOOKAHEAD + " cadenzreq1 radio 1",
                   "lookup_request_option_set cadenzreq1 velox_lookup_option_return_settings 1",
                   data("id", "station-1", 1), "lookup_execute", "lookup_get_result cadenzreq1", "lookup_release"}));
  EXPECT_EQ(velox_cadenz_station_release(std::exchange(station, nullptr)), 0u);

  albums = false;
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND);
  recording::fail("mdo_child_count", 0);
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND) << "no playlist outweighs why";
  recording::fail_end();
  albums = true;
  reported["_sdkmgr_val_response_code"] = "VELOX_result_no_matches";
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND);
  reported.erase("_sdkmgr_val_response_code");
  EXPECT_EQ(reopen(), 0x90b50003u) << "an answer without a response code fails";
  EXPECT_EQ(station, nullptr);
}

TEST_F(Station, PushesOnlyASettingThatDiffers) {
  struct row {
    const char *option, *value, *key, *in_force;  // null: nothing reported
    bool differs;
  };
  const row rows[] = {
      {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "500", POPULARITY, "500", false},
      {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "500", POPULARITY, "0500", true},
      {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "9", SIMILARITY, "8", true},
      {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "9", SIMILARITY, nullptr, false},
      {VELOX_CADENZ_OPTION_STATION_DMCA, "YES", DMCA, "1", false},
      {VELOX_CADENZ_OPTION_STATION_DMCA, "true", DMCA, "0", true},
      {"VELOX_CADENZ_option_station_dmca", "no", DMCA, "on", true},
      {VELOX_CADENZ_OPTION_RETURN_COUNT, "3", "_sdkmgr_val_other", "4", false},
  };
  for (const row& r : rows) {
    reported = {{"_sdkmgr_val_response_code", "velox_result_ok"}};
    if (r.in_force) reported[r.key] = r.in_force;
    ASSERT_EQ(reopen(), 0u);
    take_asked();
    EXPECT_EQ(velox_cadenz_station_option_set(station, r.option, r.value), 0u);
    EXPECT_EQ(play(), 0u);
    EXPECT_EQ(take_asked(), r.differs ? lines{SETTING} : lines{}) << r.option << " " << r.value;
    if (r.in_force) reported[r.key] = r.value;
    EXPECT_EQ(play(), 0u);
    EXPECT_EQ(take_asked(), r.differs ? lines{SETTING} : lines{}) << "the answer before that was the old one";
    EXPECT_EQ(play(), 0u);
    EXPECT_EQ(take_asked(), lines{});
    EXPECT_EQ(velox_cadenz_station_release(std::exchange(station, nullptr)), 0u);
  }
}

TEST_F(Station, ReportsItsEventsInOneRequest) {
  ASSERT_EQ(reopen(), 0u);
  {
    const object track("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}});
    const object artist("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "a"}});
    const object contributor("velox_ctx_contributor", {});
    forget();
    EXPECT_EQ(tell(VELOX_CADENZ_EVENT_TRACK_LIKE, track) | tell(VELOX_CADENZ_EVENT_ARTIST_DISLIKE, artist) |
                  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, track),
              0u);
    EXPECT_EQ(recording::take_errors()[0], "00000000 00000000 velox_cadenz_station_event");
    for (uint32_t event = 0; event <= 7; ++event) {
      EXPECT_EQ(tell(event, contributor), CADENZ_ERR_INVALID_ARG);
      EXPECT_EQ(event >= 1 && event <= 4 ? CADENZ_ERR_INVALID_ARG : tell(event, track), CADENZ_ERR_INVALID_ARG);
      EXPECT_EQ(event >= 5 && event <= 6 ? CADENZ_ERR_INVALID_ARG : tell(event, artist), CADENZ_ERR_INVALID_ARG);
    }
    EXPECT_EQ(recording::take_errors().back(), "90b50001 90b50001 velox_cadenz_station_event");
  }
  EXPECT_EQ(velox_cadenz_station_option_set(station, VELOX_CADENZ_OPTION_STATION_DMCA, "1"), 0u);
  reported[DMCA] = "0";
  forget();
  take_asked();
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(
      recording::take("lookup_add_data"),
      (lines{data("event", "TRACK_LIKE", 1), data("event_track_tui", "t", 1), data("event_track_tui_tag", "g", 1),
             data("event", "ARTIST_DISLIKE", 2), data("event_artist_id", "a", 2), data("event", "TRACK_PLAYED", 3),
             data("event_track_tui", "t", 3), data("event_track_tui_tag", "g", 3), data("id", "station-1", 1)}));
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(take_asked(), (lines{EVENT, SETTING})) << "events go first";
}

TEST_F(Station, KeepsItsPlaylistWhenAnExchangeFails) {
  const object good("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}});
  const object bad("velox_ctx_track", {{"velox_val_tui", "t"}});
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(play(), 0u);
  const velox_mdo_handle first = playlist;
  take_asked();

  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, bad);
  EXPECT_EQ(play(), 0x90b50003u) << "a value of the second can't be read";
  EXPECT_EQ(take_asked(), lines{}) << "and nothing went out";
  recording::fail("lookup_create", 0);
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  EXPECT_EQ(play(), 0x90b50077u);
  recording::fail_end();
  outcome = 0x90440021;
  EXPECT_EQ(play(), 0x90b50021u) << "an event survives only that its request could not be made";
  EXPECT_EQ(take_asked(), lines{EVENT});
  outcome = 0;

  reported["_sdkmgr_val_response_code"] = "velox_result_no_matches";
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(playlist, first);
  reported["_sdkmgr_val_response_code"] = "velox_result_ok";
  albums = false;
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(playlist, first);
  recording::fail("mdo_child_count", 0);
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  EXPECT_EQ(play(), 0x90b50077u);
  recording::fail_end();
  EXPECT_EQ(take_asked(), (lines{EVENT, EVENT, EVENT}));
  albums = true;
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);
  EXPECT_EQ(play(), 0u);
  EXPECT_NE(playlist, first);
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good);  // dropped with the station
}

TEST_F(Station, LogsAFailureAtEachLevel) {
  ASSERT_EQ(reopen(), 0u);
  velox_standin_log_enable(0x44, PASK_LOG_ERROR);
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const object track("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}});
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, track);
  recording::fail("lookup_create", 0);
  EXPECT_EQ(play(), 0x90b50077u);
  recording::fail_end();
  velox_standin_log_enable(0x44, 0);
  EXPECT_EQ(recording::take_log(), (lines{"N|velox_cadenz|1|90440077|(null)", "N|velox_cadenz|1|90440077|(null)",
                                          "0|velox_cadenz_station_generate_playlist|1|90b50077|(null)"}));
  forget();
  const char* value = nullptr;
  velox_cadenz_station_handle none = nullptr;
  EXPECT_EQ(velox_cadenz_station_generate_playlist(station, nullptr), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(velox_cadenz_station_id(station, nullptr), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(velox_cadenz_station_option_get(station, nullptr, &value), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(velox_cadenz_station_lookup(nullptr, user, nullptr, nullptr, &none), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(velox_cadenz_station_lookup("id", user, nullptr, nullptr, nullptr), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, nullptr), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(recording::take_errors(), lines{}) << "told to the log only";
  EXPECT_EQ(recording::take_log().size(), 6u);
}

TEST_F(Station, WithNothingNewAsksNobodyAndAllocatesNothing) {
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(play(), 0u);
  const velox_mdo_handle first = playlist;
  recording::take();
  const uint64_t before = velox_standin_memory_allocations();
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(velox_standin_memory_allocations(), before);
  EXPECT_EQ(recording::take("lookup_"), lines{"lookup_release null"});
  EXPECT_EQ(playlist, first);
}

}  // namespace
