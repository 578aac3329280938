/* The options of queries and stations: one row each, from which the query knows its keys, a request is assembled, a station's
 * settings are compared, and the program and the catalogue read what there is. */
#ifndef VELOX_OPTIONS_H
#define VELOX_OPTIONS_H

#include "velox_lookup_keys.h"

VELOX_BEGIN_DECLS

/* Keys. A value is a text; there are no defaults: an option that isn't set isn't sent. Keys compare without regard to ASCII
 * case. */
#define VELOX_QUERYOPT_SERVICE_URL                "velox_queryopt_service_url"
#define VELOX_QUERYOPT_NETWORK_INTF               "velox_queryopt_network_intf"
#define VELOX_CADENZ_OPTION_ENABLE_XIDS           "velox_cadenz_option_enable_xids"
#define VELOX_CADENZ_OPTION_ENABLE_CONTENT        "velox_cadenz_option_enable_content"
#define VELOX_CADENZ_OPTION_ENABLE_SONIC          "velox_cadenz_option_enable_sonic"
#define VELOX_CADENZ_OPTION_RETURN_COUNT          "velox_cadenz_option_return_count"
#define VELOX_CADENZ_OPTION_FOCUS_POPULARITY      "velox_cadenz_option_focus_popularity"
#define VELOX_CADENZ_OPTION_FOCUS_SIMILARITY      "velox_cadenz_option_focus_similarity"
#define VELOX_CADENZ_OPTION_CATALOG_FILTER        "velox_cadenz_option_catalog_filter"
#define VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST "velox_cadenz_option_recommendation_max_tracks_per_artist"
#define VELOX_CADENZ_OPTION_ROTATION_RADIO        "velox_cadenz_option_recommendation_rotation_radio"
#define VELOX_CADENZ_OPTION_STATION_DMCA          "velox_cadenz_option_station_dmca"

/* Whose option it is, as bits: what may set it. */
#define VELOX_OPTION_OF_QUERY   1
#define VELOX_OPTION_OF_STATION 2
#define VELOX_OPTION_OF_BOTH    3

/* The kinds of requests that carry it, as bits. */
#define VELOX_OPTION_FOR_RECOMMEND 1
#define VELOX_OPTION_FOR_CREATE    2
#define VELOX_OPTION_FOR_STATION   4 /* events, settings, lookahead */
#define VELOX_OPTION_FOR_LOOKUP    8 /* set on the lookup as a whole, of every kind */
#define VELOX_OPTION_FOR_ANY       7

/* The form of a value, and with it what is sent. */
#define VELOX_OPTION_TEXT     1 /* as given, a null value included */
#define VELOX_OPTION_NUMBER   2 /* decimal; as given */
#define VELOX_OPTION_BOOLEAN  3 /* as given; two values are the same when velox_is_true() reads them alike */
#define VELOX_OPTION_FLAG     4 /* boolean: "1" for a true value, a false one sends nothing */
#define VELOX_OPTION_ROTATION 5 /* boolean: "RADIO" for a true value, else "NONE" */
#define VELOX_OPTION_ALWAYS   6 /* no option of anybody's: "1" with every request of its kinds */

/* ROW(option, owners, request key, requests, form, reported, name, help), in the order in which a request gets them. `reported` is
 * the value by which a station's answer tells the setting in force; null for what none tells. `name` is what people call it on a
 * command line and among a station's settings; null for what they aren't offered. */
#define VELOX_OPTIONS(ROW)                                                                                            \
  ROW(VELOX_QUERYOPT_SERVICE_URL, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_SERVICE_URL, VELOX_OPTION_FOR_LOOKUP,     \
      VELOX_OPTION_TEXT, NULL, NULL, "endpoint of the service")                                                       \
  ROW(VELOX_QUERYOPT_NETWORK_INTF, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_NETWORK_INTF, VELOX_OPTION_FOR_LOOKUP,   \
      VELOX_OPTION_TEXT, NULL, NULL, "network interface")                                                             \
  ROW(VELOX_CADENZ_OPTION_ENABLE_XIDS, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_XIDS, VELOX_OPTION_FOR_ANY,          \
      VELOX_OPTION_FLAG, NULL, NULL, "external identifiers wanted")                                                   \
  ROW(VELOX_CADENZ_OPTION_ENABLE_CONTENT, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_CONTENT, VELOX_OPTION_FOR_ANY,    \
      VELOX_OPTION_FLAG, NULL, NULL, "content data wanted")                                                           \
  ROW(VELOX_CADENZ_OPTION_ENABLE_SONIC, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_SONIC, VELOX_OPTION_FOR_ANY,        \
      VELOX_OPTION_FLAG, NULL, NULL, "sonic data wanted")                                                             \
  ROW(NULL, 0, VELOX_LOOKUP_OPTION_RETURN_SETTINGS, VELOX_OPTION_FOR_STATION, VELOX_OPTION_ALWAYS, NULL, NULL,        \
      "the answer is to report the settings in force")                                                                \
  ROW(VELOX_CADENZ_OPTION_RETURN_COUNT, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_RETURN_COUNT, VELOX_OPTION_FOR_ANY, \
      VELOX_OPTION_NUMBER, NULL, "count", "How many tracks")                                                          \
  ROW(VELOX_CADENZ_OPTION_FOCUS_POPULARITY, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_FOCUS_POPULARITY,               \
      VELOX_OPTION_FOR_ANY, VELOX_OPTION_NUMBER, VELOX_VAL_SETTING_POPULARITY, "popularity",                          \
      "0: rather the unknown, 1000: rather the well-known")                                                           \
  ROW(VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_FOCUS_SIMILARITY,               \
      VELOX_OPTION_FOR_ANY, VELOX_OPTION_NUMBER, VELOX_VAL_SETTING_SIMILARITY, "similarity",                          \
      "0: rather the surprising, 1000: rather the alike")                                                             \
  ROW(VELOX_CADENZ_OPTION_CATALOG_FILTER, VELOX_OPTION_OF_QUERY, VELOX_LOOKUP_OPTION_CATALOG_FILTER,                  \
      VELOX_OPTION_FOR_ANY, VELOX_OPTION_TEXT, NULL, "from",                                                          \
      "Only tracks of this genre, of this artist, or below this path")                                                \
  ROW(VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, VELOX_OPTION_OF_QUERY, VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST,    \
      VELOX_OPTION_FOR_RECOMMEND, VELOX_OPTION_NUMBER, NULL, "max-per-artist", "At most so many of one artist")       \
  ROW(VELOX_CADENZ_OPTION_ROTATION_RADIO, VELOX_OPTION_OF_QUERY, VELOX_LOOKUP_OPTION_ROTATION,                        \
      VELOX_OPTION_FOR_RECOMMEND, VELOX_OPTION_ROTATION, NULL, "rotation",                                            \
      "radio: artists alternate; none: best first")                                                                   \
  ROW(VELOX_CADENZ_OPTION_STATION_DMCA, VELOX_OPTION_OF_BOTH, VELOX_LOOKUP_OPTION_DMCA,                               \
      VELOX_OPTION_FOR_CREATE | VELOX_OPTION_FOR_STATION, VELOX_OPTION_BOOLEAN, VELOX_VAL_SETTING_DMCA, "dmca",       \
      "Keep to the rule of internet radio on tracks of one album and artist")

/** A row, for whoever wants them as records: VELOX_OPTIONS(VELOX_OPTION_RECORD) between braces. */
typedef struct velox_option {
  const char* key;         /* null in a row that is no option */
  uint8_t owners;          /* VELOX_OPTION_OF_ bits */
  const char* request_key; /* what it is called in a lookup */
  uint8_t requests;        /* VELOX_OPTION_FOR_ bits */
  uint8_t form;            /* VELOX_OPTION_TEXT and so on */
  const char* reported;    /* value of a station's answer, or null */
  const char* name;        /* for people, or null */
  const char* help;        /* for people, in a few words */
} velox_option;
#define VELOX_OPTION_RECORD(key, owners, request_key, requests, form, reported, name, help) \
  {key, owners, request_key, requests, form, reported, name, help},

VELOX_END_DECLS

#endif
