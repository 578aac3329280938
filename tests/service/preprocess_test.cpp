// Seed preprocessing: which seeds are looked up, how, and what takes their place.
#include "service_fixture.h"

namespace {

// A seed with a name or a title, and perhaps an artist of that name.
class named : public object {
 public:
  named(const char* context, std::initializer_list<std::pair<const char*, const char*>> values, const char* name,
        const char* title, const char* artist)
      : object(context, values) {
    const object name_child("velox_ctx_name", {{"velox_val_display", name}});
    const object title_child("velox_ctx_title", {{"velox_val_display", title}});
    const object artist_name("velox_ctx_name", {{"velox_val_display", artist}});
    const object artist_child("velox_ctx_artist", {}, {{"velox_ctx_name!off", &artist_name}});
    if (name) velox_standin_mdo_child_add(*this, "velox_ctx_name!off", name_child);
    if (title) velox_standin_mdo_child_add(*this, "velox_ctx_title!off", title_child);
    if (artist) velox_standin_mdo_child_add(*this, "velox_ctx_artist!", artist_child);
  }
};

class Preprocess : public Service {
 protected:
  void SetUp() override {
    Service::SetUp();
    answer = [this](const velox_standin_lookup& lookup, velox_standin_run* run) { return resolve(lookup, run); };
  }

  // Answers an album request with an album, and a track in it where the test wants one.
  pask_status resolve(const velox_standin_lookup& lookup, velox_standin_run* run) {
    for (uint32_t i = 0; i < lookup.request_count; ++i) {
      const std::string id = "resolved-" + std::to_string(i);
      const object track("velox_ctx_track", {{"velox_val_tui", id.c_str()}, {"velox_val_tui_tag", "tag"}});
      const object album("velox_ctx_album", {{"_sdkmgr_val_artist_id", id.c_str()}});
      if (track_matches) velox_standin_mdo_child_add(album, "velox_ctx_track!matching", track);
      const object response("velox_ctx_response", {});
      if (album_found) velox_standin_mdo_child_add(response, "velox_ctx_album!", album);
      velox_standin_run_result(run, i, response);
    }
    return 0;
  }

  lines identifiers() {
    lines found;
    for (const std::string& line : recording::take("lookup_add_data cadenzreq1 velox_lookup_data_radio_seed_"))
      if (line.find("_tag ") == std::string::npos) found.push_back(line.substr(line.find("seed_") + 5));
    return found;
  }

  bool track_matches = true;
  bool album_found = true;
};

TEST_F(Preprocess, ResolvedSeedsComeBehindTheOthers) {
  const object a("velox_ctx_track", {{"velox_val_tui", "A"}, {"velox_val_tui_tag", "tag"}});
  const named b("velox_ctx_track", {}, nullptr, "Title", "Artist");
  const object c("velox_ctx_contributor", {{"_sdkmgr_val_artist_id", "C"}});
  for (const object* one : {&a, static_cast<const object*>(&b), &c}) EXPECT_EQ(seed(*one), 0u);
  set(VELOX_QUERYOPT_SERVICE_URL, "url");
  set(VELOX_QUERYOPT_NETWORK_INTF, "eth");
  set(VELOX_CADENZ_OPTION_RETURN_COUNT, "9");
  recording::take();
  EXPECT_EQ(generate(), 0u);
  lines calls = recording::take("lookup_");
  calls.resize(12);
  EXPECT_EQ(calls, (lines{"lookup_create", "lookup_option_set velox_lookup_option_serviceurl url",
                          "lookup_option_set velox_lookup_option_networkintf eth",
                          "lookup_add_request velox_lookup_type_album CAD_PRE_0 radio 1",
                          "lookup_add_data CAD_PRE_0 velox_lookup_data_result_range_start 1 1",
                          "lookup_add_data CAD_PRE_0 velox_lookup_data_result_range_end 1 1",
                          "lookup_add_data CAD_PRE_0 velox_lookup_data_track_artist Artist 1",
                          "lookup_add_data CAD_PRE_0 velox_lookup_data_track_title Title 1", "lookup_execute",
                          "lookup_get_result CAD_PRE_0", "lookup_release", "lookup_create"}));
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(identifiers(), (lines{"track_tui A 1", "artist_id C 2", "track_tui resolved-0 3"})) << "no second lookup";
  track_matches = false;
}

struct unresolved_case {
  const char* why;
  const char* context;
  std::initializer_list<std::pair<const char*, const char*>> values;
  const char *name, *title, *artist;
  lines data;  // without "lookup_add_data CAD_PRE_0 velox_lookup_data_" and the ordinal
};

const lines RANGE = {"result_range_start 1", "result_range_end 1"};
lines ranged(lines texts) {
  texts.insert(texts.begin(), RANGE.begin(), RANGE.end());
  return texts;
}

TEST_F(Preprocess, DescribesASeedByWhatItHas) {
  const unresolved_case cases[] = {
      {"an identifier needs its tag",
       "velox_ctx_track",
       {{"velox_val_tui", "t"}},
       nullptr,
       "T",
       "A",
       ranged({"track_artist A", "track_title T"})},
      {"and mustn't be empty",
       "velox_ctx_album",
       {{"velox_val_tui", ""}, {"velox_val_tui_tag", "x"}},
       nullptr,
       "T",
       "A",
       ranged({"album_artist A", "album_title T"})},
      {"an album's own identifier",
       "velox_ctx_album",
       {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "x"}},
       nullptr,
       "T",
       "A",
       {"tui t", "tui_tag x"}},
      {"any other context goes by its name",
       "velox_ctx_mood",
       {{"velox_val_tui", "t"}, {"_sdkmgr_val_artist_id", "i"}},
       "N",
       "T",
       "A",
       ranged({"track_artist N"})},
      {"empty texts aren't sent", "velox_ctx_track", {}, nullptr, "T", "", ranged({"track_title T"})},
  };
  for (const unresolved_case& row : cases) {
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
    ASSERT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
    const named one(row.context, row.values, row.name, row.title, row.artist);
    EXPECT_EQ(seed(one), 0u);
    recording::take();
    EXPECT_EQ(generate(), 0u) << row.why;
    lines data;
    for (const std::string& line : recording::take("lookup_add_data CAD_PRE_0 velox_lookup_data_"))
      data.push_back(line.substr(44, line.size() - 46));
    EXPECT_EQ(data, row.data) << row.why;
  }
}

TEST_F(Preprocess, FailsAsAWhole) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const named b("velox_ctx_track", {}, nullptr, "Title", "Artist");
  EXPECT_EQ(seed(b), 0u);
  album_found = false;
  forget();
  EXPECT_EQ(generate(), CADENZ_ERR_NOT_FOUND) << "an answer without an album";
  album_found = true;
  track_matches = false;
  EXPECT_EQ(generate(), 0u) << "the seeds stayed as they were";
  forget();
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(identifiers(), lines{"artist_id resolved-0 1"}) << "the album takes the seed's place";

  const named nothing("velox_ctx_person", {}, "", nullptr, nullptr);
  EXPECT_EQ(seed(nothing), 0u);
  forget();
  EXPECT_EQ(generate(), CADENZ_ERR_BAD_SEED);
  EXPECT_EQ(recording::take_log(), (lines{"N|cadenz_preprocess|1|90b50790|(null)",
                                          "0|velox_cadenz_query_generate_recommendations|1|90b50790|(null)"}));
  EXPECT_EQ(recording::take("lookup_"), (lines{"lookup_create", "lookup_release", "lookup_release null"}));
}

}  // namespace
