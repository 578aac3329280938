/* The commands of the program and what each is asked for. Each returns the exit status; failures are thrown. */
#ifndef CADENZ_APP_COMMANDS_H
#define CADENZ_APP_COMMANDS_H

#include <optional>
#include <string>
#include <vector>

#include "core/start.h"

namespace app {

enum exit_status { exit_fine = 0, exit_failed = 1, exit_usage = 2 };

struct scan_request {
  std::vector<std::string> places;  // folders, audio files, .tsv files
  bool no_sound = false;
  size_t jobs = 0;                   // files listened to at once; 0: as many as there are cores
  std::optional<uint32_t> shortest;  // seconds of what is recommended; as it was when unset
};

struct search_request {
  std::string text;
  bool tracks = false, albums = false, artists = false;  // none: all three
  uint32_t limit = 20;
  bool json = false;
};

struct sound_request {
  std::string track;
  uint32_t limit = 10;
  bool json = false;
};

struct lists_request {
  std::vector<std::string> names;  // "genres", "moods", "eras"; none: all
  bool json = false;
};

enum class form { table, json, m3u, xspf };

struct recommend_request {
  start_request start;
  form output = form::table;
  std::string file;  // to be written instead of standard output; empty for none
  bool explain = false;
  bool sonic = false;
};

struct radio_request {
  start_request start;
  std::string station;              // one to go on with, by its identifier; empty for a new one
  std::vector<std::string> player;  // a program and its arguments; empty: the list is walked
  std::string on_event;             // a program; empty for none
  bool json = false;
};

struct stations_request {
  enum class action { list, rename, remove, history } what = action::list;
  std::string id, name;
  bool json = false;
};

struct serve_request {
  std::string listen = "127.0.0.1:4848";
  std::vector<std::string> names;      // under which a proxy asks
  std::string users;                   // the file of listeners; empty: beside the catalogue
  std::string add_user, remove_user;   // instead of serving
  std::string app_of, no_app_of, app;  // the same: for whom an app gets a password or loses it
  bool no_password = false;
  size_t stations = 64;  // open at once

  bool about_users() const {
    return !add_user.empty() || !remove_user.empty() || !app_of.empty() || !no_app_of.empty();
  }
};

/* `catalog` is the path of the catalogue's file. */
int scan(const std::string& catalog, const scan_request& request);
int search(const std::string& catalog, const search_request& request);
int lists(const std::string& catalog, const lists_request& request);
int sound(const std::string& catalog, const sound_request& request);
int recommend(const std::string& catalog, const recommend_request& request);
int radio(const std::string& catalog, const radio_request& request);
int stations(const std::string& catalog, const stations_request& request);
int serve(const std::string& catalog, const serve_request& request);

}  // namespace app

#endif
