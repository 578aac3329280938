/* The server's own database file: who listens, and what they keep. One connection, its statements one after the other under a lock;
 * any thread may call. */
#ifndef CADENZ_APP_DATABASE_H
#define CADENZ_APP_DATABASE_H

#include <cstdint>
#include <mutex>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace app::http {

class database {
 public:
  /** Opens the file, or makes it, readable for its owner alone, and brings it up to the present version. */
  explicit database(const std::string& path);
  ~database();
  database(const database&) = delete;
  database& operator=(const database&) = delete;

  /** A statement with its parameters in order. It has the database for as long as it is there. */
  class statement {
   public:
    statement(database& in, const char* sql);
    ~statement();
    statement(const statement&) = delete;
    statement& operator=(const statement&) = delete;

    template <class... Values>
    statement& with(const Values&... values) {
      (bind(values), ...);
      return *this;
    }
    bool step(); /* false behind the last row */
    int64_t number(int column) const;
    std::string text(int column) const;
    int64_t changes() const;

   private:
    void bind(int64_t value);
    void bind(const std::string& value);
    const std::unique_lock<std::recursive_mutex> held_;
    database& in_;
    sqlite3_stmt* prepared_ = nullptr;
    int bound_ = 0;
  };

  template <class... Values>
  int64_t run(const char* sql, const Values&... values) {
    statement one(*this, sql);
    one.with(values...).step();
    return one.changes();
  }
  int64_t last_row() const;

  /** Several statements as one. */
  class transaction {
   public:
    explicit transaction(database& in) : held_(in.mutex_), in_(in) { in_.run("BEGIN IMMEDIATE"); }
    ~transaction();
    void commit();

   private:
    const std::unique_lock<std::recursive_mutex> held_;
    database& in_;
    bool open_ = true;
  };

 private:
  [[noreturn]] void fail() const;
  std::recursive_mutex mutex_;
  sqlite3* raw_ = nullptr;
};

}  // namespace app::http

#endif
