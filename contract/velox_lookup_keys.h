/* The vocabulary of lookups: what the library asks for and reads, and what a provider answers. Each key is a text; its
 * meaning and the form of its value stand beside it. A spelling that looks wrong is the service's own.
 *
 * Forms: "text" is free, "number" is decimal, "boolean" is read by velox_is_true(), "identifier" is opaque. */
#ifndef VELOX_LOOKUP_KEYS_H
#define VELOX_LOOKUP_KEYS_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/* ---- Types of requests --------------------------------------------------------------------------------------------- */

#define VELOX_LOOKUP_TYPE_RECOMMEND "velox_lookup_type_radio_recommend" /* tracks that are like the seeds */
#define VELOX_LOOKUP_TYPE_CREATE    "velox_lookup_type_radio_create"    /* a station from seeds, and its first tracks */
#define VELOX_LOOKUP_TYPE_EVENT     "velox_lookup_type_radio_event"     /* tells a station what the listener did */
#define VELOX_LOOKUP_TYPE_SETTING   "velox_lookup_type_radio_setting"   /* gives a station other settings */
#define VELOX_LOOKUP_TYPE_LOOKAHEAD "velox_lookup_type_radio_lookahead" /* asks for a station's next tracks */
#define VELOX_LOOKUP_TYPE_ALBUM     "velox_lookup_type_album"           /* finds the album that texts describe */

/* ---- Options of a lookup, then of a request ------------------------------------------------------------------------ */

#define VELOX_LOOKUP_OPTION_SERVICE_URL  "velox_lookup_option_serviceurl"  /* text: endpoint of the service */
#define VELOX_LOOKUP_OPTION_NETWORK_INTF "velox_lookup_option_networkintf" /* text: network interface */

#define VELOX_LOOKUP_OPTION_XIDS    "velox_lookup_option_xids"    /* "1": external identifiers wanted */
#define VELOX_LOOKUP_OPTION_CONTENT "velox_lookup_option_content" /* "1": content data wanted */
#define VELOX_LOOKUP_OPTION_SONIC   "velox_lookup_option_sonic"   /* "1": sonic data wanted */
#define VELOX_LOOKUP_OPTION_RETURN_SETTINGS \
  "velox_lookup_option_return_settings" /* "1": the answer is to report them */
#define VELOX_LOOKUP_OPTION_RETURN_COUNT          "velox_lookup_option_return_count"     /* number: tracks wanted */
#define VELOX_LOOKUP_OPTION_FOCUS_POPULARITY      "velox_lookup_option_focus_popularity" /* number */
#define VELOX_LOOKUP_OPTION_FOCUS_SIMILARITY      "velox_lookup_option_focus_similarity" /* number */
#define VELOX_LOOKUP_OPTION_CATALOG_FILTER        "velox_lookup_option_catalog_filter" /* text: where to choose from */
#define VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST "velox_lookup_option_max_tracks_per_artist" /* number */
#define VELOX_LOOKUP_OPTION_ROTATION              "velox_lookup_option_rotation" /* VELOX_LOOKUP_ROTATION_... */
#define VELOX_LOOKUP_OPTION_DMCA                  "velox_lookup_option_dmca"     /* boolean */

/* ---- Data of a request --------------------------------------------------------------------------------------------- */

/* A seed: all values of one ordinal, the kind first. A filter adds its kind and values behind each seed's. */
#define VELOX_LOOKUP_DATA_SEED           "velox_lookup_data_radio_seed"                 /* VELOX_LOOKUP_SEED_... */
#define VELOX_LOOKUP_DATA_SEED_TUI       "velox_lookup_data_radio_seed_track_tui"       /* identifier of a track */
#define VELOX_LOOKUP_DATA_SEED_TUI_TAG   "velox_lookup_data_radio_seed_track_tui_tag"   /* identifier, goes with it */
#define VELOX_LOOKUP_DATA_SEED_ARTIST_ID "velox_lookup_data_radio_seed_artist_id"       /* identifier */
#define VELOX_LOOKUP_DATA_SEED_GENRE     "velox_lookup_data_radio_seed_attribute_genre" /* number of a list element */
#define VELOX_LOOKUP_DATA_SEED_ERA       "velox_lookup_data_radio_seed_attribute_era"   /* the same */
#define VELOX_LOOKUP_DATA_SEED_MOOD      "velox_lookup_data_radio_seed_attrbute_mood"   /* the same */

#define VELOX_LOOKUP_DATA_STATION_ID "velox_lookup_data_radio_id" /* identifier of the station that is asked */

/* An event: all values of one ordinal, the event first. */
#define VELOX_LOOKUP_DATA_EVENT           "velox_lookup_data_radio_event"               /* VELOX_LOOKUP_EVENT_... */
#define VELOX_LOOKUP_DATA_EVENT_TUI       "velox_lookup_data_radio_event_track_tui"     /* identifier of a track */
#define VELOX_LOOKUP_DATA_EVENT_TUI_TAG   "velox_lookup_data_radio_event_track_tui_tag" /* identifier, goes with it */
#define VELOX_LOOKUP_DATA_EVENT_ARTIST_ID "velox_lookup_data_radio_event_artist_id"     /* identifier */

/* What an album lookup goes by: the two identifiers, or names and titles with the range of results. */
#define VELOX_LOOKUP_DATA_TUI          "velox_lookup_data_tui"                /* identifier of a track */
#define VELOX_LOOKUP_DATA_TUI_TAG      "velox_lookup_data_tui_tag"            /* identifier, goes with it */
#define VELOX_LOOKUP_DATA_RANGE_START  "velox_lookup_data_result_range_start" /* number: first result, from 1 */
#define VELOX_LOOKUP_DATA_RANGE_END    "velox_lookup_data_result_range_end"   /* number: last result */
#define VELOX_LOOKUP_DATA_ALBUM_ARTIST "velox_lookup_data_album_artist"       /* text */
#define VELOX_LOOKUP_DATA_ALBUM_TITLE  "velox_lookup_data_album_title"        /* text */
#define VELOX_LOOKUP_DATA_TRACK_ARTIST "velox_lookup_data_track_artist"       /* text */
#define VELOX_LOOKUP_DATA_TRACK_TITLE  "velox_lookup_data_track_title"        /* text */

/* Values: the kind of a seed, an event, a rotation. */
#define VELOX_LOOKUP_SEED_TRACK     "TRACK"
#define VELOX_LOOKUP_SEED_ARTIST    "ARTIST"
#define VELOX_LOOKUP_SEED_ATTRIBUTE "ATTRIBUTE"

#define VELOX_LOOKUP_EVENT_TRACK_PLAYED   "TRACK_PLAYED"
#define VELOX_LOOKUP_EVENT_TRACK_SKIPPED  "TRACK_SKIPPED"
#define VELOX_LOOKUP_EVENT_TRACK_LIKE     "TRACK_LIKE"
#define VELOX_LOOKUP_EVENT_TRACK_DISLIKE  "TRACK_DISLIKE"
#define VELOX_LOOKUP_EVENT_ARTIST_LIKE    "ARTIST_LIKE"
#define VELOX_LOOKUP_EVENT_ARTIST_DISLIKE "ARTIST_DISLIKE"

#define VELOX_LOOKUP_ROTATION_RADIO "RADIO" /* artists alternate */
#define VELOX_LOOKUP_ROTATION_NONE  "NONE"  /* best first */

/* ---- Metadata objects ---------------------------------------------------------------------------------------------- */

#define VELOX_CTX_TRACK       "velox_ctx_track"
#define VELOX_CTX_ALBUM       "velox_ctx_album"
#define VELOX_CTX_ARTIST      "velox_ctx_artist"
#define VELOX_CTX_CONTRIBUTOR "velox_ctx_contributor"

/* Children by key; one that is asked for by ordinal begins at 1. */
#define VELOX_CHILD_TRACK          "velox_ctx_track!"         /* of an album */
#define VELOX_CHILD_MATCHING_TRACK "velox_ctx_track!matching" /* of an album that was looked up: the track meant */
#define VELOX_CHILD_ALBUM          "velox_ctx_album!"         /* of an answer */
#define VELOX_CHILD_ARTIST         "velox_ctx_artist!"        /* of a track or album */
#define VELOX_CHILD_CONTRIBUTOR    "velox_ctx_contributor!"   /* of an artist */
#define VELOX_CHILD_NAME           "velox_ctx_name!off"       /* of an artist or contributor: holds VELOX_VAL_DISPLAY */
#define VELOX_CHILD_TITLE          "velox_ctx_title!off"      /* of a track or album: holds VELOX_VAL_DISPLAY */

#define VELOX_VAL_TUI       "velox_val_tui"             /* identifier of a track; with its tag it names one */
#define VELOX_VAL_TUI_TAG   "velox_val_tui_tag"         /* identifier */
#define VELOX_VAL_ARTIST_ID "_sdkmgr_val_artist_id"     /* identifier, of a track, album, artist or contributor */
#define VELOX_VAL_GENRE_ID  "_sdkmgr_val_list_genre_id" /* number of a list element, of the same */
#define VELOX_VAL_ERA_ID    "_sdkmgr_val_list_era_id"   /* the same, of an artist or contributor */
#define VELOX_VAL_MOOD_ID   "_sdkmgr_val_list_mood_id"  /* the same, of a track */
#define VELOX_VAL_DISPLAY   "velox_val_display"         /* text, of a name or title */

/* ---- A station's answer -------------------------------------------------------------------------------------------- */

#define VELOX_VAL_STATION_ID         "_sdkmgr_val_cadenz_radio_id" /* identifier: of a creating request's answer */
#define VELOX_VAL_RESPONSE_CODE      "_sdkmgr_val_response_code"   /* VELOX_RESULT_... */
#define VELOX_VAL_SETTING_POPULARITY "_sdkmgr_val_cadenz_option_focus_popularity" /* number: the setting in force */
#define VELOX_VAL_SETTING_SIMILARITY "_sdkmgr_val_cadenz_option_focus_similarity" /* number: the same */
#define VELOX_VAL_SETTING_DMCA       "_sdkmgr_val_cadenz_option_dmca"             /* boolean: the same */

#define VELOX_RESULT_OK         "velox_result_ok"
#define VELOX_RESULT_NO_MATCHES "velox_result_no_matches" /* no such station, or nothing left to play */

/* ---- Lists --------------------------------------------------------------------------------------------------------- */

#define VELOX_LIST_GENRES "velox_list_type_genres"
#define VELOX_LIST_MOODS  "velox_list_type_moods"
#define VELOX_LIST_ERAS   "velox_list_type_eras"

/* ---- Booleans ------------------------------------------------------------------------------------------------------ */

/** 1 when the text begins with a word's letters and they are all of it, ASCII case ignored. `word` is in lower case. */
static inline int velox_is_word(const char* text, const char* word) {
  for (; *word; ++text, ++word) {
    if ((*text | 0x20) != *word) return 0;
  }
  return *text == 0;
}

/** The one rule by which a text is a boolean: true are "y", "yes", "true" and "on" in any ASCII case, and what begins with a
 *  decimal number other than 0; false is all else, null included. */
static inline int velox_is_true(const char* text) {
  if (!text) return 0;
  if (*text >= '0' && *text <= '9') {
    while (*text == '0') ++text;
    return *text >= '1' && *text <= '9';
  }
  switch (*text | 0x20) {
    case 'y':
      return velox_is_word(text, "y") || velox_is_word(text, "yes");
    case 't':
      return velox_is_word(text, "true");
    case 'o':
      return velox_is_word(text, "on");
    default:
      return 0;
  }
}

VELOX_END_DECLS

#endif
