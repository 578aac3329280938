/* Before anything else a request is looked at for what no page of ours sends, and for what a browser lets foreign sites do: the name that
 * it asks for, and the site that it comes from. */
#include "http/server.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>

#include "core/text.h"
#include "http/connections.h"
#include "http/media.h"
#include "http/page.h"
#include "http/pool.h"
#include "http/subsonic/rest.h"

namespace app::http {

namespace {

constexpr size_t most_threads = 512;  // more than connections, so that one too many is turned away at once
constexpr size_t largest_body = 64 << 10, longest_target = 2000, most_headers = 100;
constexpr char cookie_name[] = "cadenz";
constexpr int cookie_seconds = 60 * 24 * 60 * 60;

constexpr char page_policy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; media-src 'self'; connect-src 'self'; "
    "manifest-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

/** The name in "name:port", "[::1]:port" or "name". */
std::string name_in(const std::string& host) {
  if (host.starts_with('[')) return host.substr(0, host.find(']') + 1);
  return host.substr(0, host.find(':'));
}

bool is_address(const std::string& name) {
  in6_addr parsed;
  if (name.starts_with('[') && name.ends_with(']'))
    return inet_pton(AF_INET6, name.substr(1, name.size() - 2).c_str(), &parsed) == 1;
  return inet_pton(AF_INET, name.c_str(), &parsed) == 1;
}

std::string cookie_in(const httplib::Request& request) {
  const std::string cookies = "; " + request.get_header_value("Cookie");
  const std::string name = std::string("; ") + cookie_name + '=';
  const size_t at = cookies.find(name);
  if (at == std::string::npos) return {};
  const size_t begin = at + name.size();
  return cookies.substr(begin, cookies.find(';', begin) - begin);
}

/** For what the library refuses by itself. */
const char* words_for(int status) {
  switch (status) {
    case 404:
      return "there is nothing at this address";
    case 413:
      return "the request is too large";
    case 416:
      return "the file has no such range";
    default:
      return status < 500 ? "the request isn't understood" : "the request can't be done";
  }
}

void put_json(httplib::Response& response, int status, const json& body) {
  response.status = status;
  response.set_content(body.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
}

void put_error(httplib::Response& response, int status, const std::string& what, const std::string& next = {}) {
  json error = {{"what", what}};
  put(error, "next", next);
  put_json(response, status, {{"error", std::move(error)}});
}

}  // namespace

// ---- The server's work ---------------------------------------------------------------------------------------------

class server::work {
 public:
  work(house& in, server_setup setup) : in_(in), setup_(std::move(setup)) {
    http_.new_task_queue = [] { return new growing_pool(most_threads); };
    http_.set_payload_max_length(largest_body);
    http_.set_keep_alive_timeout(seconds_idle);
    http_.set_keep_alive_max_count(requests_of_connection);
    http_.set_tcp_nodelay(true);
    http_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return admit(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                      : httplib::Server::HandlerResponse::Handled;
    });
    http_.set_post_routing_handler([](const httplib::Request&, httplib::Response& response) { put_headers(response); });
    http_.set_error_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.body.empty()) put_error(response, response.status, words_for(response.status));
    });
    http_.set_exception_handler([](const httplib::Request&, httplib::Response& response, std::exception_ptr thrown) {
      tell(response, std::move(thrown));
    });
    add_page();
    add_sign_in();
    for (const route& one : api_routes()) add(one);
    subsonic::add_rest(http_, in_, in_.kept, guesses_);
    add_media(http_, in_, [this](const httplib::Request& request) { known_asker(request); });
  }

  std::string bind() {
    const bool bound = setup_.port == 0 ? (setup_.port = http_.bind_to_any_port(setup_.host.c_str())) > 0
                                        : http_.bind_to_port(setup_.host.c_str(), setup_.port);
    if (!bound)
      throw failure("nothing can listen at " + setup_.host + ":" + std::to_string(setup_.port),
                    "is another program there? Take another port with --listen HOST:PORT");
    http_.widen_queue();
    const bool six = setup_.host.find(':') != std::string::npos;
    return "http://" + (six ? "[" + setup_.host + "]" : setup_.host) + ":" + std::to_string(setup_.port) + "/";
  }
  void run() { http_.listen_after_bind(); }
  void stop() { http_.stop_all(); }

 private:
  // ---- Who may ask -------------------------------------------------------------------------------------------------

  /** False, with the answer, for a request that isn't served: for another name, as a page gets by pointing its own name here, or a
   *  change that another site asks for. */
  bool admit(const httplib::Request& request, httplib::Response& response) const {
    if (request.target.size() > longest_target) return put_error(response, 414, "the address is too long"), false;
    if (request.headers.size() > most_headers) return put_error(response, 431, "too many header fields"), false;
    // A body comes with its length, once and as it is: packed ones are small only until they are unpacked.
    if (request.has_header("Transfer-Encoding") || request.get_header_value_count("Content-Length") > 1)
      return put_error(response, 411, "a request's body comes with its length"), false;
    if (request.has_header("Content-Encoding"))
      return put_error(response, 415, "a request's body comes unpacked"), false;
    const std::string host = request.get_header_value("Host"), name = lower(name_in(host));
    const bool known =
        is_address(name) || name == "localhost" || std::ranges::find(setup_.names, name) != setup_.names.end();
    if (!known) return put_error(response, 421, "this server isn't called so", "name it with --name"), false;
    // What apps ask for changes things by GET too, and needs no cookie of a browser's.
    const bool of_apps = request.path.starts_with("/rest/");
    if (!of_apps && (request.method == "GET" || request.method == "HEAD")) return true;

    const std::string origin = request.get_header_value("Origin"), site = request.get_header_value("Sec-Fetch-Site");
    const bool own = origin.empty() || origin == "http://" + host || origin == "https://" + host;
    const bool same_site = site.empty() || site == "same-origin" || site == "none";
    if (!own || !same_site) return put_error(response, 403, "a change that another site asks for"), false;
    if (!of_apps && !request.get_header_value("Content-Type").starts_with("application/json"))
      return put_error(response, 415, "a change is asked for as application/json"), false;
    return true;
  }

  /** Nobody for one who has to sign in first. */
  std::optional<person> asker(const httplib::Request& request) const {
    if (!in_.people.anybody()) return person{};
    const std::string secret = cookie_in(request);
    return secret.empty() ? std::nullopt : in_.people.who(secret);
  }

  person known_asker(const httplib::Request& request) const {
    std::optional<person> who = asker(request);
    if (!who) throw refusal(401, "nobody is signed in");
    return *who;
  }

  // ---- Answers -----------------------------------------------------------------------------------------------------

  static void put_headers(httplib::Response& response) {
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    if (!response.has_header("Cache-Control")) response.set_header("Cache-Control", "no-store");
    if (!response.has_header("Content-Security-Policy"))
      response.set_header("Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'");
  }

  static void tell(httplib::Response& response, std::exception_ptr thrown) {
    try {
      std::rethrow_exception(std::move(thrown));
    } catch (const refusal& refused) {
      if (refused.retry_after) response.set_header("Retry-After", std::to_string(refused.retry_after));
      put_error(response, refused.status, refused.what(), refused.hint);
    } catch (const failure& failed) {
      put_error(response, 500, failed.what(), failed.hint);
    } catch (const std::exception& failed) {
      put_error(response, 500, failed.what());
    }
  }

  void add(const route& one) {
    const auto handle = [this, &one](const httplib::Request& request, httplib::Response& response) {
      call by = {.who = known_or_greeted(request, one),
                 .id = request.matches.size() > 1 ? request.matches[1].str() : std::string(),
                 .parameter = [&](const char* name) { return request.get_param_value(name); },
                 .body = body_of(request),
                 .base = "http://" + request.get_header_value("Host")};
      answer given = one.run(in_, by);
      if (!given.text.empty()) {
        response.status = given.status;
        return response.set_content(given.text, given.type);
      }
      if (one.address == std::string_view("/api/hello")) given.body["sign_in"] = !asker(request);
      if (given.status == 204) {
        response.status = 204;
        return;
      }
      put_json(response, given.status, given.body);
    };
    const std::string_view method = one.method;
    if (method == "GET") http_.Get(one.address, handle);
    if (method == "POST") http_.Post(one.address, handle);
    if (method == "PATCH") http_.Patch(one.address, handle);
    if (method == "DELETE") http_.Delete(one.address, handle);
  }

  /** Who comes to the door may be told that somebody has to sign in. */
  person known_or_greeted(const httplib::Request& request, const route& one) const {
    if (one.address == std::string_view("/api/hello")) return asker(request).value_or(person{});
    return known_asker(request);
  }

  static json body_of(const httplib::Request& request) {
    if (request.method == "GET" || request.method == "HEAD") return json::object();
    json body = json::parse(request.body.empty() ? "{}" : request.body, nullptr, false);
    if (!body.is_object()) throw refusal(400, "the request's body isn't a JSON object");
    return body;
  }

  // ---- Signing in --------------------------------------------------------------------------------------------------

  void add_sign_in() {
    http_.Post("/api/session", [this](const httplib::Request& request, httplib::Response& response) {
      const json body = body_of(request);
      const std::string name = body.value("name", json()).is_string() ? body["name"].get<std::string>() : "";
      const std::string password =
          body.value("password", json()).is_string() ? body["password"].get<std::string>() : "";
      // One at a time: stretching takes memory, and many tries at once would all come before the first has failed.
      const std::lock_guard one_at_a_time(signing_in_);
      if (const int wait = guesses_.wait_of(request.remote_addr)) {
        refusal later(429, "too many tries", "wait " + std::to_string(wait) + " seconds");
        later.retry_after = wait;
        throw later;
      }
      const std::optional<std::string> secret = in_.people.sign_in(name, password);
      if (!secret) {
        guesses_.failed(request.remote_addr);
        throw refusal(401, "the name or the password is wrong");
      }
      guesses_.succeeded(request.remote_addr);
      put_cookie(response, *secret, cookie_seconds);
      response.status = 204;
    });
    http_.Delete("/api/session", [this](const httplib::Request& request, httplib::Response& response) {
      in_.people.sign_out(cookie_in(request));
      put_cookie(response, "", 0);
      response.status = 204;
    });
  }

  static void put_cookie(httplib::Response& response, const std::string& secret, int seconds) {
    response.set_header("Set-Cookie", std::string(cookie_name) + '=' + secret +
                                          "; Path=/; HttpOnly; SameSite=Strict; Max-Age=" + std::to_string(seconds));
  }

  // ---- The page ----------------------------------------------------------------------------------------------------

  void add_page() {
    for (const page_file& one : page_files()) {
      http_.Get(one.address, [&one](const httplib::Request& request, httplib::Response& response) {
        response.set_header("ETag", one.validator);
        response.set_header("Cache-Control", "no-cache");
        response.set_header("Content-Security-Policy", page_policy);
        if (request.get_header_value("If-None-Match") == one.validator) {
          response.status = 304;
          return;
        }
        response.set_content(one.bytes.data(), one.bytes.size(), one.type);
      });
    }
  }

  house& in_;
  server_setup setup_;
  connection_server http_;
  std::mutex signing_in_;
  guessing guesses_;
};

server::server(house& in, server_setup setup) : work_(std::make_unique<work>(in, std::move(setup))) {}
server::~server() = default;
std::string server::bind() { return work_->bind(); }
void server::run() { work_->run(); }
void server::stop() { work_->stop(); }

}  // namespace app::http
