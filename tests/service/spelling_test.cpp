// The promised spelling of every name that a caller or a provider may know. It stands here once, letter by letter; all other
// tests use the names.
#include <gtest/gtest.h>
#include <velox/velox_options.h>

#include <string>
#include <utility>

namespace {

using spelling = std::pair<std::string, std::string>;

void spelled(const std::string& prefix, std::initializer_list<spelling> names) {
  for (const auto& [name, rest] : names) EXPECT_EQ(name, prefix + rest);
}

TEST(Spelling, OfRequests) {
  spelled("velox_lookup_type_", {{VELOX_LOOKUP_TYPE_RECOMMEND, "radio_recommend"},
                                 {VELOX_LOOKUP_TYPE_CREATE, "radio_create"},
                                 {VELOX_LOOKUP_TYPE_EVENT, "radio_event"},
                                 {VELOX_LOOKUP_TYPE_SETTING, "radio_setting"},
                                 {VELOX_LOOKUP_TYPE_LOOKAHEAD, "radio_lookahead"},
                                 {VELOX_LOOKUP_TYPE_ALBUM, "album"}});
  spelled("velox_lookup_option_", {{VELOX_LOOKUP_OPTION_SERVICE_URL, "serviceurl"},
                                   {VELOX_LOOKUP_OPTION_NETWORK_INTF, "networkintf"},
                                   {VELOX_LOOKUP_OPTION_XIDS, "xids"},
                                   {VELOX_LOOKUP_OPTION_CONTENT, "content"},
                                   {VELOX_LOOKUP_OPTION_SONIC, "sonic"},
                                   {VELOX_LOOKUP_OPTION_RETURN_SETTINGS, "return_settings"},
                                   {VELOX_LOOKUP_OPTION_RETURN_COUNT, "return_count"},
                                   {VELOX_LOOKUP_OPTION_FOCUS_POPULARITY, "focus_popularity"},
                                   {VELOX_LOOKUP_OPTION_FOCUS_SIMILARITY, "focus_similarity"},
                                   {VELOX_LOOKUP_OPTION_CATALOG_FILTER, "catalog_filter"},
                                   {VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, "max_tracks_per_artist"},
                                   {VELOX_LOOKUP_OPTION_ROTATION, "rotation"},
                                   {VELOX_LOOKUP_OPTION_DMCA, "dmca"}});
  spelled("velox_lookup_data_radio_", {{VELOX_LOOKUP_DATA_SEED, "seed"},
                                       {VELOX_LOOKUP_DATA_SEED_TUI, "seed_track_tui"},
                                       {VELOX_LOOKUP_DATA_SEED_TUI_TAG, "seed_track_tui_tag"},
                                       {VELOX_LOOKUP_DATA_SEED_ARTIST_ID, "seed_artist_id"},
                                       {VELOX_LOOKUP_DATA_SEED_GENRE, "seed_attribute_genre"},
                                       {VELOX_LOOKUP_DATA_SEED_ERA, "seed_attribute_era"},
                                       {VELOX_LOOKUP_DATA_SEED_MOOD, "seed_attrbute_mood"},
                                       {VELOX_LOOKUP_DATA_STATION_ID, "id"},
                                       {VELOX_LOOKUP_DATA_EVENT, "event"},
                                       {VELOX_LOOKUP_DATA_EVENT_TUI, "event_track_tui"},
                                       {VELOX_LOOKUP_DATA_EVENT_TUI_TAG, "event_track_tui_tag"},
                                       {VELOX_LOOKUP_DATA_EVENT_ARTIST_ID, "event_artist_id"}});
  spelled("velox_lookup_data_", {{VELOX_LOOKUP_DATA_TUI, "tui"},
                                 {VELOX_LOOKUP_DATA_TUI_TAG, "tui_tag"},
                                 {VELOX_LOOKUP_DATA_RANGE_START, "result_range_start"},
                                 {VELOX_LOOKUP_DATA_RANGE_END, "result_range_end"},
                                 {VELOX_LOOKUP_DATA_ALBUM_ARTIST, "album_artist"},
                                 {VELOX_LOOKUP_DATA_ALBUM_TITLE, "album_title"},
                                 {VELOX_LOOKUP_DATA_TRACK_ARTIST, "track_artist"},
                                 {VELOX_LOOKUP_DATA_TRACK_TITLE, "track_title"}});
}

TEST(Spelling, OfObjectsAndAnswers) {
  spelled("velox_ctx_", {{VELOX_CTX_TRACK, "track"},
                         {VELOX_CTX_ALBUM, "album"},
                         {VELOX_CTX_ARTIST, "artist"},
                         {VELOX_CTX_CONTRIBUTOR, "contributor"},
                         {VELOX_CHILD_TRACK, "track!"},
                         {VELOX_CHILD_MATCHING_TRACK, "track!matching"},
                         {VELOX_CHILD_ALBUM, "album!"},
                         {VELOX_CHILD_ARTIST, "artist!"},
                         {VELOX_CHILD_CONTRIBUTOR, "contributor!"},
                         {VELOX_CHILD_NAME, "name!off"},
                         {VELOX_CHILD_TITLE, "title!off"}});
  spelled("velox_val_", {{VELOX_VAL_TUI, "tui"}, {VELOX_VAL_TUI_TAG, "tui_tag"}, {VELOX_VAL_DISPLAY, "display"}});
  spelled("_sdkmgr_val_", {{VELOX_VAL_ARTIST_ID, "artist_id"},
                           {VELOX_VAL_GENRE_ID, "list_genre_id"},
                           {VELOX_VAL_ERA_ID, "list_era_id"},
                           {VELOX_VAL_MOOD_ID, "list_mood_id"},
                           {VELOX_VAL_STATION_ID, "cadenz_radio_id"},
                           {VELOX_VAL_RESPONSE_CODE, "response_code"},
                           {VELOX_VAL_SETTING_POPULARITY, "cadenz_option_focus_popularity"},
                           {VELOX_VAL_SETTING_SIMILARITY, "cadenz_option_focus_similarity"},
                           {VELOX_VAL_SETTING_DMCA, "cadenz_option_dmca"}});
  spelled("velox_result_", {{VELOX_RESULT_OK, "ok"}, {VELOX_RESULT_NO_MATCHES, "no_matches"}});
  spelled("velox_list_type_", {{VELOX_LIST_GENRES, "genres"}, {VELOX_LIST_MOODS, "moods"}, {VELOX_LIST_ERAS, "eras"}});
}

TEST(Spelling, OfOptions) {
  spelled("velox_queryopt_",
          {{VELOX_QUERYOPT_SERVICE_URL, "service_url"}, {VELOX_QUERYOPT_NETWORK_INTF, "network_intf"}});
  spelled("velox_cadenz_option_", {{VELOX_CADENZ_OPTION_ENABLE_XIDS, "enable_xids"},
                                   {VELOX_CADENZ_OPTION_ENABLE_CONTENT, "enable_content"},
                                   {VELOX_CADENZ_OPTION_ENABLE_SONIC, "enable_sonic"},
                                   {VELOX_CADENZ_OPTION_RETURN_COUNT, "return_count"},
                                   {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "focus_popularity"},
                                   {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "focus_similarity"},
                                   {VELOX_CADENZ_OPTION_CATALOG_FILTER, "catalog_filter"},
                                   {VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, "recommendation_max_tracks_per_artist"},
                                   {VELOX_CADENZ_OPTION_ROTATION_RADIO, "recommendation_rotation_radio"},
                                   {VELOX_CADENZ_OPTION_STATION_DMCA, "station_dmca"}});
}

}  // namespace
