/* Passwords are stretched by libsodium; of a cookie's secret only a digest is kept, so that the file signs nobody in. */
#include "http/listeners.h"

#include <fcntl.h>
#include <sodium.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "core/handles.h"

namespace app::http {

namespace {

constexpr const char schema[] = R"sql(
PRAGMA journal_mode=WAL;
CREATE TABLE IF NOT EXISTS listener(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE, password TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS sign_in(secret TEXT PRIMARY KEY, listener INTEGER NOT NULL, used INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS owner(station TEXT PRIMARY KEY, listener INTEGER NOT NULL) WITHOUT ROWID;
PRAGMA user_version=1;
)sql";

constexpr int64_t sign_in_seconds = 60 * 24 * 60 * 60;  // without use
constexpr size_t secret_bytes = 32;
constexpr int forgiven = 4, longest_wait = 60;
constexpr size_t most_addresses = 10'000;

std::string hex(const unsigned char* bytes, size_t size) {
  std::string text(2 * size + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes, size);
  text.pop_back();
  return text;
}

std::string digest_of(const std::string& secret) {
  unsigned char digest[crypto_generichash_BYTES];
  crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(secret.data()), secret.size(),
                     nullptr, 0);
  return hex(digest, sizeof digest);
}

std::string stretched(const std::string& password) {
  char text[crypto_pwhash_STRBYTES];
  if (crypto_pwhash_str(text, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
    throw failure("no memory to stretch a password");
  return text;
}

bool fits(const std::string& kept, const std::string& password) {
  return crypto_pwhash_str_verify(kept.c_str(), password.data(), password.size()) == 0;
}

int64_t now() { return static_cast<int64_t>(std::time(nullptr)); }

}  // namespace

/** One statement, its parameters in order. */
class listeners::query {
 public:
  query(sqlite3* database, const char* sql) {
    if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK)
      throw failure(std::string("the file of listeners can't be used: ") + sqlite3_errmsg(database));
  }
  ~query() { sqlite3_finalize(statement_); }
  query(const query&) = delete;
  query& operator=(const query&) = delete;

  query& bind(int64_t value) { return sqlite3_bind_int64(statement_, ++bound_, value), *this; }
  query& bind(const std::string& value) {
    sqlite3_bind_text(statement_, ++bound_, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
    return *this;
  }
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
      throw failure(std::string("the file of listeners can't be used: ") +
                    sqlite3_errmsg(sqlite3_db_handle(statement_)));
    return result == SQLITE_ROW;
  }
  int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text ? text : "";
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

listeners::listeners(const std::string& path) {
  if (sodium_init() < 0) throw failure("the cryptographic library can't be used");
  // Made with its mode before anything is in it; the database's other files get the same.
  if (const int fd = ::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600); fd >= 0) ::close(fd);
  if (sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr) != SQLITE_OK) {
    const failure failed("the file of listeners \"" + path + "\" can't be opened: " + sqlite3_errmsg(database_));
    sqlite3_close(database_);
    throw failed;
  }
  sqlite3_busy_timeout(database_, 5000);
  try {
    run(schema);
  } catch (...) {
    sqlite3_close(database_);
    throw;
  }
}

listeners::~listeners() { sqlite3_close(database_); }

void listeners::run(const char* sql) {
  if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    throw failure(std::string("the file of listeners can't be used: ") + sqlite3_errmsg(database_));
}

void listeners::put(const std::string& name, const std::string& password) {
  const std::string kept = stretched(password);
  const std::lock_guard held(mutex_);
  query(database_, "INSERT INTO listener(name, password) VALUES (?1, ?2) ON CONFLICT(name) DO UPDATE SET password=?2")
      .bind(name)
      .bind(kept)
      .step();
  query(database_, "DELETE FROM sign_in WHERE listener=(SELECT id FROM listener WHERE name=?)").bind(name).step();
}

bool listeners::remove(const std::string& name) {
  const std::lock_guard held(mutex_);
  query(database_, "DELETE FROM sign_in WHERE listener=(SELECT id FROM listener WHERE name=?)").bind(name).step();
  query(database_, "DELETE FROM owner WHERE listener=(SELECT id FROM listener WHERE name=?)").bind(name).step();
  query(database_, "DELETE FROM listener WHERE name=?").bind(name).step();
  return sqlite3_changes(database_) > 0;
}

std::vector<std::string> listeners::names() {
  const std::lock_guard held(mutex_);
  std::vector<std::string> names;
  query row(database_, "SELECT name FROM listener ORDER BY name");
  while (row.step()) names.push_back(row.text(0));
  return names;
}

bool listeners::anybody() {
  const std::lock_guard held(mutex_);
  return query(database_, "SELECT 1 FROM listener LIMIT 1").step();
}

std::optional<std::string> listeners::sign_in(const std::string& name, const std::string& password) {
  int64_t id = 0;
  std::string kept;
  {
    const std::lock_guard held(mutex_);
    query row(database_, "SELECT id, password FROM listener WHERE name=?");
    if (row.bind(name).step()) id = row.number(0), kept = row.text(1);
  }
  if (id == 0) {
    static const std::string nobodys =
        stretched("nobody");  // so that an unknown name takes as long as a wrong password
    fits(nobodys, password);
    return std::nullopt;
  }
  if (!fits(kept, password)) return std::nullopt;

  unsigned char random[secret_bytes];
  randombytes_buf(random, sizeof random);
  const std::string secret = hex(random, sizeof random);
  const std::lock_guard held(mutex_);
  query(database_, "DELETE FROM sign_in WHERE used<?").bind(now() - sign_in_seconds).step();
  query(database_, "INSERT INTO sign_in VALUES (?, ?, ?)").bind(digest_of(secret)).bind(id).bind(now()).step();
  return secret;
}

void listeners::sign_out(const std::string& secret) {
  const std::lock_guard held(mutex_);
  query(database_, "DELETE FROM sign_in WHERE secret=?").bind(digest_of(secret)).step();
}

std::optional<person> listeners::who(const std::string& secret) {
  constexpr int64_t noted_every = 60 * 60;
  const std::string digest = digest_of(secret);
  const std::lock_guard held(mutex_);
  query row(database_,
            "SELECT l.id, l.name, used FROM sign_in s JOIN listener l ON l.id=s.listener WHERE secret=? AND used>=?");
  if (!row.bind(digest).bind(now() - sign_in_seconds).step()) return std::nullopt;
  person found{row.number(0), row.text(1)};
  if (row.number(2) < now() - noted_every)
    query(database_, "UPDATE sign_in SET used=? WHERE secret=?").bind(now()).bind(digest).step();
  return found;
}

void listeners::own(const person& who, const std::string& station) {
  if (who.id == 0) return;
  const std::lock_guard held(mutex_);
  query(database_, "INSERT OR REPLACE INTO owner VALUES (?, ?)").bind(station).bind(who.id).step();
}

bool listeners::owns(const person& who, const std::string& station) {
  if (who.id == 0) return true;
  const std::lock_guard held(mutex_);
  return query(database_, "SELECT 1 FROM owner WHERE station=? AND listener=?").bind(station).bind(who.id).step();
}

void listeners::disown(const std::string& station) {
  const std::lock_guard held(mutex_);
  query(database_, "DELETE FROM owner WHERE station=?").bind(station).step();
}

// ---- Guessing ------------------------------------------------------------------------------------------------------

int guessing::wait_of(const std::string& address) {
  const std::lock_guard held(mutex_);
  const auto found = records_.find(address);
  return found == records_.end() ? 0 : static_cast<int>(std::max<int64_t>(found->second.until - now(), 0));
}

void guessing::failed(const std::string& address) {
  const std::lock_guard held(mutex_);
  if (records_.size() >= most_addresses)
    std::erase_if(records_, [](const auto& one) { return one.second.until < now(); });
  record& of = records_[address];
  ++of.failures;
  if (of.failures > forgiven) of.until = now() + std::min(1 << std::min(of.failures - forgiven, 6), longest_wait);
}

void guessing::succeeded(const std::string& address) {
  const std::lock_guard held(mutex_);
  records_.erase(address);
}

}  // namespace app::http
