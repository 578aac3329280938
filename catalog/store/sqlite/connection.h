// A connection to a catalogue file: SQLite's handles with owners, the schema and its versions, and the failure that travels
// as an exception up to the C interface. A connection belongs to one thread at a time.
#ifndef VELOX_CATALOG_DATABASE_H
#define VELOX_CATALOG_DATABASE_H

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "velox_catalog.h"

namespace velox::catalog {

/** What went wrong, with the word that the C interface returns. */
struct failure {
  pask_status word;
  std::string message;
};

/** A statement of a connection's cache, in use: stepped, read by column, and reset at the end of its scope. */
class statement {
 public:
  explicit statement(sqlite3_stmt* prepared) : prepared_(prepared) {}
  statement(const statement&) = delete;
  statement& operator=(const statement&) = delete;
  ~statement() {
    sqlite3_reset(prepared_);
    sqlite3_clear_bindings(prepared_);
  }
  /** Binds the next parameters: whole numbers, or texts that outlive the statement's use. A null view binds NULL. */
  template <class... Values>
  statement& bind(const Values&... values) {
    (bind_one(values), ...);
    return *this;
  }
  bool step();   /* false behind the last row */
  void run();    /* steps to the end, and is ready for the next binding */
  void rewind(); /* ready for the next binding */
  int64_t integer(int column) const { return sqlite3_column_int64(prepared_, column); }
  std::string_view text(int column) const;

 private:
  template <class Integer>
  requires std::is_integral_v<Integer>
  void bind_one(Integer value) { sqlite3_bind_int64(prepared_, ++bound_, static_cast<sqlite3_int64>(value)); }
  void bind_one(std::string_view value) {
    sqlite3_bind_text64(prepared_, ++bound_, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void bind_one(const std::optional<int64_t>& value) {
    if (value) {
      bind_one(*value);
    } else {
      bind_one(std::string_view());
    }
  }
  sqlite3_stmt* prepared_;
  int bound_ = 0;
};

/** An attribute's place in the lists. */
enum attribute_kind : int { k_genre = 1, k_mood = 2, k_era = 3 };
constexpr const char* k_list_types[] = {"", VELOX_LIST_GENRES, VELOX_LIST_MOODS, VELOX_LIST_ERAS};

/** The attribute that every track has: the whole catalogue by popularity. */
constexpr int64_t k_everything = 0;

/** Popularity in five levels, 0 the least known: part of the indexes, so that a window can be taken at any level. */
constexpr int k_levels = 5;
constexpr int level_of(int64_t popularity) {
  return static_cast<int>(popularity >= 1000 ? k_levels - 1 : popularity <= 0 ? 0 : popularity / 200);
}

class database {
 public:
  /** Opens the file of a service URL; a failure leaves a file that isn't a catalogue of ours untouched. */
  static std::unique_ptr<database> open(std::string_view url, uint32_t mode);
  ~database();
  database(const database&) = delete;
  database& operator=(const database&) = delete;

  /** A prepared statement, kept for the connection's life. `sql` is a literal: its address names it. */
  statement prepared(const char* sql);
  void execute(const char* sql);
  [[noreturn]] void fail() const;
  const std::string& path() const { return path_; }
  sqlite3* raw() const { return raw_; }
  bool writable() const { return writable_; }
  /** Whether the file under the path is still the one that is open. */
  bool current() const;

 private:
  database(std::string path, bool writable) : path_(std::move(path)), writable_(writable) {}
  void connect(bool create);
  void bring_up();
  std::string path_;
  bool writable_;
  sqlite3* raw_ = nullptr;
  uint64_t device_ = 0, inode_ = 0;
  std::unordered_map<const char*, sqlite3_stmt*> statements_;
};

/** A transaction; rolled back unless committed. Reading gives one view of the catalogue to several statements. A connection for
 *  reading may write its stations. */
class transaction {
 public:
  transaction(database& db, bool write) : db_(db), guarded_(write && !db.writable()) {
    if (guarded_) db_.execute("PRAGMA query_only=0");
    db_.execute(write ? "BEGIN IMMEDIATE" : "BEGIN");
  }
  ~transaction() {
    if (open_) sqlite3_exec(db_.raw(), "ROLLBACK", nullptr, nullptr, nullptr);
    if (guarded_) sqlite3_exec(db_.raw(), "PRAGMA query_only=1", nullptr, nullptr, nullptr);
  }
  transaction(const transaction&) = delete;
  transaction& operator=(const transaction&) = delete;
  void commit() {
    db_.execute("COMMIT");
    open_ = false;
  }

 private:
  database& db_;
  const bool guarded_;
  bool open_ = true;
};

}  // namespace velox::catalog

#endif
