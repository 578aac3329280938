/* The embedded music catalogue: a database file of tracks, filled by scanning audio files or a tab-separated file, which
 * answers the lookups of the manager stand-in.
 *
 * A catalogue is named by a service URL, "sqlite:/path/to/file.db"; set "velox_queryopt_service_url" of a query to it, or
 * make it the default of the process. Several processes may use one file: readers see it whole at every moment, and a
 * writer waits up to five seconds for another one.
 *
 * A handle belongs to one thread at a time. Failures give VELOX_STANDIN_ERR_CATALOG or another word of velox_standin.h, and
 * velox_standin_last_error() holds a sentence that tells what happened and names the file. */
#ifndef VELOX_CATALOG_H
#define VELOX_CATALOG_H

#include "velox_sound.h"
#include "velox_standin.h"

VELOX_BEGIN_DECLS

typedef struct velox_catalog* velox_catalog_handle;

#define VELOX_CATALOG_READ   0u /* the file must exist */
#define VELOX_CATALOG_CREATE 1u /* read and write; made when missing, together with its folder */

/** Opens a catalogue by its service URL. A file that is no catalogue of ours, or of a newer version, is refused untouched. */
VELOX_API pask_status velox_catalog_open(const char* url, uint32_t mode, velox_catalog_handle* catalog);
/** Closes it; null is accepted, and so is a handle that was closed before, which every other operation refuses. Objects got from
 *  it stay valid. */
VELOX_API void velox_catalog_close(velox_catalog_handle catalog);
/** The catalogue that lookups without a service URL use. The text is copied; null sets none. */
VELOX_API pask_status velox_catalog_default_set(const char* url);

/* ---- Filling ------------------------------------------------------------------------------------------------------- */

typedef struct velox_catalog_scan_report {
  uint64_t seen;      /* files, or lines of a tab-separated file, that were looked at */
  uint64_t added;     /* new in the catalogue */
  uint64_t updated;   /* changed since the last scan */
  uint64_t unchanged; /* not read again */
  uint64_t removed;   /* gone from below the scanned place */
  uint64_t failed;    /* unreadable or broken; each was told to on_problem */
  /* With a digest only: */
  uint64_t moved;      /* known tracks, found at another path */
  uint64_t duplicates; /* of the same content as a track's file; not taken in */
} velox_catalog_scan_report;

typedef struct velox_catalog_scan_events {
  void* context;
  /** Something that couldn't be taken in, or that is left out without being a failure (a link to a folder), with the path or
   *  "file:line" and a sentence; the scan goes on. May be null. */
  void (*on_problem)(void* context, const char* where, const char* message);
  /** After each file or some lines; may be null. A result other than 0 ends the scan after the running transaction. */
  int (*on_progress)(void* context, const velox_catalog_scan_report* so_far, const char* where);
  /** Gives a digest of what an audio file holds, the same for files of the same content; asked of new and changed files. A
   *  result other than 0 means that there is none. Null: files are known by their paths alone. */
  int (*digest)(void* context, const char* path, uint8_t digest[16]);
} velox_catalog_scan_events;

/** Takes in a folder with all below it (FLAC, MP3, Ogg Vorbis, Opus, M4A), one audio file, or a .tsv file.
 *
 *  A file whose size and time of change are as they were isn't read again; files gone from below the folder leave the
 *  catalogue. Changes are written in bounded transactions, so the catalogue is sound at every moment and an interrupted scan
 *  goes on where it was. With a digest, a file that has moved stays the track that it was, and a further file of the same
 *  content isn't taken in; it takes the track's place when the first one goes. A .tsv file has a header line that names its columns: title and artist are required; album,
 *  album_artist, genre, mood, date, popularity (0 to 1000), path, track_tui, artist_id and duration (seconds) are known, in
 *  any order; several genres or moods are divided by "; ". Its tracks replace those of an earlier scan of the same file.
 *
 *  Returns 0 also when single files failed (report->failed); VELOX_STANDIN_ERR_ABORTED when on_progress ended it. `report`
 *  is written in every case; `events` may be null. */
VELOX_API pask_status velox_catalog_scan(velox_catalog_handle catalog, const char* path,
                                         const velox_catalog_scan_events* events, velox_catalog_scan_report* report);

/** Gives the next bytes of a text: at most `size` of them into `buffer`, and their count, which is 0 at the end. A failed word
 *  ends the import. */
typedef pask_status (*velox_catalog_read_fn)(void* context, void* buffer, uint32_t size, uint32_t* got);

/** Takes in a tab-separated text from wherever the caller reads it, as a scan takes in a .tsv file. `name` stands for the file:
 *  relative paths in the text begin at its folder, messages name it, and the tracks replace those of an earlier import or scan
 *  of that name. Returns what velox_catalog_scan returns, or the failed word that `read` gave. */
VELOX_API pask_status velox_catalog_import(velox_catalog_handle catalog, const char* name, velox_catalog_read_fn read,
                                           void* context, const velox_catalog_scan_events* events,
                                           velox_catalog_scan_report* report);

/* ---- Sound --------------------------------------------------------------------------------------------------------- */
/* What the tracks of audio files sound like. The catalogue doesn't listen itself: whoever fills it asks for what nobody has listened
 * to, has it analysed wherever it likes, and puts the records in. They stay with a file that moves, and go with a changed one. */

/** A track whose sound isn't known. The path is borrowed for the call. */
typedef struct velox_catalog_unheard_track {
  uint64_t track;   /* number in this catalogue, for velox_catalog_sound_put() */
  uint64_t content; /* tells what the file held; the same */
  const char* path;
} velox_catalog_unheard_track;

/** A result other than 0 ends the listing. */
typedef int (*velox_catalog_unheard_fn)(void* context, const velox_catalog_unheard_track* track);

/** Lists up to `limit` tracks of audio files, by number from behind `after` on, that nobody has listened to by VELOX_SOUND_METHOD
 *  or a later one; those that can't be listened to are left out until they change. */
VELOX_API pask_status velox_catalog_unheard(velox_catalog_handle catalog, uint64_t after, uint32_t limit,
                                            velox_catalog_unheard_fn on_track, void* context);
/** Keeps what a track sounds like; with a null `sound` that it can't be listened to, and `why`. Each call is kept when it returns.
 *  A track that has gone or changed meanwhile is passed over. A record with a value that can't be is refused with
 *  VELOX_STANDIN_ERR_INVALID_ARG. */
VELOX_API pask_status velox_catalog_sound_put(velox_catalog_handle catalog, uint64_t track, uint64_t content,
                                              const velox_sound* sound, const char* why);

/** `done` of `all`; a result other than 0 ends what goes on, with what is done kept. */
typedef int (*velox_catalog_settle_fn)(void* context, uint64_t done, uint64_t all);

/** Finds for all tracks whose sound has become known, or has gone, which others sound most alike: to be called now and then while
 *  a catalogue is filled and at the end. What it costs depends on how many are new. `on_progress` may be null;
 *  VELOX_STANDIN_ERR_ABORTED when it ended the work, which the next call goes on with. */
VELOX_API pask_status velox_catalog_sound_settle(velox_catalog_handle catalog, velox_catalog_settle_fn on_progress,
                                                 void* context);

typedef struct velox_catalog_sound_counts {
  uint64_t heard;   /* tracks whose sound is known, by any method */
  uint64_t unheard; /* whose sound velox_catalog_unheard() would list */
  uint64_t failed;  /* that can't be listened to */
  uint64_t brief;   /* shorter than velox_catalog_shortest_set() says: never recommended */
} velox_catalog_sound_counts;

/** What is known of the catalogue's sounds; it looks through all tracks. */
VELOX_API pask_status velox_catalog_sound_count(velox_catalog_handle catalog, velox_catalog_sound_counts* counts);

/** Tracks of audio files shorter than so many seconds aren't recommended unless they are a seed; 30 unless set, 0 for none. Kept in
 *  the catalogue. Files of unknown length count as music. */
VELOX_API pask_status velox_catalog_shortest_set(velox_catalog_handle catalog, uint32_t seconds);

/** A track that sounds like another: its object, borrowed for the call, and how far it is: 0 for the same sound; 1.4 for one as far
 *  as most others are. */
typedef int (*velox_catalog_alike_fn)(void* context, velox_mdo_handle track, float distance);

/** Tells what a track sounds like, by its identifier and tag (null for any), and calls `on_alike` with the nearest others, nearest
 *  first; it may be null. VELOX_STANDIN_ERR_NOT_FOUND for an unknown track, or one whose sound isn't known. */
VELOX_API pask_status velox_catalog_sound(velox_catalog_handle catalog, const char* tui, const char* tag,
                                          velox_sound* sound, uint32_t limit, velox_catalog_alike_fn on_alike,
                                          void* context);

/* ---- Finding ------------------------------------------------------------------------------------------------------- */

#define VELOX_CATALOG_TRACKS  1u
#define VELOX_CATALOG_ALBUMS  2u
#define VELOX_CATALOG_ARTISTS 4u

/** Called with each find, best first; the object is borrowed for the call (velox_standin_mdo_addref keeps it). A result other
 *  than 0 ends the search. */
typedef int (*velox_catalog_find_fn)(void* context, velox_mdo_handle found);

/** Finds catalogue items whose names hold all words of the text, word beginnings included, ASCII case and the accents of
 *  Latin letters ignored; exact names come first. Some of the words may be in the name of the track's or album's artist, as
 *  in "aurora rain". `kinds` joins VELOX_CATALOG_ bits; `limit` is per kind. */
VELOX_API pask_status velox_catalog_search(velox_catalog_handle catalog, const char* text, uint32_t kinds,
                                           uint32_t limit, velox_catalog_find_fn on_find, void* context);

#define VELOX_CATALOG_BY_NAME   0u /* as told at velox_catalog_browse() */
#define VELOX_CATALOG_BY_ARTIST 1u /* albums by the names of their artists */
#define VELOX_CATALOG_NEWEST    2u /* what came into the catalogue last is first */
#define VELOX_CATALOG_RANDOM    3u /* the same seed gives the same of the same catalogue */

/** A place in the catalogue; zeroes ask for all of a kind by name. Texts may be null. */
typedef struct velox_catalog_browsing {
  uint32_t kind; /* VELOX_CATALOG_TRACKS, _ALBUMS or _ARTISTS: what is told */
  /* Of what: the first of these that isn't null. Something's own identifier gives that one alone. */
  const char *track, *track_tag;   /* VELOX_VAL_TUI, and its tag or null for any */
  const char* album;               /* VELOX_VAL_ALBUM_ID */
  const char* artist;              /* of an artist: "_sdkmgr_val_artist_id" */
  const char *list_type, *element; /* VELOX_LIST_, and a genre, mood or era by its name */
  uint32_t first_year,
      last_year; /* tracks, or albums that have some, of these years, later ones first where the first is the later; 0: any */
  uint32_t
      order; /* above; without it artists and albums come by name, ASCII case ignored, an album's tracks as on it, an
                                      * artist's most popular first, others in an order that stays the same */
  uint64_t random_seed;
  uint32_t offset, limit; /* at most 10,000 at once */
} velox_catalog_browsing;

/** Tells what is at a place, as objects like those of a search: albums have their tracks as "velox_ctx_track!" children. What an
 *  order in front of the page costs, each page costs again; of a genre, mood, era or years, 20,000 tracks are looked at at most. */
VELOX_API pask_status velox_catalog_browse(velox_catalog_handle catalog, const velox_catalog_browsing* what,
                                           velox_catalog_find_fn on_find, void* context);

/** How many tracks there are of a leading genre and a decade such as 1990; empty and 0 where it isn't known. */
typedef int (*velox_catalog_chart_fn)(void* context, const char* genre, uint32_t decade, uint64_t tracks);

/** Tells where the music lies: each genre and decade that has tracks. A result other than 0 ends it. */
VELOX_API pask_status velox_catalog_chart(velox_catalog_handle catalog, velox_catalog_chart_fn on_cell, void* context);

/** The path is borrowed for the call. A result other than 0 ends the telling. */
typedef int (*velox_catalog_place_fn)(void* context, const char* path);

/** Tells the folders that have been scanned for audio files. */
VELOX_API pask_status velox_catalog_places(velox_catalog_handle catalog, velox_catalog_place_fn on_place,
                                           void* context);

/** Called with each element of a list, most tracks first; the element is borrowed for the call. */
typedef int (*velox_catalog_list_fn)(void* context, velox_list_element_handle element, const char* name,
                                     uint64_t tracks);

/** Lists the genres, moods or eras of the catalogue (VELOX_LIST_ texts). */
VELOX_API pask_status velox_catalog_list(velox_catalog_handle catalog, const char* list_type,
                                         velox_catalog_list_fn on_element, void* context);

typedef struct velox_catalog_counts {
  uint64_t tracks, albums, artists, genres, moods, eras;
  uint8_t invented; /* 1: this is the demonstration catalogue, its artists are invented */
} velox_catalog_counts;

VELOX_API pask_status velox_catalog_count(velox_catalog_handle catalog, velox_catalog_counts* counts);

/* ---- Stations ------------------------------------------------------------------------------------------------------- */

/** A station that the catalogue keeps. The texts are borrowed for the call. */
typedef struct velox_catalog_station {
  const char* id;                            /* what velox_cadenz_station_lookup() takes */
  const char* name;                          /* made from the seeds until it is renamed */
  uint64_t created;                          /* seconds since 1970 */
  uint64_t used;                             /* last request, the same */
  uint64_t played, skipped, liked, disliked; /* events so far; likes and dislikes of tracks and artists */
} velox_catalog_station;

/** Called with each station, last used first. A result other than 0 ends the listing. */
typedef int (*velox_catalog_station_fn)(void* context, const velox_catalog_station* station);

VELOX_API pask_status velox_catalog_stations(velox_catalog_handle catalog, velox_catalog_station_fn on_station,
                                             void* context);

/** An event of a station's history. The texts are borrowed for the call. */
typedef struct velox_catalog_station_event {
  const char*
      kind; /* "TRACK_PLAYED", "TRACK_SKIPPED", "TRACK_LIKE", "TRACK_DISLIKE", "ARTIST_LIKE", "ARTIST_DISLIKE" */
  const char* title;  /* of the track; empty for an artist, or when the track has left the catalogue */
  const char* artist; /* may be empty likewise */
  uint64_t time;      /* seconds since 1970 at which it was reported */
} velox_catalog_station_event;

typedef int (*velox_catalog_station_event_fn)(void* context, const velox_catalog_station_event* event);

/** Lists a station's events, oldest first. VELOX_STANDIN_ERR_NOT_FOUND for an unknown station, here and below. */
VELOX_API pask_status velox_catalog_station_history(velox_catalog_handle catalog, const char* id,
                                                    velox_catalog_station_event_fn on_event, void* context);
/** Gives a station another name, which must not be empty. */
VELOX_API pask_status velox_catalog_station_rename(velox_catalog_handle catalog, const char* id, const char* name);
/** Removes a station with its history; requests with its identifier then find nothing. */
VELOX_API pask_status velox_catalog_station_remove(velox_catalog_handle catalog, const char* id);

/* ---- What it answers ------------------------------------------------------------------------------------------------ */
/* Recommendations ("velox_lookup_type_radio_recommend"). Tracks are near to a seed when they share its genres, moods and
 * years, a rare genre counting more than a common one, or its artist or album, or sound like it. Of tracks without an artist each
 * stands for itself, or those of an album together. Audio files that are too short to be music aren't recommended. The same request to the same catalogue gets
 * the same answer, of at most return_count tracks (25 unless set, at most 1,000), no seed and no song twice among them:
 *   focus_popularity       0 to 1000: tracks of about this popularity come first; unset, popular ones do slightly
 *   focus_similarity       0 to 1000: how near to the seeds the tracks should be; unset, as near as possible
 *   max_tracks_per_artist  3 unless set, 0 for any number; a seed's own artist has at most 3 unless too little is near
 *   rotation               "RADIO", also when unset: seeds take turns, no artist follows itself where that can be helped;
 *                          "NONE": best score first
 *   catalog_filter         "genre:NAME", "artist:NAME" or "path:BEGINNING OF A PATH"; a bare text is tried as each in turn,
 *                          as a path when it begins with "/"
 *   xids                   adds VELOX_VAL_XID
 *   sonic                  adds VELOX_VAL_SONIC_ values; content has nothing to add here
 * The values of a filter narrow: any of its genres, any of its moods and any of its eras. A seed's own only draw near; but a
 * request of nothing but one seed or filter of attributes is narrowed by them. A filter that no track passes gets an answer
 * without tracks.
 *
 * What a request costs depends on the request; only one whose filters have hardly a track in common looks through the
 * smallest of them.
 *
 * Stations. "velox_lookup_type_radio_create" makes one from seeds and a filter, or with neither from the whole catalogue, and
 * gives its identifier as "_sdkmgr_val_cadenz_radio_id"; where nothing could be played none is made. "..._radio_event" takes in
 * events, all of a request or none, "..._radio_setting" settings, and "..._radio_lookahead" nothing; each of the four answers
 * with the tracks to play next as albums, in playing order: "velox_ctx_album!" children, whose "velox_ctx_track!" children are
 * those of the album's tracks that come together. "_sdkmgr_val_response_code" is "velox_result_ok", or "velox_result_no_matches"
 * for an unknown station and when nothing is left to play. The same state of a station gets the same answer.
 *   options           return_count, focus_popularity, focus_similarity, dmca and catalog_filter are kept as the station's with
 *                     every request but lookahead; the first two of focus and dmca are told in every answer, as given or empty
 *   seeds             may be played themselves; up to five of the latest likes draw as further seeds
 *   a dislike         keeps a track, or all of an artist, from ever coming back, until a like takes it back
 *   what was heard    is away for 300 tracks, or where the station has less, until at least half of it was heard since;
 *                     skipped tracks are away the longer the more often they were skipped
 *   dmca              true: over any three hours at most three tracks of an album, two in a row, and four of an artist, three
 *                     in a row; playlists are shorter, or empty, rather than against it
 * A station's history outlives what it is about: a file that is scanned anew, moved or gone for a while keeps its likes,
 * dislikes and plays, which go by identifiers and names.
 *
 * Album lookups ("velox_lookup_type_album"). The album that the identifiers or names tell has the track that they tell as
 * its "velox_ctx_track!matching" child. An artist alone is answered by an album without tracks that stands for the artist. */

/* ---- What the objects hold ------------------------------------------------------------------------------------------ */
/* Besides what velox_manager.h's callers read ("velox_val_tui", "_sdkmgr_val_artist_id" and so on), a track, album or artist
 * of the catalogue has these values. A recommendation answer is an object of context "velox_ctx_response" with its tracks,
 * in order, as "velox_ctx_track!" children. */
#define VELOX_VAL_TITLE      "velox_val_title"      /* track, album */
#define VELOX_VAL_ARTIST     "velox_val_artist"     /* track, album: as shown; artist: its name */
#define VELOX_VAL_ALBUM      "velox_val_album"      /* track */
#define VELOX_VAL_GENRE      "velox_val_genre"      /* track: one value for each genre */
#define VELOX_VAL_MOOD       "velox_val_mood"       /* track: one value for each mood */
#define VELOX_VAL_ERA        "velox_val_era"        /* track, such as "1990s" */
#define VELOX_VAL_YEAR       "velox_val_year"       /* track */
#define VELOX_VAL_DURATION   "velox_val_duration"   /* track: whole seconds */
#define VELOX_VAL_POPULARITY "velox_val_popularity" /* track: 0 to 1000 */
#define VELOX_VAL_LOCATION   "velox_val_location"   /* track: path of the audio file, where there is one */
#define VELOX_VAL_ALBUM_ID   "velox_val_album_id"   /* album, track of one: stays the same over scans */
#define VELOX_VAL_NUMBER     "velox_val_number"     /* track: its place on the album, disc * 1000 + track */
#define VELOX_VAL_TRACKS     "velox_val_tracks"     /* album, artist: how many it has */
#define VELOX_VAL_XID        "velox_val_xid" /* track, artist: identifier that came with the music; on request only */
/* With the option for sonic data, a track whose sound is known has what is heard in its middle three minutes: */
#define VELOX_VAL_SONIC_TEMPO      "velox_val_sonic_tempo" /* beats a minute, "92.3"; missing where no beat is found */
#define VELOX_VAL_SONIC_KEY        "velox_val_sonic_key" /* 0 to 11 from C up by semitones; missing where there is none */
#define VELOX_VAL_SONIC_MODE       "velox_val_sonic_mode"       /* "major" or "minor"; the same */
#define VELOX_VAL_SONIC_LOUDNESS   "velox_val_sonic_loudness"   /* LUFS, integrated, "-14.2" */
#define VELOX_VAL_SONIC_ENERGY     "velox_val_sonic_energy"     /* 0 to 1, "0.53": how much happens */
#define VELOX_VAL_SONIC_BRIGHTNESS "velox_val_sonic_brightness" /* Hz: centre of the spectrum, "1740" */
/* A track of a recommendation has in addition: why it is there, as one sentence and in parts. */
#define VELOX_VAL_REASON "velox_val_reason" /* "same artist as Aurora Lane (seed 1); genre Dream Pop" */
#define VELOX_VAL_REASON_KIND \
  "velox_val_reason_kind" /* "similar", "artist", "album", "sound", "genre", "mood", "era", "popular": the nearest that held */
#define VELOX_VAL_REASON_SEED "velox_val_reason_seed" /* ordinal of the seed that it is nearest to, from 1 */
#define VELOX_VAL_SCORE       "velox_val_score"       /* 0 to 1000, for comparison inside one answer */
/* A station's answer: */
#define VELOX_VAL_STATION_NAME "velox_val_station_name"
/* And the answer itself: */
#define VELOX_VAL_FALLBACK \
  "velox_val_fallback" /* there only when nothing close was left: the step that gave results, in words */

VELOX_END_DECLS

#endif
