/* The interface under /api: a table of addresses, each with what answers it. docs/http.md describes them. */
#ifndef CADENZ_APP_API_H
#define CADENZ_APP_API_H

#include <functional>
#include <span>

#include "http/files.h"
#include "http/listeners.h"
#include "http/refusal.h"
#include "http/shelf.h"
#include "http/stage.h"

namespace app::http {

/** All that a request works with. */
struct house {
  const session& running;
  shelf catalogs;
  database kept;  // the server's own file
  listeners people;
  stage stations;
  music_files files;
};

struct call {
  person who;
  std::string id;                                     // of the address, "" where it has none
  std::function<std::string(const char*)> parameter;  // "" where it isn't given
  json body;                                          // of a changing request
  std::string base;                                   // "http://127.0.0.1:4848"
};

struct answer {
  int status = 200;
  json body = nullptr;  // null: `text`, or nothing
  std::string text = {};
  const char* type = "application/json";
};

struct route {
  const char* method;
  const char* address;  // a regular expression; its one group is the identifier
  answer (*run)(house& in, const call& by);
};

std::span<const route> api_routes();

/** The path of a track's file; a refusal for one that isn't there. */
std::string path_of_track(house& in, const std::string& id);
/** The same of the first track of an album that has one. */
std::string path_of_album(house& in, const std::string& id);

}  // namespace app::http

#endif
