// The promised spelling of every name that a caller or a provider may know. It stands here once, letter by letter; all other
// tests use the names.
#include <gtest/gtest.h>
#include <velox/velox_options.h>

#include <sstream>
#include <string>

namespace {

// Holds each name against the prefix and the ending at its place.
void spelled(const std::string& prefix, std::initializer_list<std::string> names, const std::string& endings) {
  std::istringstream words(endings);
  std::string ending;
  for (const std::string& name : names) EXPECT_TRUE(words >> ending && name == prefix + ending) << name;
}

TEST(Spelling, OfRequests) {
  spelled("velox_lookup_type_",
          {VELOX_LOOKUP_TYPE_RECOMMEND, VELOX_LOOKUP_TYPE_CREATE, VELOX_LOOKUP_TYPE_EVENT, VELOX_LOOKUP_TYPE_SETTING,
           VELOX_LOOKUP_TYPE_LOOKAHEAD, VELOX_LOOKUP_TYPE_ALBUM},
          "radio_recommend radio_create radio_event radio_setting radio_lookahead album");
  spelled("velox_lookup_option_",
          {VELOX_LOOKUP_OPTION_SERVICE_URL, VELOX_LOOKUP_OPTION_NETWORK_INTF, VELOX_LOOKUP_OPTION_XIDS,
           VELOX_LOOKUP_OPTION_CONTENT, VELOX_LOOKUP_OPTION_SONIC, VELOX_LOOKUP_OPTION_RETURN_SETTINGS,
           VELOX_LOOKUP_OPTION_RETURN_COUNT, VELOX_LOOKUP_OPTION_FOCUS_POPULARITY, VELOX_LOOKUP_OPTION_FOCUS_SIMILARITY,
           VELOX_LOOKUP_OPTION_CATALOG_FILTER, VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, VELOX_LOOKUP_OPTION_ROTATION,
           VELOX_LOOKUP_OPTION_DMCA},
          "serviceurl networkintf xids content sonic return_settings return_count focus_popularity focus_similarity "
          "catalog_filter max_tracks_per_artist rotation dmca");
  spelled("velox_lookup_data_radio_",
          {VELOX_LOOKUP_DATA_SEED, VELOX_LOOKUP_DATA_SEED_TUI, VELOX_LOOKUP_DATA_SEED_TUI_TAG,
           VELOX_LOOKUP_DATA_SEED_ARTIST_ID, VELOX_LOOKUP_DATA_SEED_GENRE, VELOX_LOOKUP_DATA_SEED_ERA,
           VELOX_LOOKUP_DATA_SEED_MOOD, VELOX_LOOKUP_DATA_STATION_ID, VELOX_LOOKUP_DATA_EVENT,
           VELOX_LOOKUP_DATA_EVENT_TUI, VELOX_LOOKUP_DATA_EVENT_TUI_TAG, VELOX_LOOKUP_DATA_EVENT_ARTIST_ID},
          "seed seed_track_tui seed_track_tui_tag seed_artist_id seed_attribute_genre seed_attribute_era "
          "seed_attrbute_mood id event event_track_tui event_track_tui_tag event_artist_id");
  spelled("velox_lookup_data_",
          {VELOX_LOOKUP_DATA_TUI, VELOX_LOOKUP_DATA_TUI_TAG, VELOX_LOOKUP_DATA_RANGE_START, VELOX_LOOKUP_DATA_RANGE_END,
           VELOX_LOOKUP_DATA_ALBUM_ARTIST, VELOX_LOOKUP_DATA_ALBUM_TITLE, VELOX_LOOKUP_DATA_TRACK_ARTIST,
           VELOX_LOOKUP_DATA_TRACK_TITLE},
          "tui tui_tag result_range_start result_range_end album_artist album_title track_artist track_title");
  spelled("",
          {VELOX_LOOKUP_SEED_TRACK, VELOX_LOOKUP_SEED_ARTIST, VELOX_LOOKUP_SEED_ATTRIBUTE, VELOX_LOOKUP_ROTATION_RADIO,
           VELOX_LOOKUP_ROTATION_NONE, VELOX_LOOKUP_EVENT_TRACK_PLAYED, VELOX_LOOKUP_EVENT_TRACK_SKIPPED,
           VELOX_LOOKUP_EVENT_TRACK_LIKE, VELOX_LOOKUP_EVENT_TRACK_DISLIKE, VELOX_LOOKUP_EVENT_ARTIST_LIKE,
           VELOX_LOOKUP_EVENT_ARTIST_DISLIKE},
          "TRACK ARTIST ATTRIBUTE RADIO NONE TRACK_PLAYED TRACK_SKIPPED TRACK_LIKE TRACK_DISLIKE ARTIST_LIKE "
          "ARTIST_DISLIKE");
}

TEST(Spelling, OfObjectsAndAnswers) {
  spelled("velox_ctx_",
          {VELOX_CTX_TRACK, VELOX_CTX_ALBUM, VELOX_CTX_ARTIST, VELOX_CTX_CONTRIBUTOR, VELOX_CHILD_TRACK,
           VELOX_CHILD_MATCHING_TRACK, VELOX_CHILD_ALBUM, VELOX_CHILD_ARTIST, VELOX_CHILD_CONTRIBUTOR, VELOX_CHILD_NAME,
           VELOX_CHILD_TITLE},
          "track album artist contributor track! track!matching album! artist! contributor! name!off title!off");
  spelled("velox_val_", {VELOX_VAL_TUI, VELOX_VAL_TUI_TAG, VELOX_VAL_DISPLAY}, "tui tui_tag display");
  spelled("_sdkmgr_val_",
          {VELOX_VAL_ARTIST_ID, VELOX_VAL_GENRE_ID, VELOX_VAL_ERA_ID, VELOX_VAL_MOOD_ID, VELOX_VAL_STATION_ID,
           VELOX_VAL_RESPONSE_CODE, VELOX_VAL_SETTING_POPULARITY, VELOX_VAL_SETTING_SIMILARITY, VELOX_VAL_SETTING_DMCA},
          "artist_id list_genre_id list_era_id list_mood_id cadenz_radio_id response_code "
          "cadenz_option_focus_popularity cadenz_option_focus_similarity cadenz_option_dmca");
  spelled("velox_result_", {VELOX_RESULT_OK, VELOX_RESULT_NO_MATCHES}, "ok no_matches");
  spelled("velox_list_type_", {VELOX_LIST_GENRES, VELOX_LIST_MOODS, VELOX_LIST_ERAS}, "genres moods eras");
}

TEST(Spelling, OfOptions) {
  spelled("velox_queryopt_", {VELOX_QUERYOPT_SERVICE_URL, VELOX_QUERYOPT_NETWORK_INTF}, "service_url network_intf");
  spelled("velox_cadenz_option_",
          {VELOX_CADENZ_OPTION_ENABLE_XIDS, VELOX_CADENZ_OPTION_ENABLE_CONTENT, VELOX_CADENZ_OPTION_ENABLE_SONIC,
           VELOX_CADENZ_OPTION_RETURN_COUNT, VELOX_CADENZ_OPTION_FOCUS_POPULARITY, VELOX_CADENZ_OPTION_FOCUS_SIMILARITY,
           VELOX_CADENZ_OPTION_CATALOG_FILTER, VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST,
           VELOX_CADENZ_OPTION_ROTATION_RADIO, VELOX_CADENZ_OPTION_STATION_DMCA},
          "enable_xids enable_content enable_sonic return_count focus_popularity focus_similarity catalog_filter "
          "recommendation_max_tracks_per_artist recommendation_rotation_radio station_dmca");
}

}  // namespace
