// Opening a catalogue, and its schema. A file is looked at before SQLite may touch it: only the identifier in the header
// decides whether it is ours.
#include "store/sqlite/connection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace velox::catalog {
namespace {

constexpr uint32_t k_application_id = 0x56437a31;  // "VCz1"
constexpr int k_busy_ms = 5000;

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
CREATE TABLE track(id INTEGER PRIMARY KEY, artist_id INTEGER NOT NULL, album_id INTEGER, popularity INTEGER NOT NULL,
                   year INTEGER NOT NULL, attrs TEXT NOT NULL, title_key INTEGER NOT NULL, source INTEGER NOT NULL,
                   size INTEGER NOT NULL, stamp INTEGER NOT NULL, number INTEGER NOT NULL, duration INTEGER NOT NULL,
                   tag INTEGER NOT NULL, tui TEXT NOT NULL, title TEXT NOT NULL, credit TEXT, path TEXT);
CREATE INDEX track_tui ON track(tui);
CREATE INDEX track_title ON track(title_key, artist_id);
CREATE INDEX track_artist ON track(artist_id, popularity);
CREATE INDEX track_album ON track(album_id, number) WHERE album_id IS NOT NULL;
CREATE INDEX track_path ON track(path) WHERE path IS NOT NULL;
CREATE INDEX track_source ON track(source) WHERE source <> 0;
CREATE TABLE attribute(id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL, name_key INTEGER NOT NULL,
                       name TEXT NOT NULL, UNIQUE(kind, name_key));
CREATE TABLE attribute_level(attribute INTEGER, level INTEGER, tracks INTEGER NOT NULL, PRIMARY KEY(attribute, level))
    WITHOUT ROWID;
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
                           kind INTEGER NOT NULL, subject TEXT NOT NULL, tag TEXT NOT NULL, title TEXT NOT NULL,
                           artist TEXT NOT NULL, artist_key INTEGER NOT NULL, album_key INTEGER NOT NULL);
CREATE INDEX station_event_order ON station_event(station, id);
CREATE INDEX station_heard ON station_event(station, id, time, artist_key, album_key) WHERE kind<=2;
CREATE TABLE station_verdict(station INTEGER, subject INTEGER, banned INTEGER NOT NULL DEFAULT 0, liked INTEGER,
                             skips INTEGER NOT NULL DEFAULT 0, last INTEGER NOT NULL DEFAULT 0,
                             PRIMARY KEY(station, subject)) WITHOUT ROWID;
CREATE INDEX station_liked ON station_verdict(station, liked) WHERE liked IS NOT NULL;
)sql";

// Each makes the next version of the one before it; the first one begins with an empty file.
constexpr const char* k_versions[] = {k_first_version, k_digests, k_stations};
constexpr uint32_t k_version = std::size(k_versions);

std::string named(const std::string& path) { return "catalogue \"" + path + "\""; }

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw failure{VELOX_STANDIN_ERR_CATALOG, named(path) + " " + why};
}

/** Tells what SQLite told last, in words for the cases that a person can do something about. */
[[noreturn]] void fail_with(sqlite3* db, const std::string& path) {
  switch (sqlite3_errcode(db) & 0xff) {
    case SQLITE_BUSY:
      refuse(path, "is in use: another program has been writing to it for more than five seconds");
    case SQLITE_FULL:
      refuse(path, "can't grow: the disk is full");
    case SQLITE_READONLY:
      refuse(path, "can't be written: the file or its folder is read-only");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      refuse(path, std::string("is damaged: ") + sqlite3_errmsg(db));
    case SQLITE_NOMEM:
      throw failure{VELOX_STANDIN_ERR_NO_MEMORY, "no memory for " + named(path)};
    default:
      refuse(path, std::string("can't be used: ") + sqlite3_errmsg(db));
  }
}

std::string path_of(std::string_view url) {
  constexpr std::string_view scheme = "sqlite:";
  if (url.substr(0, scheme.size()) != scheme)
    throw failure{VELOX_STANDIN_ERR_UNSUPPORTED, "service URL \"" + std::string(url) +
                                                     "\" isn't served here: sqlite:/path/to/file.db names a catalogue"};
  url.remove_prefix(scheme.size());
  if (url.substr(0, 3) == "///") url.remove_prefix(2);
  if (url.empty()) throw failure{VELOX_STANDIN_ERR_INVALID_ARG, "service URL \"sqlite:\" names no file"};
  return std::string(url);
}

uint32_t big_endian(const uint8_t* at) {
  return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16 | static_cast<uint32_t>(at[2]) << 8 |
         at[3];
}

enum class found { nothing, empty, ours };

/** Looks at the file's header before anything is written beside a stranger's database. The file is opened by SQLite all the same:
 *  to close a descriptor of our own would end the locks that the process has on the file, and let other processes take away the
 *  log under a connection that is open. */
found inspect(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return found::nothing;
    refuse(path, std::string("can't be opened: ") + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) refuse(path, "isn't a file");
  if (status.st_size == 0) return found::empty;

  sqlite3* raw = nullptr;
  sqlite3_file* file = nullptr;
  uint8_t header[100] = {};
  const int opened = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
  const int reason = raw ? sqlite3_system_errno(raw) : ENOMEM;
  const bool read = opened == SQLITE_OK &&
                    sqlite3_file_control(raw, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
                    file->pMethods->xRead(file, header, sizeof header, 0) == SQLITE_OK;
  sqlite3_close(raw);
  if (opened != SQLITE_OK) refuse(path, std::string("can't be opened: ") + std::strerror(reason));
  if (!read || std::memcmp(header, "SQLite format 3", 16) != 0 || big_endian(header + 68) != k_application_id)
    refuse(path, "isn't a music catalogue: the file belongs to something else and stays as it is");
  if (big_endian(header + 60) > k_version)
    refuse(path, "was written by a newer version of this program and stays as it is");
  return found::ours;
}

}  // namespace

bool statement::step() {
  const int result = sqlite3_step(prepared_);
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  sqlite3* db = sqlite3_db_handle(prepared_);
  const char* name = sqlite3_db_filename(db, "main");
  fail_with(db, name ? name : "");
}

void statement::run() {
  while (step()) continue;
  rewind();
}

void statement::rewind() {
  sqlite3_reset(prepared_);
  bound_ = 0;
}

std::string_view statement::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared_, column));
  return text ? std::string_view(text, static_cast<size_t>(sqlite3_column_bytes(prepared_, column)))
              : std::string_view();
}

std::unique_ptr<database> database::open(std::string_view url, uint32_t mode) {
  std::string path = path_of(url);
  const bool create = mode == VELOX_CATALOG_CREATE;
  const found state = inspect(path);
  if (state != found::ours && !create)
    refuse(path, state == found::empty ? "is empty" : "doesn't exist: scan some music into it first");
  if (state == found::nothing) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error) refuse(path, "can't be made: " + error.message());
  }
  std::unique_ptr<database> made(new database(std::move(path), create));
  made->connect(create);
  return made;
}

database::~database() {
  for (const auto& [sql, prepared] : statements_) sqlite3_finalize(prepared);
  sqlite3_close_v2(raw_);
}

void database::fail() const { fail_with(raw_, path_); }

void database::connect(bool create) {
  const int flags = SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READWRITE);
  int result = sqlite3_open_v2(path_.c_str(), &raw_, flags, nullptr);
  if (raw_ == nullptr) throw failure{VELOX_STANDIN_ERR_NO_MEMORY, "no memory for " + named(path_)};
  if (result != SQLITE_OK) fail();
  sqlite3_extended_result_codes(raw_, 1);
  sqlite3_busy_timeout(raw_, k_busy_ms);
  uint32_t version = 0;
  {
    statement row = prepared("PRAGMA user_version");
    if (row.step()) version = static_cast<uint32_t>(row.integer(0));
  }
  if (version > k_version) refuse(path_, "was written by a newer version of this program and stays as it is");
  if (version < k_version) bring_up();
  execute(create ? "PRAGMA synchronous=NORMAL; PRAGMA cache_size=-131072; PRAGMA temp_store=MEMORY;"
                   "PRAGMA wal_autocheckpoint=8192"
                 : "PRAGMA query_only=1; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-32768");
#if UINTPTR_MAX > 0xffffffffu
  // Readers jump about in a large file: mapped, it costs no copies.
  if (!create) execute("PRAGMA mmap_size=4294967296");
#endif
  struct stat status = {};
  if (::stat(path_.c_str(), &status) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
}

/** Brings the file from its version to the present one, in one transaction. */
void database::bring_up() {
  execute("BEGIN EXCLUSIVE");
  uint32_t version = 0;
  {
    statement row = prepared("PRAGMA user_version");  // another process may have been first
    if (row.step()) version = static_cast<uint32_t>(row.integer(0));
  }
  for (uint32_t next = version; next < k_version; ++next) execute(k_versions[next]);
  if (version < k_version)
    execute(("PRAGMA application_id=" + std::to_string(k_application_id) +
             ";PRAGMA user_version=" + std::to_string(k_version))
                .c_str());
  execute("COMMIT");
  if (version == 0) execute("PRAGMA journal_mode=WAL");
}

statement database::prepared(const char* sql) {
  sqlite3_stmt*& kept = statements_[sql];
  if (!kept && sqlite3_prepare_v3(raw_, sql, -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr) != SQLITE_OK) fail();
  return statement(kept);
}

void database::execute(const char* sql) {
  if (sqlite3_exec(raw_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

bool database::current() const {
  struct stat status = {};
  return ::stat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
}

}  // namespace velox::catalog
