/* cadenz serve: the radio in a browser. */
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <thread>

#include "cli/commands.h"
#include "cli/output.h"
#include "core/text_safe.h"
#include "http/server.h"

namespace app {

namespace {

/** Of the catalogue, for questions at the same time. */
size_t handles() { return std::clamp<size_t>(std::thread::hardware_concurrency(), 2, 16); }

/** A line of standard input that a terminal doesn't show. */
std::string read_password(const char* prompt) {
  termios shown = {};
  const bool there = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &shown) == 0;
  if (there) {
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    std::cerr << prompt;
  }
  std::string line;
  std::getline(std::cin, line);
  if (there) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::cerr << '\n';
  }
  return line;
}

int add_user(http::listeners& people, const std::string& name) {
  const std::string password = read_password(("Password for " + safe(name) + ": ").c_str());
  if (password.empty()) throw failure("no password given", "write one line to standard input");
  people.put(name, password);
  write_result("Added: " + safe(name) + '\n');
  return exit_fine;
}

/** An app signs in with a password of its own, which is told once. */
int change_app(http::listeners& people, const serve_request& request) {
  const std::string& name = request.app_of.empty() ? request.no_app_of : request.app_of;
  const std::optional<http::person> who = people.named(name);
  if (!who) throw failure("there is no user \"" + name + '"', "add one with cadenz serve --add-user NAME");
  if (request.app.empty()) throw failure("an app needs a name", "give --app NAME");
  if (!request.app_of.empty()) {
    write_result("Password of " + safe(request.app) + " for " + safe(name) + ": " + people.add_app(*who, request.app) +
                 '\n');
  } else {
    if (!people.remove_app(*who, request.app)) throw failure("there is no app \"" + request.app + '"');
    write_result("Removed: " + safe(request.app) + '\n');
  }
  return exit_fine;
}

int change_users(const std::string& file, const serve_request& request) {
  http::database kept(file);
  http::listeners people(kept);
  if (!request.add_user.empty()) return add_user(people, request.add_user);
  if (request.remove_user.empty()) return change_app(people, request);
  if (!people.remove(request.remove_user)) throw failure("there is no user \"" + request.remove_user + '"');
  write_result("Removed: " + safe(request.remove_user) + '\n');
  return exit_fine;
}

/** "HOST:PORT", "PORT", "[::1]:PORT". */
std::pair<std::string, int> address_in(const std::string& text) {
  const size_t colon = text.rfind(':');
  std::string host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
  if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
      std::stoi(port) > 65535)
    throw failure("\"" + text + "\" is no address", "give --listen HOST:PORT, as in 127.0.0.1:4848");
  return {host, std::stoi(port)};
}

bool is_loopback(const std::string& host) { return host == "localhost" || host == "::1" || host.starts_with("127."); }

std::vector<std::string> scanned_folders(const std::string& path) {
  const catalog_owner catalog = open_catalog(path);
  std::vector<std::string> folders;
  check(velox_catalog_places(
      catalog.get(),
      [](void* to, const char* folder) noexcept {
        static_cast<std::vector<std::string>*>(to)->emplace_back(folder);
        return 0;
      },
      &folders));
  return folders;
}

/** As many descriptors as the system lets the program have: each listener takes some. */
void raise_limits() {
  rlimit files = {};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
  }
  mallopt(M_ARENA_MAX, 4);  // many threads that do little
}

}  // namespace

int serve(const std::string& path, const serve_request& request) {
  const std::string file =
      !request.users.empty() ? request.users : (std::filesystem::path(path).parent_path() / "listeners.db").string();
  if (request.about_users()) return change_users(file, request);

  // Blocked in all threads, to be waited for.
  sigset_t ends;
  sigemptyset(&ends);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends, signal);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  raise_limits();

  const auto [host, port] = address_in(request.listen);
  const session running;
  std::vector<std::string> folders = scanned_folders(path);
  check(velox_catalog_default_set(catalog_url(path).c_str()), "naming the catalogue");
  http::house house = {running,
                       {path, handles()},
                       http::database(file),
                       http::listeners(house.kept),
                       {running, path, request.stations},
                       http::music_files(std::move(folders))};
  if (!is_loopback(host) && !house.people.anybody() && !request.no_password)
    throw failure("anybody who reaches " + host + " could listen",
                  "add users with cadenz serve --add-user NAME, or say --no-password");
  if (!house.files.any())
    tell("the catalogue knows no folder with audio files: titles are shown, and nothing is played",
         "run: cadenz scan FOLDER");

  std::vector<std::string> names = request.names;
  for (std::string& name : names) name = lower(name);
  http::server server(house, {host, port, names});
  write_result("Listening at " + server.bind() + '\n');
  if (!is_loopback(host) && request.no_password)
    tell("everybody who reaches this address can listen, without a password");
  std::thread serving([&] { server.run(); });
  int signal = 0;
  sigwait(&ends, &signal);
  server.stop();
  serving.join();
  house.stations.close_all();
  return exit_fine;
}

}  // namespace app
