// Seed preprocessing: which seeds are looked up, how, and what takes their place.
#include "service_fixture.h"

namespace {

// A seed with a name or a title, and perhaps an artist of that name; null for none.
class named : public object {
 public:
  named(const char* context, std::initializer_list<std::pair<const char*, const char*>> values, const char* name,
        const char* title, const char* artist)
      : object(context, values) {
    const auto add = [this](const char* key, velox_mdo_handle child) {
      velox_standin_mdo_child_add(*this, key, child);
    };
    const object artist_name("velox_ctx_name", {{VELOX_VAL_DISPLAY, artist}});
    if (name) add(VELOX_CHILD_NAME, object("velox_ctx_name", {{VELOX_VAL_DISPLAY, name}}));
    if (title) add(VELOX_CHILD_TITLE, object("velox_ctx_title", {{VELOX_VAL_DISPLAY, title}}));
    if (artist) add(OF_ARTIST, object(ARTIST, {}, {{VELOX_CHILD_NAME, &artist_name}}));
  }
};

class Preprocess : public Service {
 protected:
  // Answers an album request with an album, and a track in it where the test wants one.
  void SetUp() override {
    Service::SetUp();
    answer = [this](const velox_standin_lookup& lookup, velox_standin_run* run) {
      for (uint32_t i = 0; i < lookup.request_count; ++i) {
        const std::string id = "resolved-" + std::to_string(i);
        const object track(TRACK, {{TUI, id.c_str()}, {TAG, "tag"}}), album(ALBUM, {{ARTIST_ID, id.c_str()}});
        if (track_matches) velox_standin_mdo_child_add(album, VELOX_CHILD_MATCHING_TRACK, track);
        velox_standin_run_result(run, i, object(RESPONSE, {}, {{album_found ? OF_ALBUM : OF_ARTIST, &album}}));
      }
      return 0u;
    };
  }
  bool track_matches = true;
  bool album_found = true;
};

TEST_F(Preprocess, ResolvedSeedsComeBehindTheOthers) {
  const object a(TRACK, {{TUI, "A"}, {TAG, "tag"}}), c(CONTRIBUTOR, {{ARTIST_ID, "C"}});
  const named b(TRACK, {}, nullptr, "Title", "Artist");
  EXPECT_TRUE(seed(a) == 0 && seed(b) == 0 && seed(c) == 0);
  set(VELOX_QUERYOPT_SERVICE_URL, "url");
  set(VELOX_QUERYOPT_NETWORK_INTF, "eth");
  set(VELOX_CADENZ_OPTION_RETURN_COUNT, "9");
  recording::take();
  EXPECT_EQ(generate(), 0u);
  const std::string calls = behind("lookup_");
  EXPECT_EQ(calls.substr(0, calls.find("|create")),
            "create|option_set velox_lookup_option_serviceurl url|option_set velox_lookup_option_networkintf eth"
            "|add_request velox_lookup_type_album CAD_PRE_0 radio 1"
            "|add_data CAD_PRE_0 velox_lookup_data_result_range_start 1 1"
            "|add_data CAD_PRE_0 velox_lookup_data_result_range_end 1 1"
            "|add_data CAD_PRE_0 velox_lookup_data_track_artist Artist 1"
            "|add_data CAD_PRE_0 velox_lookup_data_track_title Title 1|execute|get_result CAD_PRE_0|release");
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(behind("lookup_add_data cadenzreq1 velox_lookup_data_radio_seed"),
            " TRACK 1|_track_tui A 1|_track_tui_tag tag 1| ARTIST 2|_artist_id C 2"
            "| TRACK 3|_track_tui resolved-0 3|_track_tui_tag tag 3")
      << "no second lookup";
}

TEST_F(Preprocess, DescribesASeedByWhatItHas) {
  const struct {
    const char *why, *context, *tui = nullptr, *tag = nullptr, *name = nullptr, *title = "T", *artist = "A";
    std::string sent;
    bool ranged = true;  // behind the range of results
  } rows[] = {
      {.why = "an identifier needs its tag",
       .context = TRACK,
       .tui = "t",
       .sent = "|track_artist A 1|track_title T 1|.|.|."},
      {.why = "and mustn't be empty",
       .context = ALBUM,
       .tui = "",
       .tag = "x",
       .sent = "|album_artist A 1|album_title T 1|.|.|."},
      {.why = "an album's own",
       .context = ALBUM,
       .tui = "t",
       .tag = "x",
       .sent = "|tui t 1|tui_tag x 1",
       .ranged = false},
      {.why = "a name alone", .context = "velox_ctx_mood", .tui = "t", .name = "N", .sent = "|track_artist N 1|."},
      {.why = "empty texts aren't sent", .context = TRACK, .artist = "", .sent = "|track_title T 1|.|.|."},
  };
  for (const auto& row : rows) {
    renew_query();
    EXPECT_EQ(seed(named(row.context, {{TUI, row.tui}, {TAG, row.tag}}, row.name, row.title, row.artist)), 0u);
    EXPECT_EQ(generate(), 0u);
    const std::string prefix = "lookup_add_data CAD_PRE_0 velox_lookup_data_";
    std::string sent;
    bool adding = false;
    for (const std::string& call : recording::take()) {
      if (call.starts_with("lookup_add_request velox_lookup_type_album")) adding = true;
      if (call.starts_with("lookup_execute")) break;
      if (adding && call.starts_with("mdo_release")) sent += "|.";  // a child whose texts have been used
      if (call.starts_with(prefix)) sent += "|" + call.substr(prefix.size());
    }
    EXPECT_EQ(sent, (row.ranged ? "|result_range_start 1 1|result_range_end 1 1" : "") + row.sent) << row.why;
  }
}

TEST_F(Preprocess, FailsAsAWhole) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  EXPECT_EQ(seed(named(TRACK, {}, nullptr, "Title", "Artist")), 0u);
  album_found = false;
  EXPECT_EQ(generate(), CADENZ_ERR_NOT_FOUND) << "an answer without an album";
  album_found = true;
  track_matches = false;
  EXPECT_EQ(generate(), 0u) << "the seeds stayed as they were";
  forget();
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(behind("lookup_add_data cadenzreq1 velox_lookup_data_radio_seed"), " ARTIST 1|_artist_id resolved-0 1");
  EXPECT_EQ(seed(named("velox_ctx_person", {}, "", nullptr, nullptr)), 0u);
  forget();
  EXPECT_EQ(generate(), CADENZ_ERR_BAD_SEED);
  EXPECT_EQ(recording::take_log(), (lines{"N|cadenz_preprocess|1|90b50790|(null)",
                                          "0|velox_cadenz_query_generate_recommendations|1|90b50790|(null)"}));
  EXPECT_EQ(behind("lookup_"), "create|release|release null");
}

}  // namespace
