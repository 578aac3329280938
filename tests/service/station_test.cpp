// Stations: making and reopening, which request the moment needs, events, and what survives a failure.
#include <map>

#include "service_fixture.h"

extern "C" velox_lookup_interface* g_cadenz_lookup_interface;

namespace {

const std::string CREATE = VELOX_LOOKUP_TYPE_CREATE, LOOKAHEAD = VELOX_LOOKUP_TYPE_LOOKAHEAD;
const std::string EVENT = VELOX_LOOKUP_TYPE_EVENT, SETTING = VELOX_LOOKUP_TYPE_SETTING;
constexpr auto ID = VELOX_VAL_STATION_ID, CODE = VELOX_VAL_RESPONSE_CODE;

class Station : public Service {
 protected:
  void SetUp() override {
    Service::SetUp();
    answer = [this](const velox_standin_lookup& lookup, velox_standin_run* run) {
      asked.push_back(lookup.requests[0].type);
      const object album(ALBUM, {}), response(RESPONSE, {}, {{albums ? OF_ALBUM : OF_ARTIST, &album}});
      for (const auto& [key, value] : reported) velox_standin_mdo_value_add(response, key.c_str(), value);
      velox_standin_run_result(run, 0, response);
      return outcome;
    };
  }
  void TearDown() override {
    release();
    Service::TearDown();
  }
  void release() { EXPECT_EQ(velox_cadenz_station_release(std::exchange(station, nullptr)), 0u); }
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
  pask_status play_when_fails(const char* call) {
    recording::fail(call, 0);
    const pask_status status = play();
    EXPECT_TRUE(recording::fail_end());
    return status;
  }
  pask_status tell(uint32_t event, velox_mdo_handle subject) {
    return velox_cadenz_station_event(station, event, subject);
  }
  pask_status set_option(const char* key, const char* value) {
    return velox_cadenz_station_option_set(station, key, value);
  }
  std::string option(const char* key) {
    const char* text = nullptr;
    EXPECT_EQ(velox_cadenz_station_option_get(station, key, &text), 0u);
    return text;
  }
  // The types of the requests since the last call.
  lines take_asked() { return std::exchange(asked, {}); }

  velox_cadenz_station_handle station = nullptr;
  velox_mdo_handle playlist = nullptr;
  std::map<std::string, const char*> reported = {{ID, "station-1"}, {CODE, VELOX_RESULT_OK}};  // by the next answers
  bool albums = true;
  pask_status outcome = 0;
  lines asked;
};

TEST_F(Station, IsMadeFromAQuery) {
  EXPECT_EQ(seed(object(ARTIST, {{ARTIST_ID, "a1"}})), 0u);
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_STATION_DMCA, "true") | set(VELOX_CADENZ_OPTION_CATALOG_FILTER, "rock"), 0u);
  const filter_of filter = {{VELOX_LIST_MOODS, 9}};
  forget();
  ASSERT_EQ(make(filter), 0u);
  EXPECT_EQ(
      behind("lookup_"),
      "create|add_request " + CREATE +
          " cadenzreq1 radio 1"
          "|request_option_set cadenzreq1 velox_lookup_option_catalog_filter rock"
          "|request_option_set cadenzreq1 velox_lookup_option_dmca true"
          "|add_data cadenzreq1 velox_lookup_data_radio_seed ARTIST 1"
          "|add_data cadenzreq1 velox_lookup_data_radio_seed_artist_id a1 1"
          "|add_data cadenzreq1 velox_lookup_data_radio_seed ATTRIBUTE 1"
          "|add_data cadenzreq1 velox_lookup_data_radio_seed_attrbute_mood 9 1|execute|get_result cadenzreq1|release");
  EXPECT_EQ(recording::take_errors(), lines{"00000000 00000000 velox_cadenz_query_generate_station"});

  const char* text = nullptr;
  EXPECT_EQ(velox_cadenz_station_id(station, &text), 0u);
  EXPECT_STREQ(text, "station-1");
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_STATION_DMCA, "false"), 0u) << "comes too late for the station";
  EXPECT_EQ(option(VELOX_CADENZ_OPTION_STATION_DMCA), "true");
  EXPECT_EQ(option(VELOX_CADENZ_OPTION_CATALOG_FILTER), "rock") << "read, though it can't be set here";
  EXPECT_EQ(velox_cadenz_station_option_get(station, VELOX_CADENZ_OPTION_RETURN_COUNT, &text), CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(take_asked(), lines{CREATE}) << "the creating answer is the first playlist";
}

TEST_F(Station, NeedsNeitherSeedsNorFilterButAnIdentifier) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  EXPECT_EQ(make(), 0u);
  EXPECT_EQ(recording::take_log(), lines{"N|velox_cadenz|1|90b50600|(null)"}) << "that there are no seeds is told";
  velox_standin_log_enable(0xb5, 0);
  release();
  reported[ID] = "";
  EXPECT_EQ(make(), CADENZ_ERR_NOT_FOUND);
  reported.erase(ID);
  forget();
  EXPECT_EQ(make(), CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(recording::take_errors(), lines{"90b50003 90b50003 velox_cadenz_query_generate_station"});
  outcome = 0x90440021;
  EXPECT_EQ(make(), 0x90b50021u);
  outcome = 0;
  reported[ID] = "id";
  recording::fail("mdo_addref", 0);
  EXPECT_EQ(make(), 0x90b50077u) << "the creating answer can't be held";
  recording::fail_end();
  EXPECT_EQ(station, nullptr);
}

TEST_F(Station, IsReopenedByALookahead) {
  recording::take();
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(behind("lookup_"),
            "create|add_request " + LOOKAHEAD +
                " cadenzreq1 radio 1"
                "|request_option_set cadenzreq1 velox_lookup_option_return_settings 1"
                "|add_data cadenzreq1 velox_lookup_data_radio_id station-1 1|execute|get_result cadenzreq1|release");
  release();
  albums = false;
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND);
  recording::fail("mdo_child_count", 0);
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND) << "no playlist outweighs why";
  recording::fail_end();
  albums = true;
  reported[CODE] = "VELOX_result_no_matches";
  EXPECT_EQ(reopen(), CADENZ_ERR_NOT_FOUND);
  reported.erase(CODE);
  EXPECT_EQ(reopen(), 0x90b50003u) << "an answer without a response code fails";
  EXPECT_EQ(station, nullptr);
}

TEST_F(Station, PushesOnlyASettingThatDiffers) {
  struct setting {
    const char *option, *reported_as;
  };
  const setting popularity = {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, VELOX_VAL_SETTING_POPULARITY};
  const setting similarity = {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, VELOX_VAL_SETTING_SIMILARITY};
  const setting dmca = {"VELOX_CADENZ_option_station_dmca", VELOX_VAL_SETTING_DMCA};
  const setting no_setting = {VELOX_CADENZ_OPTION_RETURN_COUNT, "_sdkmgr_val_other"};
  const struct {
    const setting& of;
    const char *wanted, *in_force;  // null: nothing reported
    bool differs;
  } rows[] = {
      {.of = popularity, .wanted = "500", .in_force = "500", .differs = false},
      {.of = popularity, .wanted = "500", .in_force = "0500", .differs = true},
      {.of = similarity, .wanted = "9", .in_force = "8", .differs = true},
      {.of = similarity, .wanted = "9", .in_force = nullptr, .differs = false},
      {.of = dmca, .wanted = "YES", .in_force = "1", .differs = false},
      {.of = dmca, .wanted = "no", .in_force = "on", .differs = true},
      {.of = no_setting, .wanted = "3", .in_force = "4", .differs = false},
  };
  for (const auto& [of, wanted, in_force, differs] : rows) {
    reported[of.reported_as] = in_force;
    ASSERT_EQ(reopen(), 0u);
    EXPECT_TRUE(set_option(of.option, wanted) == 0 && play() == 0);
    reported[of.reported_as] = in_force ? wanted : nullptr;
    EXPECT_TRUE(play() == 0 && play() == 0);  // the first one's answer is still the old one
    EXPECT_EQ(take_asked(), differs ? (lines{LOOKAHEAD, SETTING, SETTING}) : lines{LOOKAHEAD}) << of.option << wanted;
    release();
  }
}

TEST_F(Station, ReportsItsEventsInOneRequest) {
  reported[VELOX_VAL_SETTING_DMCA] = "0";
  ASSERT_EQ(reopen(), 0u);
  {
    const object track(TRACK, {{TUI, "t"}, {TAG, "g"}}), artist(ARTIST, {{ARTIST_ID, "a"}}), other(CONTRIBUTOR, {});
    forget();
    EXPECT_EQ(tell(VELOX_CADENZ_EVENT_TRACK_LIKE, track), 0u);
    EXPECT_EQ(tell(VELOX_CADENZ_EVENT_ARTIST_DISLIKE, artist), 0u);
    EXPECT_EQ(tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, track), 0u);
    EXPECT_EQ(recording::take_errors()[0], "00000000 00000000 velox_cadenz_station_event");
    for (uint32_t event = 0; event <= 7; ++event) {
      const bool of_track = event >= 1 && event <= 4, of_artist = event >= 5 && event <= 6;
      for (const object* subject : {&other, of_track ? &artist : &track, of_artist ? &track : &artist})
        EXPECT_EQ(tell(event, *subject), CADENZ_ERR_INVALID_ARG) << event;
    }
    EXPECT_EQ(recording::take_errors().back(), "90b50001 90b50001 velox_cadenz_station_event");
  }
  EXPECT_EQ(set_option(VELOX_CADENZ_OPTION_STATION_DMCA, "1"), 0u);
  forget();
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(behind("lookup_add_data cadenzreq1 velox_lookup_data_radio_"),
            "event TRACK_LIKE 1|event_track_tui t 1|event_track_tui_tag g 1|event ARTIST_DISLIKE 2|event_artist_id a 2"
            "|event TRACK_PLAYED 3|event_track_tui t 3|event_track_tui_tag g 3|id station-1 1");
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(behind("lookup_request_option_set cadenzreq1 velox_lookup_option_"), "return_settings 1|dmca 1");
  EXPECT_EQ(take_asked(), (lines{LOOKAHEAD, EVENT, SETTING})) << "events go first";
}

TEST_F(Station, KeepsItsPlaylistWhenAnExchangeFails) {
  const object good(TRACK, {{TUI, "t"}, {TAG, "g"}}), bad(TRACK, {{TUI, "t"}});
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(play(), 0u);
  const velox_mdo_handle first = playlist;
  const auto played = [&] { EXPECT_EQ(tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, good), 0u); };
  take_asked();

  played();
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, bad);
  EXPECT_EQ(play(), 0x90b50003u) << "a value of the second can't be read";
  played();
  EXPECT_EQ(play_when_fails("lookup_create"), 0x90b50077u);
  EXPECT_EQ(take_asked(), lines{}) << "nothing went out";
  outcome = 0x90440021;
  EXPECT_EQ(play(), 0x90b50021u) << "an event survives only that its request could not be made";
  outcome = 0;

  reported[CODE] = VELOX_RESULT_NO_MATCHES;
  played();
  EXPECT_TRUE(play() == 0 && playlist == first);
  reported[CODE] = VELOX_RESULT_OK;
  albums = false;
  played();
  EXPECT_TRUE(play() == 0 && playlist == first);
  played();
  EXPECT_EQ(play_when_fails("mdo_child_count"), 0x90b50077u);
  EXPECT_EQ(take_asked(), lines(4, EVENT));
  albums = true;
  played();
  EXPECT_TRUE(play() == 0 && playlist != first);
  played();  // dropped with the station
}

// An answer that isn't taken goes before its lookup does; what is still held goes behind it.
TEST_F(Station, LetsGoInOrder) {
  const struct {
    const char *why, *code;
    bool albums = true, count_fails = false;
    const char* released;
  } rows[] = {
      {.why = "taken, for the old one", .code = "ok", .released = "mdo|lookup|mdo null"},
      {.why = "no matches", .code = VELOX_RESULT_NO_MATCHES, .released = "mdo|lookup|mdo null"},
      {.why = "nothing to play", .code = "ok", .albums = false, .released = "mdo|lookup|mdo null"},
      {.why = "uncounted", .code = "ok", .count_fails = true, .released = "mdo|lookup|mdo null"},
      {.why = "unread", .code = nullptr, .released = "lookup|mdo"},
  };
  ASSERT_EQ(reopen(), 0u);
  for (const auto& row : rows) {
    reported[CODE] = row.code;
    albums = row.albums;
    EXPECT_EQ(tell(VELOX_CADENZ_EVENT_ARTIST_LIKE, object(ARTIST, {{ARTIST_ID, "a"}})), 0u);
    recording::take();
    row.count_fails ? play_when_fails("mdo_child_count") : play();
    std::string released;
    bool answered = false;
    for (const std::string& call : recording::take()) {
      answered |= call.starts_with("lookup_get_result");
      const size_t at = call.find("_release");
      if (answered && at != std::string::npos) released += "|" + call.substr(0, at) + call.substr(at + 8);
    }
    EXPECT_EQ(released, std::string("|") + row.released) << row.why;
  }
}

// The tables may call back: the events move while one of them is sent.
TEST_F(Station, MayRecordWhileItReports) {
  static velox_cadenz_station_handle reporting;
  static velox_mdo_handle artist;
  ASSERT_EQ(reopen(), 0u);
  const object liked(ARTIST, {{ARTIST_ID, "a"}});
  reporting = station;
  artist = liked;
  EXPECT_EQ(tell(VELOX_CADENZ_EVENT_ARTIST_LIKE, artist), 0u);
  static const auto real = g_cadenz_lookup_interface->lookup_add_data;
  g_cadenz_lookup_interface->lookup_add_data = [](auto... arguments) {
    for (int i = 0; i < 100; ++i) velox_cadenz_station_event(reporting, VELOX_CADENZ_EVENT_ARTIST_LIKE, artist);
    return real(arguments...);
  };
  recording::take();
  const pask_status status = play();
  g_cadenz_lookup_interface->lookup_add_data = real;
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(behind("lookup_add_data cadenzreq1 velox_lookup_data_radio_"),
            "event ARTIST_LIKE 1|event_artist_id a 1|id station-1 1");
}

TEST_F(Station, LogsAFailureAtEachLevel) {
  ASSERT_EQ(reopen(), 0u);
  for (const uint32_t package : {0x44u, 0xb5u}) velox_standin_log_enable(package, PASK_LOG_ERROR);
  EXPECT_EQ(tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, object(TRACK, {{TUI, "t"}, {TAG, "g"}})), 0u);
  EXPECT_EQ(play_when_fails("lookup_create"), 0x90b50077u);
  velox_standin_log_enable(0x44, 0);
  EXPECT_EQ(recording::take_log(), (lines{"N|velox_cadenz|1|90440077|(null)", "N|velox_cadenz|1|90440077|(null)",
                                          "0|velox_cadenz_station_generate_playlist|1|90b50077|(null)"}));
}

TEST_F(Station, WithNothingNewAsksNobodyAndAllocatesNothing) {
  ASSERT_EQ(reopen(), 0u);
  EXPECT_EQ(play(), 0u);
  const velox_mdo_handle first = playlist;
  recording::take();
  const uint64_t before = velox_standin_memory_allocations();
  EXPECT_EQ(play(), 0u);
  EXPECT_EQ(velox_standin_memory_allocations(), before);
  EXPECT_EQ(behind("lookup_"), "release null");
  EXPECT_EQ(playlist, first);
}

}  // namespace
