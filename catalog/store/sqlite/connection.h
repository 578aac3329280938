// A connection to a catalogue's file: SQLite's handles with owners, and the failure that tells what SQLite told. A connection
// belongs to one thread at a time.
#ifndef VELOX_CATALOG_SQLITE_CONNECTION_H
#define VELOX_CATALOG_SQLITE_CONNECTION_H

#include <sqlite3.h>
#include <time.h>

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "model/failure.h"
#include "store/store.h"

namespace velox::catalog::sqlite {

/** Bytes of a row. */
using bytes = std::span<const std::byte>;

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

  /** A number of a row as it is: a key, a hash, a row's own number. */
  int64_t integer(int column) const { return sqlite3_column_int64(prepared_, column); }
  /** A number that must be within bounds, for what is counted, indexed or shown; another is a failure: the catalogue is damaged. */
  int64_t within(int column, int64_t least, int64_t most) const {
    const int64_t value = integer(column);
    if (value < least || value > most) damaged(column);
    return value;
  }
  float real(int column) const { return static_cast<float>(sqlite3_column_double(prepared_, column)); }
  /** How many of something there are. */
  int64_t count(int column) const { return within(column, 0, int64_t{1} << 40); }
  std::string_view text(int column) const;
  bytes blob(int column) const;
  /** Ends the question: what the column holds can't be. */
  [[noreturn]] void damaged(int column) const;

 private:
  template <class Integer>
  requires std::is_integral_v<Integer>
  void bind_one(Integer value) { sqlite3_bind_int64(prepared_, ++bound_, static_cast<sqlite3_int64>(value)); }
  void bind_one(std::string_view value) {
    sqlite3_bind_text64(prepared_, ++bound_, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void bind_one(bytes value) {
    const void* data = value.empty() ? "" : static_cast<const void*>(value.data());  // no bytes aren't NULL
    sqlite3_bind_blob64(prepared_, ++bound_, data, value.size(), SQLITE_STATIC);
  }
  void bind_one(float value) { sqlite3_bind_double(prepared_, ++bound_, static_cast<double>(value)); }
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

class connection {
 public:
  /** Opens a catalogue's file, brought up to the present version; a failure leaves a file that isn't ours untouched. */
  connection(std::string path, role as);
  ~connection();
  connection(const connection&) = delete;
  connection& operator=(const connection&) = delete;

  /** A prepared statement, kept for the connection's life. `sql` is a literal: its address names it. */
  statement prepared(const char* sql);
  void execute(const char* sql);
  int64_t last_row() const { return sqlite3_last_insert_rowid(raw_); }
  const std::string& path() const { return path_; }
  /** Whether the file under the path is still the one that is open, and may be read through this connection. */
  bool current() const;
  /** Asked now and then while a statement runs; false ends it. */
  void watch(std::function<bool()> go_on);
  void roll_back() noexcept { sqlite3_exec(raw_, "ROLLBACK", nullptr, nullptr, nullptr); }

 private:
  void open(const std::string& name, int flags);
  void open_without_a_trace();
  void bring_up();
  [[noreturn]] void fail() const;
  std::string path_;
  sqlite3* raw_ = nullptr;
  uint64_t device_ = 0, inode_ = 0;
  timespec changed_ = {};
  bool frozen_ = false; /* read as if nobody ever wrote it */
  std::unordered_map<const char*, sqlite3_stmt*> statements_;
  std::function<bool()> go_on_;
};

/** Throws: the catalogue's name, and why. */
[[noreturn]] void refuse(const std::string& path, const std::string& why);

}  // namespace velox::catalog::sqlite

#endif
