/* Who may listen: names with stretched passwords, sign-ins, and whose each station is, in a database file of the server's own. A file
 * without anybody in it is one listener's, who needs no password. Any thread may call. */
#ifndef CADENZ_APP_LISTENERS_H
#define CADENZ_APP_LISTENERS_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "http/database.h"

namespace app::http {

struct person {
  int64_t id = 0;    // 0: the one listener of a server without users
  std::string name;  // empty for that one
};

class listeners {
 public:
  explicit listeners(database& in);

  /** Adds somebody, or gives who is there another password and ends their sign-ins. */
  void put(const std::string& name, const std::string& password);
  bool remove(const std::string& name);
  std::vector<std::string> names();
  bool anybody();
  std::optional<person> named(const std::string& name);

  /** Signs somebody in: the secret of their cookie, nothing for a wrong name or password, which take the same time. */
  std::optional<std::string> sign_in(const std::string& name, const std::string& password);
  void sign_out(const std::string& secret);
  std::optional<person> who(const std::string& secret);

  /** Stations without an owner are the one listener's. */
  void own(const person& who, const std::string& station);
  bool owns(const person& who, const std::string& station);
  void disown(const std::string& station);

  /** Passwords of apps, which sign in for somebody without their own: random, one for each app, told when it is made. Kept as they
   *  are, since a token of an app can't be checked against a digest; they open the music, and nothing on the page. */
  std::string add_app(const person& who, const std::string& app);
  bool remove_app(const person& who, const std::string& app);
  std::vector<std::string> app_passwords(const person& who);
  std::optional<person> of_app_password(const std::string& password);

 private:
  database& in_;
};

/** Slows down who guesses passwords: after a few failures from an address, each further try has to wait, longer every time. */
class guessing {
 public:
  /** Seconds that a try from there has to wait; 0: it may go ahead. */
  int wait_of(const std::string& address);
  void failed(const std::string& address);
  void succeeded(const std::string& address);

 private:
  struct record {
    int failures = 0;
    int64_t until = 0;
  };
  std::mutex mutex_;
  std::map<std::string, record> records_;
};

}  // namespace app::http

#endif
