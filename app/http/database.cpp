/* Versions of the schema follow each other; a file of an earlier one is brought up by the first that opens it. */
#include "http/database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include "core/handles.h"

namespace app::http {

namespace {

constexpr const char* versions[] = {
    R"sql(
CREATE TABLE IF NOT EXISTS listener(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE, password TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS sign_in(secret TEXT PRIMARY KEY, listener INTEGER NOT NULL, used INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS owner(station TEXT PRIMARY KEY, listener INTEGER NOT NULL) WITHOUT ROWID;
)sql",
    // What apps sign in with, and what listeners keep: things by their identifiers, which stay the same over scans.
    R"sql(
CREATE TABLE app_password(listener INTEGER, app TEXT, password TEXT NOT NULL UNIQUE, PRIMARY KEY(listener, app)) WITHOUT ROWID;
CREATE TABLE star(listener INTEGER, thing TEXT, since INTEGER NOT NULL, PRIMARY KEY(listener, thing)) WITHOUT ROWID;
CREATE TABLE rating(listener INTEGER, thing TEXT, stars INTEGER NOT NULL, PRIMARY KEY(listener, thing)) WITHOUT ROWID;
CREATE TABLE play(listener INTEGER, album TEXT, plays INTEGER NOT NULL, last INTEGER NOT NULL, PRIMARY KEY(listener, album)) WITHOUT ROWID;
CREATE TABLE playlist(id INTEGER PRIMARY KEY AUTOINCREMENT, listener INTEGER NOT NULL, name TEXT NOT NULL, comment TEXT NOT NULL DEFAULT '',
                      created INTEGER NOT NULL, changed INTEGER NOT NULL);
CREATE TABLE playlist_entry(playlist INTEGER, place INTEGER, track TEXT NOT NULL, PRIMARY KEY(playlist, place)) WITHOUT ROWID;
CREATE TABLE play_queue(listener INTEGER PRIMARY KEY, current TEXT NOT NULL, position INTEGER NOT NULL, changed INTEGER NOT NULL,
                        changed_by TEXT NOT NULL, tracks TEXT NOT NULL);
)sql"};
constexpr int64_t present = std::size(versions);

}  // namespace

database::database(const std::string& path) {
  // Made with its mode before anything is in it; the database's other files get the same.
  if (const int fd = ::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600); fd >= 0) ::close(fd);
  if (sqlite3_open_v2(path.c_str(), &raw_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr) != SQLITE_OK) {
    const failure failed("the file of listeners \"" + path + "\" can't be opened: " + sqlite3_errmsg(raw_));
    sqlite3_close(raw_);
    throw failed;
  }
  sqlite3_busy_timeout(raw_, 5000);
  try {
    sqlite3_exec(raw_, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    transaction all(*this);
    statement version(*this, "PRAGMA user_version");
    const int64_t there = version.step() ? version.number(0) : 0;
    if (there > present) throw failure("the file of listeners \"" + path + "\" is of a newer cadenz");
    for (int64_t i = there; i < present; ++i)
      if (sqlite3_exec(raw_, versions[i], nullptr, nullptr, nullptr) != SQLITE_OK) fail();
    while (version.step()) continue;
    sqlite3_exec(raw_, ("PRAGMA user_version=" + std::to_string(present)).c_str(), nullptr, nullptr, nullptr);
    all.commit();
  } catch (...) {
    sqlite3_close_v2(raw_);
    throw;
  }
}

database::~database() { sqlite3_close(raw_); }

void database::fail() const {
  throw failure(std::string("the file of listeners can't be used: ") + sqlite3_errmsg(raw_));
}

int64_t database::last_row() const { return sqlite3_last_insert_rowid(raw_); }

// ---- Statements ----------------------------------------------------------------------------------------------------

database::statement::statement(database& in, const char* sql) : held_(in.mutex_), in_(in) {
  if (sqlite3_prepare_v2(in.raw_, sql, -1, &prepared_, nullptr) != SQLITE_OK) in.fail();
}
database::statement::~statement() { sqlite3_finalize(prepared_); }

void database::statement::bind(int64_t value) { sqlite3_bind_int64(prepared_, ++bound_, value); }
void database::statement::bind(const std::string& value) {
  sqlite3_bind_text(prepared_, ++bound_, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
}

bool database::statement::step() {
  const int result = sqlite3_step(prepared_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) in_.fail();
  return result == SQLITE_ROW;
}

int64_t database::statement::number(int column) const { return sqlite3_column_int64(prepared_, column); }
std::string database::statement::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared_, column));
  return text ? text : "";
}
int64_t database::statement::changes() const { return sqlite3_changes(in_.raw_); }

database::transaction::~transaction() {
  if (open_) sqlite3_exec(in_.raw_, "ROLLBACK", nullptr, nullptr, nullptr);
}
void database::transaction::commit() {
  in_.run("COMMIT");
  open_ = false;
}

}  // namespace app::http
