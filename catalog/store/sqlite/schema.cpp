// The schema by versions: a file of an earlier one is brought up by the first that opens it.
#include "store/sqlite/schema.h"

namespace velox::catalog::sqlite {
namespace {

// track.attrs lists the attributes as numbers divided by spaces: genres first, the leading one in front. `stamp` is a file's
// time of change in nanoseconds, or the digest of a line. Tracks of audio files have source 0.
//
// track_attribute is the index that recommendations read: for each attribute (0: every track) and level of popularity the
// tracks in order of their numbers. Windows of it are taken at many places, so what is read depends on the windows alone.
// Counts are kept with the rows that they count, in the same transaction; nothing ever counts a table.
constexpr const char k_first_version[] = R"sql(
CREATE TABLE total(name TEXT PRIMARY KEY, amount INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO total VALUES ('tracks', 0), ('albums', 0), ('artists', 0);
CREATE TABLE source(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, invented INTEGER NOT NULL, tracks INTEGER NOT NULL);
CREATE TABLE artist(id INTEGER PRIMARY KEY, uid TEXT NOT NULL, name TEXT NOT NULL, name_key INTEGER NOT NULL,
                    tracks INTEGER NOT NULL);
CREATE UNIQUE INDEX artist_uid ON artist(uid);
CREATE INDEX artist_name ON artist(name_key);
CREATE TABLE album(id INTEGER PRIMARY KEY, artist_id INTEGER NOT NULL, title TEXT NOT NULL, title_key INTEGER NOT NULL,
                   tracks INTEGER NOT NULL);
CREATE UNIQUE INDEX album_title ON album(title_key, artist_id);
CREATE INDEX album_artist ON album(artist_id);
CREATE TABLE track(id INTEGER PRIMARY KEY, artist_id INTEGER NOT NULL, album_id INTEGER,
                   popularity INTEGER NOT NULL CHECK(popularity BETWEEN 0 AND 1000),
                   year INTEGER NOT NULL CHECK(year BETWEEN 0 AND 9999), attrs TEXT NOT NULL, title_key INTEGER NOT NULL, source INTEGER NOT NULL,
                   size INTEGER NOT NULL, stamp INTEGER NOT NULL, number INTEGER NOT NULL, duration INTEGER NOT NULL,
                   tag INTEGER NOT NULL, tui TEXT NOT NULL, title TEXT NOT NULL, credit TEXT, path TEXT);
CREATE INDEX track_tui ON track(tui);
CREATE INDEX track_title ON track(title_key, artist_id);
CREATE INDEX track_artist ON track(artist_id, popularity);
CREATE INDEX track_album ON track(album_id, number) WHERE album_id IS NOT NULL;
CREATE INDEX track_path ON track(path) WHERE path IS NOT NULL;
CREATE INDEX track_source ON track(source) WHERE source <> 0;
CREATE TABLE attribute(id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL CHECK(kind BETWEEN 1 AND 3),
                       name_key INTEGER NOT NULL, name TEXT NOT NULL, UNIQUE(kind, name_key));
CREATE TABLE attribute_level(attribute INTEGER, level INTEGER CHECK(level BETWEEN 0 AND 4),
                             tracks INTEGER NOT NULL, PRIMARY KEY(attribute, level)) WITHOUT ROWID;
CREATE TABLE track_attribute(attribute INTEGER, level INTEGER, track INTEGER, PRIMARY KEY(attribute, level, track))
    WITHOUT ROWID;
CREATE TABLE artist_attribute(artist INTEGER, attribute INTEGER, tracks INTEGER NOT NULL, PRIMARY KEY(artist, attribute))
    WITHOUT ROWID;
CREATE VIRTUAL TABLE track_words USING fts5(name, by, content='', columnsize=0, tokenize="unicode61 remove_diacritics 2");
CREATE VIRTUAL TABLE album_words USING fts5(name, by, content='', columnsize=0, tokenize="unicode61 remove_diacritics 2");
CREATE VIRTUAL TABLE artist_words USING fts5(name, by, content='', columnsize=0, tokenize="unicode61 remove_diacritics 2");
)sql";

// A digest of what an audio file holds tells it from others; null where none was taken. A duplicate is a file with the same
// content as a track's, which is in the catalogue once.
constexpr const char k_digests[] = R"sql(
ALTER TABLE track ADD COLUMN digest INTEGER;
CREATE INDEX track_digest ON track(digest) WHERE digest IS NOT NULL;
CREATE TABLE duplicate(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, size INTEGER NOT NULL, stamp INTEGER NOT NULL,
                       track INTEGER NOT NULL);
CREATE INDEX duplicate_track ON duplicate(track);
)sql";

// Stations and their history. `subject` of an event is a track's or artist's identifier, that of a verdict the digest of a song
// or an artist, as the two keys of an event are: nothing here names a row of the tables above.
constexpr const char k_stations[] = R"sql(
CREATE TABLE station(id INTEGER PRIMARY KEY AUTOINCREMENT, uid TEXT NOT NULL UNIQUE, name TEXT NOT NULL,
                     created INTEGER NOT NULL, used INTEGER NOT NULL, played INTEGER NOT NULL DEFAULT 0,
                     skipped INTEGER NOT NULL DEFAULT 0, liked INTEGER NOT NULL DEFAULT 0,
                     disliked INTEGER NOT NULL DEFAULT 0);
CREATE TABLE station_datum(station INTEGER, place INTEGER, key TEXT NOT NULL, value TEXT NOT NULL,
                           ordinal INTEGER NOT NULL, PRIMARY KEY(station, place)) WITHOUT ROWID;
CREATE TABLE station_setting(station INTEGER, key TEXT, value TEXT NOT NULL, PRIMARY KEY(station, key)) WITHOUT ROWID;
CREATE TABLE station_event(id INTEGER PRIMARY KEY AUTOINCREMENT, station INTEGER NOT NULL, time INTEGER NOT NULL,
                           kind INTEGER NOT NULL CHECK(kind BETWEEN 1 AND 6), subject TEXT NOT NULL, tag TEXT NOT NULL, title TEXT NOT NULL,
                           artist TEXT NOT NULL, artist_key INTEGER NOT NULL, album_key INTEGER NOT NULL);
CREATE INDEX station_event_order ON station_event(station, id);
CREATE INDEX station_heard ON station_event(station, id, time, artist_key, album_key) WHERE kind<=2;
CREATE TABLE station_verdict(station INTEGER, subject INTEGER, banned INTEGER NOT NULL DEFAULT 0, liked INTEGER,
                             skips INTEGER NOT NULL DEFAULT 0, last INTEGER NOT NULL DEFAULT 0,
                             PRIMARY KEY(station, subject)) WITHOUT ROWID;
CREATE INDEX station_liked ON station_verdict(station, liked) WHERE liked IS NOT NULL;
)sql";

// What tracks sound like. `content` is what the file held when it was listened to; a row with `why` says that it couldn't be. What a
// request shows stands in narrow rows, of which it reads one for each neighbour; the record and the scale by which distances are
// measured in a table of their own, and so do the lists: arrays of numbers and distances, nearest first, by layer. Numbers of sounds are
// never given again: a list that names one that has gone names nothing.
constexpr const char k_sounds[] = R"sql(
CREATE TABLE sound(id INTEGER PRIMARY KEY AUTOINCREMENT, track INTEGER NOT NULL UNIQUE, content INTEGER NOT NULL,
                   method INTEGER NOT NULL, placed INTEGER NOT NULL DEFAULT 0, why TEXT, tempo REAL, loudness REAL,
                   energy REAL, brightness REAL, key INTEGER, minor INTEGER);
CREATE INDEX sound_unplaced ON sound(id) WHERE placed=0 AND why IS NULL;
CREATE TABLE sound_record(id INTEGER PRIMARY KEY, scale BLOB, record BLOB NOT NULL);
CREATE TABLE sound_list(layer INTEGER, id INTEGER, nearest BLOB NOT NULL, PRIMARY KEY(layer, id)) WITHOUT ROWID;
CREATE TABLE sound_gone(id INTEGER, layer INTEGER, nearest BLOB, PRIMARY KEY(id, layer)) WITHOUT ROWID;
INSERT INTO total VALUES ('sounds', 0), ('settled', 0), ('settled_last', 0), ('shortest', 30);
)sql";

// Orders to browse by, the folders that have been scanned, and how many tracks there are of each leading genre and decade.
constexpr const char k_browsing[] = R"sql(
CREATE INDEX artist_by_name ON artist(name COLLATE NOCASE);
CREATE INDEX album_by_title ON album(title COLLATE NOCASE);
CREATE TABLE place(path TEXT PRIMARY KEY) WITHOUT ROWID;
CREATE TABLE chart(genre INTEGER, decade INTEGER, tracks INTEGER NOT NULL, PRIMARY KEY(genre, decade)) WITHOUT ROWID;
INSERT INTO chart SELECT ifnull(g.id, 0), year/10*10, count(*)
    FROM track LEFT JOIN attribute g ON g.id=CAST(attrs AS INTEGER) AND g.kind=1 GROUP BY 1, 2;
)sql";

// The words again, with the beginnings of one and two letters as entries of their own: otherwise who types the first letter of a name
// has all the words that begin with it put together.
constexpr const char k_beginnings[] = R"sql(
DROP TABLE track_words;
DROP TABLE album_words;
DROP TABLE artist_words;
CREATE VIRTUAL TABLE track_words USING fts5(name, by, content='', columnsize=0, prefix='1 2', tokenize="unicode61 remove_diacritics 2");
CREATE VIRTUAL TABLE album_words USING fts5(name, by, content='', columnsize=0, prefix='1 2', tokenize="unicode61 remove_diacritics 2");
CREATE VIRTUAL TABLE artist_words USING fts5(name, by, content='', columnsize=0, prefix='1 2', tokenize="unicode61 remove_diacritics 2");
INSERT INTO track_words(rowid, name, by)
    SELECT track.id, folded(title), folded(ifnull(credit, name)) FROM track JOIN artist ON artist.id=artist_id;
INSERT INTO album_words(rowid, name, by)
    SELECT album.id, folded(title), folded(name) FROM album JOIN artist ON artist.id=artist_id;
INSERT INTO artist_words(rowid, name, by) SELECT id, folded(name), '' FROM artist;
)sql";

constexpr const char* k_versions[] = {k_first_version, k_digests, k_stations, k_sounds, k_browsing, k_beginnings};

}  // namespace

std::span<const char* const> schema_versions() { return k_versions; }

}  // namespace velox::catalog::sqlite
