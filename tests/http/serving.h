/* The program serving on a port of its own, and a client that speaks JSON with it. */
#ifndef TESTS_HTTP_SERVING_H
#define TESTS_HTTP_SERVING_H

#include <httplib.h>

#include <nlohmann/json.hpp>

#include "program.h"

using nlohmann::json;

struct reply {
  int status = 0;  // 0: none came
  json body;
  httplib::Headers headers;
};

class Serving : public Program {
 protected:
  /** Starts the program over the catalogue; false, with its words in the file "stderr", when it doesn't serve. */
  bool serve(const std::vector<std::string>& more = {}, const std::string& listen = "127.0.0.1:0");
  /** Ends it as an administrator does; gives the exit status and how many seconds that took. */
  std::pair<int, double> end();
  /** Makes some tone files of different lengths, "Tone 0" on, and scans them; false where nothing makes them. */
  bool scan_tones(int count);
  void add_user(const std::string& name, const std::string& password) const;

  httplib::Client client() const { return httplib::Client("127.0.0.1", port); }
  reply ask(const std::string& method, const std::string& path, const json& body = json::object()) const;
  /** What comes back for these bytes until the other side closes. */
  std::string speak(const std::string& bytes) const;
  /** The identifier of what a search finds first. */
  std::string id_of(const std::string& kind, const std::string& name) const;
  json new_station(const std::string& kind, const std::string& name) const;
  json order(const json& state, const std::string& what) const;

  std::string cookie;  // sent when there is one
  int port = 0;
  std::unique_ptr<conversation> program;
};

inline std::string station_at(const json& state) {
  return "/api/stations/" + state["station"]["id"].get<std::string>();
}
inline std::string sound_at(const std::string& id) { return "/api/tracks/" + id + "/sound"; }

#endif
