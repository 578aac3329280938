/* velox_cadenz: recommendations and radio stations from seeds, narrowed by filters.
 *
 * An application starts its manager library, hands the manager's record to velox_cadenz_initialize(), makes queries and
 * filters, asks for recommendations or makes stations and draws their playlists, releases what it made and calls
 * velox_cadenz_shutdown().
 *
 * Status words. 0 is success; a word with bit 31 set is an error. All words given here are of package 0xb5: what fails below
 * the service keeps its low 16 bits and is moved into that package (0x900d0002 arrives as 0x90b50002), unless an operation
 * says otherwise. What an operation says of its words is in addition to these:
 *   0x90b50001  a null handle, or a bad argument         0x90b50007  the service isn't started
 *   0x90b5nnnn  the manager refused the handle: the low half of the manager's own word
 * The manager's error information holds the last outcome, with the word that caused it and a message.
 *
 * Out-parameters are written on success only. Texts are zero-terminated UTF-8; option keys compare without regard to ASCII
 * case. Handles stay valid until their release.
 *
 * Threads. Operations on one query wait for each other, also for a whole velox_cadenz_query_generate_recommendations(); the
 * callback of a running request may use the options and seeds of its own query. Operations on one station wait for each other
 * in the same way, also for a whole velox_cadenz_station_generate_playlist(). A filter takes no lock: keep uses of one filter
 * apart. Nothing protects an operation against a velox_cadenz_shutdown() on another thread. */
#ifndef VELOX_CADENZ_H
#define VELOX_CADENZ_H

#include "velox_manager.h"
#include "velox_options.h"

VELOX_BEGIN_DECLS

#define CADENZ_ERR_INVALID_ARG    0x90b50001u
#define CADENZ_ERR_NO_MEMORY      0x90b50002u
#define CADENZ_ERR_NOT_FOUND      0x90b50003u
#define CADENZ_ERR_NOT_INITED     0x90b50007u
#define CADENZ_ERR_INIT_FAILED    0x90b5000au
#define CADENZ_ERR_UNSUPPORTED    0x90b5000bu
#define CADENZ_ERR_BAD_RECORD     0x90b50320u
#define CADENZ_ERR_WRONG_VERSION  0x90b50321u
#define CADENZ_ERR_NO_SEEDS       0x90b50600u
#define CADENZ_ERR_BAD_SEED       0x90b50790u
#define CADENZ_ERR_TOO_MANY_SEEDS 0x90b50791u

/** A query holds at most this many seeds. */
#define VELOX_CADENZ_MAX_SEEDS 6

typedef struct cadenz_query* velox_cadenz_query_handle;
typedef struct cadenz_filter* velox_cadenz_filter_handle;
typedef struct cadenz_station* velox_cadenz_station_handle;

/* ---- Start and stop ------------------------------------------------------------------------------------------------- */

/** Starts the service with the manager's record, or counts a further start.
 *  Returns 0; 0x90b50001 for a null record; 0x90b50320 for a record with a wrong magic word; 0x90b50321 for a manager of
 *  another version; 0x90b5000a when the first start failed, with everything let go again. Any thread, one at a time. */
VELOX_API pask_status velox_cadenz_initialize(const velox_manager_record* manager);
/** Ends one start; the last one stops the service. Release queries, stations and filters before it.
 *  Returns 0; 0x90b50007 when not started; the manager's refusal, moved into package 0xb5, while the client still holds
 *  something: the service then stays up and the call may be repeated. Sets no error information. */
VELOX_API pask_status velox_cadenz_shutdown(void);
/** The number of starts not yet ended; non-zero means started. */
VELOX_API int32_t velox_cadenz_initchecks(void);
/** Static text, "3.10.1". Works at any time. */
VELOX_API const char* velox_cadenz_get_version(void);
/** Static text, "YYYY-MM-DD HH:MM-ZZZZ". Works at any time. */
VELOX_API const char* velox_cadenz_get_build_date(void);

/* ---- Queries -------------------------------------------------------------------------------------------------------- */

/* What a callback is told of a running request. */
#define VELOX_CADENZ_STATUS_ERROR      4u /* the service reported an error, which is now the last error information */
#define VELOX_CADENZ_STATUS_BEGIN      5u /* manager's progress state 8 */
#define VELOX_CADENZ_STATUS_PROGRESS_1 6u /* state 10: total 1 may have grown */
#define VELOX_CADENZ_STATUS_PROGRESS_2 7u /* state 11: total 2 may have grown */
#define VELOX_CADENZ_STATUS_END        8u /* state 12 */

/** Follows the requests of a query or a station.
 *  data     the application's word from the query's or station's creation
 *  status   one of the words above
 *  zero     0
 *  total_1, total_2  amounts added up over the whole life of the query or station
 *  abort    may be null; write 1 to ask that the request stops: the running operation then fails with the manager's word
 *  Runs inside the lock of its query or station, usually on the thread of the request. On that thread it may set and read
 *  options and add seeds, which take effect with the next request; seeds that are added while others are being resolved go
 *  with the list that the resolved ones replace. It must not release its query or station. */
typedef void (*velox_cadenz_callback_fn)(void* data, uint32_t status, uint32_t zero, uint32_t total_1, uint32_t total_2,
                                         uint8_t* abort);

/** Makes a query for a user.
 *  user      a live user; the query holds a reference for its whole life
 *  callback  may be null; `data` is handed back to it
 *  query     out
 *  Returns 0; 0x90b50001 for a null out-parameter or user; 0x90b50002 without memory; the manager's refusal of the user. */
VELOX_API pask_status velox_cadenz_query_create(velox_user_handle user, velox_cadenz_callback_fn callback, void* data,
                                                velox_cadenz_query_handle* query);
/** Ends a query with its options and seeds. Null is a success. It takes no lock: nobody else may be using the query. */
VELOX_API pask_status velox_cadenz_query_release(velox_cadenz_query_handle query);

/* Options: the keys of velox_options.h, where each has its form and meaning. A value is a text, copied; null is stored as null.
 * There are no defaults here: an option that isn't set isn't sent. */

/** Sets one of the twelve options, in place of its former value.
 *  Returns 0; 0x90b50001 for an empty or unknown key; 0x90b50002 without memory, the former value then stays. */
VELOX_API pask_status velox_cadenz_query_option_set(velox_cadenz_query_handle query, const char* key,
                                                    const char* value);
/** Reads an option. `value` receives a text of the query's own, which may be null, stays valid until the query's release,
 *  also when the option is set again, and isn't freed by the caller.
 *  Returns 0; 0x90b50001 for a null key or out-parameter, without error information; 0x90b50003 when never set. */
VELOX_API pask_status velox_cadenz_query_option_get(velox_cadenz_query_handle query, const char* key,
                                                    const char** value);
/** Adds a seed: a track, album, artist or contributor object, or another one that has a name. The query takes a reference.
 *  The same object may be added twice. What a seed offers is looked at when it is used.
 *  Returns 0; 0x90b50791 for the seventh seed; the manager's refusal of a null or dead object. */
VELOX_API pask_status velox_cadenz_query_set_mdo(velox_cadenz_query_handle query, velox_mdo_handle seed);

/** Asks for recommendations and blocks until they are there.
 *  Seeds that carry only names are first resolved in one lookup of their own, and the resolved objects then take their
 *  places in the query, behind the others. A filter goes with every seed, or stands alone where the query has none.
 *  filter  may be null; it must be a live filter until the operation returns: filters have no registry to find a released one by,
 *          and only debug builds look
 *  result  out: an object whose reference is the caller's, to be released through the manager
 *  Returns 0; 0x90b50001 for a null out-parameter, without error information; 0x90b50600 with neither seed nor filter;
 *  0x90b50790 for a seed that offers neither identifier nor name; otherwise what the lookup gave, also after an abort. On
 *  every failure the query may be used again. */
VELOX_API pask_status velox_cadenz_query_generate_recommendations(velox_cadenz_query_handle query,
                                                                  velox_cadenz_filter_handle filter,
                                                                  velox_mdo_handle* result);

/* ---- Filters -------------------------------------------------------------------------------------------------------- */
/* A filter collects moods, genres and eras and serves any number of requests. Failures from below the filter come back as
 * they are, in their own package; the error information holds them moved into package 0xb5. */

/** Makes an empty filter. Returns 0; 0x90b50001 for a null out-parameter; 0x90b50002 without memory. */
VELOX_API pask_status velox_cadenz_filter_create(velox_cadenz_filter_handle* filter);
/** Adds a list element's value; one that is there already is a success. The element is only read.
 *  Returns 0; 0x90b50001 for a null argument, without error information and also when the service isn't started;
 *  0x90b5000b for an element of another list than genres, moods and eras. On failure the filter is as it was. */
VELOX_API pask_status velox_cadenz_filter_set(velox_cadenz_filter_handle filter, velox_list_element_handle element);
/** Ends a filter. Null is a success. Returns 0, or the manager's word if it keeps the filter. */
VELOX_API pask_status velox_cadenz_filter_release(velox_cadenz_filter_handle filter);

/* ---- Stations ------------------------------------------------------------------------------------------------------- */
/* A station is a radio that the service keeps: it has an identifier, goes on where it was when it is reopened by it, and is
 * steered by what the application reports of the listener. Nothing goes to the service until the next playlist is drawn. */

/** Makes a new station from a query's seeds and options and a filter, and blocks until the service has made it. Seeds are sent
 *  as they are; with neither seed nor filter the service decides. The station gets a copy of the query's options and does
 *  not hold the query.
 *  filter    may be null; it must be a live filter until the operation returns
 *  callback  may be null; serves the station's later requests, with `data`, while this one is told to the query's own callback
 *  station   out
 *  Returns 0; 0x90b50001 for a null out-parameter, without error information; 0x90b50003 for an answer without a station's
 *  identifier; 0x90b50002 without memory; otherwise what the lookup gave. The query may be used again in every case. */
VELOX_API pask_status velox_cadenz_query_generate_station(velox_cadenz_query_handle query,
                                                          velox_cadenz_filter_handle filter,
                                                          velox_cadenz_callback_fn callback, void* data,
                                                          velox_cadenz_station_handle* station);
/** Reopens a station by the identifier that velox_cadenz_station_id gave, and blocks until its playlist is there.
 *  user      a live user, which isn't checked; the station holds a reference for its whole life
 *  callback  may be null; serves this request and the later ones, with `data`
 *  station   out
 *  Returns 0; 0x90b50001 for an empty identifier or a null out-parameter, without error information; 0x90b50003 when the
 *  service has no such station, or the station nothing to offer; 0x90b50002 without memory; otherwise what the lookup gave. */
VELOX_API pask_status velox_cadenz_station_lookup(const char* station_id, velox_user_handle user,
                                                  velox_cadenz_callback_fn callback, void* data,
                                                  velox_cadenz_station_handle* station);
/** Gives the station's identifier, a text of the station's own that stays valid until its release. 0x90b50001 for a null
 *  out-parameter, without error information. */
VELOX_API pask_status velox_cadenz_station_id(velox_cadenz_station_handle station, const char** station_id);
/** Ends a station here; the service keeps it. Events that no playlist has reported yet are dropped. Null is a success. It takes
 *  no lock: nobody else may be using the station. */
VELOX_API pask_status velox_cadenz_station_release(velox_cadenz_station_handle station);

/** Sets an option in place of its former value; it takes effect with the next playlist. The keys are those of a query except
 *  MAX_TRACKS_PER_ARTIST, ROTATION_RADIO and CATALOG_FILTER.
 *  Returns 0; 0x90b50001 for an empty or unknown key; 0x90b50002 without memory, the former value then stays. */
VELOX_API pask_status velox_cadenz_station_option_set(velox_cadenz_station_handle station, const char* key,
                                                      const char* value);
/** Reads an option, also one that came from the query and can't be set here. `value` receives a text of the station's own,
 *  which may be null and stays valid until the option is set again or the station is released.
 *  Returns 0; 0x90b50001 for a null key or out-parameter, without error information; 0x90b50003 when never set. */
VELOX_API pask_status velox_cadenz_station_option_get(velox_cadenz_station_handle station, const char* key,
                                                      const char** value);

/* What the listener did. */
#define VELOX_CADENZ_EVENT_TRACK_PLAYED   1u
#define VELOX_CADENZ_EVENT_TRACK_SKIPPED  2u
#define VELOX_CADENZ_EVENT_TRACK_LIKE     3u
#define VELOX_CADENZ_EVENT_TRACK_DISLIKE  4u
#define VELOX_CADENZ_EVENT_ARTIST_LIKE    5u
#define VELOX_CADENZ_EVENT_ARTIST_DISLIKE 6u

/** Records an event of a track ("velox_ctx_track", events 1 to 4) or an artist ("velox_ctx_artist", 5 and 6). The station
 *  takes a reference on the object. All recorded events go out in one request, in order, with the next playlist, and are
 *  gone after it even if it fails: a track without identifiers, for one, fails only there. What the manager's own tables record
 *  while the events go out is gone with them.
 *  Returns 0; 0x90b50001 for an unknown event, a null object or one that doesn't suit the event, and then records nothing;
 *  the manager's refusal of a bad object. */
VELOX_API pask_status velox_cadenz_station_event(velox_cadenz_station_handle station, uint32_t event,
                                                 velox_mdo_handle subject);
/** Reports pending events, or else changed options, and gives the station's playlist: an object with its albums as
 *  "velox_ctx_album!" children, whose tracks are theirs. With nothing to report it gives the playlist that the station has and
 *  asks nobody. A service that has nothing to play, or fails, leaves the earlier playlist with the station.
 *  playlist  out: a reference of the caller's, to be released through the manager; it may outlive the station
 *  Returns 0; 0x90b50001 for a null out-parameter, without error information; 0x90b50003 when there is no playlist; otherwise
 *  what the lookup gave. */
VELOX_API pask_status velox_cadenz_station_generate_playlist(velox_cadenz_station_handle station,
                                                             velox_mdo_handle* playlist);

/* For the manager's registry: both free a filter's record and its values. */
VELOX_API void _cadenz_filter_delete(velox_cadenz_filter_handle filter);
VELOX_API void _cadenz_filter_handle_delete(void* filter);

VELOX_END_DECLS

#endif
