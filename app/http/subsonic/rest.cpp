/* Every answer but music and pictures is one envelope with status 200, trouble included: so the apps want it. */
#include "http/subsonic/rest.h"
#include "core/text.h"

#include <sodium.h>
#include <velox/pask_md5.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "http/connections.h"
#include "http/media.h"
#include "http/media_id.h"
#include "http/pictures.h"
#include "http/subsonic/tree.h"

namespace app::http::subsonic {

namespace {

constexpr char protocol[] = "1.16.1";

// ---- Signing in ----------------------------------------------------------------------------------------------------

bool same(const std::string& one, const std::string& other) {
  return one.size() == other.size() && sodium_memcmp(one.data(), other.data(), one.size()) == 0;
}

std::string md5_of(const std::string& text) {
  pask_md5_ctx digest;
  pask_md5_start(&digest);
  pask_md5_compute(&digest, text.data(), static_cast<uint32_t>(text.size()));
  pask_md5_end(&digest);
  return lower(digest.hex);
}

/** "enc:" and hexadecimal digits, or the text itself. */
std::string password_in(const std::string& text) {
  if (!text.starts_with("enc:")) return text;
  std::string password(text.size() / 2, '\0');
  size_t size = 0;
  if (sodium_hex2bin(reinterpret_cast<unsigned char*>(password.data()), password.size(), text.data() + 4,
                     text.size() - 4, nullptr, &size, nullptr) != 0)
    throw trouble(trouble::wrong_password, "the password isn't understood");
  password.resize(size);
  return password;
}

struct credentials {
  std::string user, password, token, salt, key;
};

credentials credentials_in(const httplib::Params& given) {
  const auto text = [&](const char* name) {
    const auto found = given.find(name);
    return found == given.end() ? std::string() : found->second;
  };
  credentials all{text("u"), text("p"), text("t"), text("s"), text("apiKey")};
  const bool by_token = !all.token.empty() || !all.salt.empty();
  if (!all.key.empty() && (!all.user.empty() || !all.password.empty() || by_token))
    throw trouble(trouble::conflicting, "a key comes alone");
  if (!all.password.empty() && by_token) throw trouble(trouble::conflicting, "either a password or a token");
  if (!all.key.empty()) return all;
  if (all.user.empty()) throw trouble(trouble::missing, "the parameter u is missing");
  if (all.password.empty() && (all.token.empty() || all.salt.empty()))
    throw trouble(trouble::missing, "the parameter p, or t and s, are missing");
  return all;
}

struct signed_in {
  person who;
  std::string name;
};

signed_in sign_in(house& in, const httplib::Params& given) {
  const credentials by = credentials_in(given);
  if (!in.people.anybody()) return {{}, by.user.empty() ? "listener" : by.user};
  if (!by.key.empty()) {
    const std::optional<person> who = in.people.of_app_password(by.key);
    if (!who) throw trouble(trouble::bad_key, "there is no such key");
    return {*who, who->name};
  }
  const std::string password = by.password.empty() ? "" : password_in(by.password);
  if (const std::optional<person> who = in.people.named(by.user)) {
    for (const std::string& one : in.people.app_passwords(*who))
      if (by.token.empty() ? same(one, password) : same(md5_of(one + by.salt), lower(by.token)))
        return {*who, who->name};
  }
  throw trouble(trouble::wrong_password, "wrong name or password; an app has a password of its own");
}

// ---- Answers -------------------------------------------------------------------------------------------------------

json envelope(bool well) {
  return {{"status", well ? "ok" : "failed"},
          {"version", protocol},
          {"type", "cadenz"},
          {"serverVersion", velox_cadenz_get_version()},
          {"openSubsonic", true}};
}

void send(httplib::Response& response, const httplib::Params& given, const json& tree) {
  const auto form = given.find("f");
  if (form != given.end() && form->second == "json") {
    response.set_content(as_json_text({{"subsonic-response", tree}}), "application/json");
  } else {
    json root = {{"xmlns", "http://subsonic.org/restapi"}};
    root.update(tree);
    response.set_content(as_xml_text("subsonic-response", root), "application/xml");
  }
}

void send_trouble(httplib::Response& response, const httplib::Params& given, int code, const std::string& message) {
  json tree = envelope(false);
  tree["error"] = {{"code", code}, {"message", message}};
  send(response, given, tree);
}

json extensions(const rest_call*) {
  json list = json::array();
  for (const char* name : {"formPost", "apiKeyAuthentication", "sonicSimilarity"})
    list.push_back({{"name", name}, {"versions", {1}}});
  return {{"openSubsonicExtensions", list}};
}

// ---- Music and pictures --------------------------------------------------------------------------------------------

std::string path_of(const rest_call& by) {
  const thing named = by.needed_thing("id");
  try {
    if (named.kind == "tr") return path_of_track(by.in, as_address(named.id));
    if (named.kind == "al") return path_of_album(by.in, as_address(named.id));
  } catch (const refusal& refused) {
    throw trouble(trouble::not_found, refused.what());
  }
  velox_catalog_browsing first = {};
  first.kind = VELOX_CATALOG_TRACKS;
  first.artist = named.id.c_str();
  first.limit = 20;
  if (named.kind == "ar")
    for (const found_object& one : browse(shelf::borrowed(by.in.catalogs), first))
      if (!one.shown.location.empty()) return one.shown.location;
  throw trouble(trouble::not_found, "there is no file of it");
}

void send_music(connection_server& http, const rest_call& by, const httplib::Request& request,
                httplib::Response& response) {
  std::shared_ptr<open_file> file = by.in.files.open(path_of(by));
  if (!file) throw trouble(trouble::not_found, "the file can't be opened");
  send_file(http, request, response, std::move(file));
}

void send_picture(const rest_call& by, httplib::Response& response) {
  std::optional<picture> found = cover_of(by.in.files, path_of(by));
  if (!found) throw trouble(trouble::not_found, "there is no picture");
  response.set_header("Cache-Control", "private, max-age=3600");
  response.set_content(std::move(found->bytes), found->type);
}

method method_named(const std::string& name) {
  for (const auto& methods : {browsing_methods(), listing_methods(), keeping_methods(), playlist_methods()})
    for (const named_method& one : methods)
      if (name == one.name) return one.run;
  throw trouble(trouble::generic, "there is no method \"" + name + "\" here");
}

}  // namespace

// ---- What a request gives ------------------------------------------------------------------------------------------

std::string rest_call::text(const char* key) const {
  const auto found = given.find(key);
  return found == given.end() ? std::string() : found->second;
}

std::string rest_call::needed(const char* key) const {
  std::string found = text(key);
  if (found.empty()) throw trouble(trouble::missing, std::string("the parameter ") + key + " is missing");
  return found;
}

std::vector<std::string> rest_call::texts(const char* key) const {
  std::vector<std::string> all;
  const auto [first, last] = given.equal_range(key);
  for (auto one = first; one != last; ++one) all.push_back(one->second);
  return all;
}

int64_t rest_call::number(const char* key, int64_t otherwise, int64_t least, int64_t most) const {
  const std::string found = text(key);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(found.data(), found.data() + found.size(), value);
  if (found.empty() || error != std::errc{} || end != found.data() + found.size()) return otherwise;
  return std::clamp(value, least, most);
}

thing rest_call::needed_thing(const char* key) const {
  std::optional<thing> found = thing_in(needed(key));
  if (!found) throw trouble(trouble::not_found, "there is no such thing");
  return std::move(*found);
}

// ---- The door ------------------------------------------------------------------------------------------------------

void add_rest(connection_server& http, house& in, database& file, guessing& guesses) {
  const auto kept = std::make_shared<keepings>(file);
  const auto handle = [&http, &in, kept, &guesses](const httplib::Request& request, httplib::Response& response) {
    const std::string name = request.matches[1];
    const httplib::Params& given = request.params;
    try {
      if (name == "getOpenSubsonicExtensions") {
        json tree = envelope(true);
        tree.update(extensions(nullptr));
        return send(response, given, tree);
      }
      if (guesses.wait_of(request.remote_addr)) throw trouble(trouble::wrong_password, "too many tries: wait a minute");
      signed_in by;
      try {
        by = sign_in(in, given);
      } catch (const trouble& wrong) {
        if (wrong.of == trouble::wrong_password || wrong.of == trouble::bad_key) guesses.failed(request.remote_addr);
        throw;
      }
      const rest_call asked{in, *kept, by.who, by.name, given};
      if (name == "stream" || name == "download") return send_music(http, asked, request, response);
      if (name == "getCoverArt") return send_picture(asked, response);
      json tree = envelope(true);
      tree.update(method_named(name)(asked));
      send(response, given, tree);
    } catch (const trouble& met) {
      send_trouble(response, given, met.of, met.what());
    } catch (const refusal& refused) {
      send_trouble(response, given, refused.status == 404 ? trouble::not_found : trouble::generic, refused.what());
    } catch (const std::exception& failed) {
      send_trouble(response, given, trouble::generic, failed.what());
    }
  };
  constexpr char address[] = R"(/rest/([A-Za-z0-9]+)(?:\.view)?)";
  http.Get(address, handle);
  http.Post(address, handle);
}

}  // namespace app::http::subsonic
