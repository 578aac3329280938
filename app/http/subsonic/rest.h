/* The protocol of the music apps that people already have, under /rest: one table of its methods, one way of signing in, one tree for an
 * answer. docs/http.md tells what is there and how it is used. */
#ifndef CADENZ_APP_REST_H
#define CADENZ_APP_REST_H

#include <httplib.h>

#include "http/subsonic/things.h"

namespace app::http {
class connection_server;
}

namespace app::http::subsonic {

/** Something that the protocol has a number for. */
struct trouble : failure {
  enum code : int {
    generic = 0,
    missing = 10,
    wrong_password = 40,
    mechanism = 42,
    conflicting = 43,
    bad_key = 44,
    not_allowed = 50,
    not_found = 70
  } of;
  trouble(code what, const std::string& why) : failure(why), of(what) {}
};

/** A request by somebody who has signed in. */
struct rest_call {
  house& in;
  keepings& kept;
  person who;
  std::string name;  // as which somebody has signed in
  const httplib::Params& given;

  std::string text(const char* key) const;    // "" where it isn't given
  std::string needed(const char* key) const;  // trouble where it isn't
  std::vector<std::string> texts(const char* key) const;
  int64_t number(const char* key, int64_t otherwise, int64_t least, int64_t most) const;
  thing needed_thing(const char* key) const;
  teller tell() const { return {in, kept, who}; }
};

/** What an answer holds beside its status: one member, or none. */
using method = json (*)(const rest_call& by);
struct named_method {
  const char* name;
  method run;
};

std::span<const named_method> browsing_methods();
std::span<const named_method> listing_methods();
std::span<const named_method> keeping_methods();
std::span<const named_method> playlist_methods();

void add_rest(connection_server& http, house& in, database& kept, guessing& guesses);

}  // namespace app::http::subsonic

#endif
