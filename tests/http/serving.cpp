/* Starting, asking and ending. */
#include "serving.h"

#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

bool Serving::serve(const std::vector<std::string>& more, const std::string& listen) {
  std::vector<std::string> words = {"serve", "--listen", listen};
  words.insert(words.end(), more.begin(), more.end());
  program = start(words);
  if (!program->hear("Listening at http://") || !program->hear("/\n")) return false;
  port = std::stoi(program->heard.substr(program->heard.rfind(':') + 1));
  return true;
}

std::pair<int, double> Serving::end() {
  const auto begin = std::chrono::steady_clock::now();
  program->signal(SIGTERM);
  const int status = program->end();
  return {status, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count()};
}

bool Serving::scan_tones(int count) {
  if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) return false;
  std::filesystem::create_directories(path("music"));
  std::string made = "ffmpeg -nostdin -v error -y -f lavfi -i sine=duration=12";
  for (int i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    made += " -t " + std::to_string(2 + i % 10) + " -metadata title='Tone " + n + "' -metadata artist='Player " +
            std::to_string(i / 3) + "' -metadata album=Beeps -metadata genre=Jazz -metadata date=1994 '" +
            path("music/" + n + ".flac") + "'";
  }
  return std::system(made.c_str()) == 0 && run({"scan", path("music"), "--shortest", "0", "--no-sound"}).status == 0;
}

void Serving::add_user(const std::string& name, const std::string& password) const {
  const auto adding = start({"serve", "--add-user", name});
  adding->say(password + "\n");
  ASSERT_EQ(adding->end(), 0) << read("stderr");
}

reply Serving::ask(const std::string& method, const std::string& path, const json& body) const {
  httplib::Request request;
  request.method = method;
  request.path = path;
  if (!cookie.empty()) request.set_header("Cookie", cookie);
  if (method != "GET" && method != "HEAD") {
    request.set_header("Content-Type", "application/json");
    request.body = body.dump();
  }
  const httplib::Result result = client().send(request);
  if (!result) return {};
  return {result->status, json::parse(result->body, nullptr, false), result->headers};
}

std::string Serving::speak(const std::string& bytes) const {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(static_cast<uint16_t>(port));
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string heard;
  if (connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0) {
    (void)!send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    shutdown(fd, SHUT_WR);
    char block[4096];
    for (ssize_t got = 0; (got = recv(fd, block, sizeof block, 0)) > 0;) heard.append(block, static_cast<size_t>(got));
  }
  close(fd);
  return heard;
}

std::string Serving::id_of(const std::string& kind, const std::string& name) const {
  const reply found = ask("GET", "/api/search?" + httplib::detail::params_to_query_str({{"kinds", kind}, {"q", name}}));
  const json& list = found.body[kind + "s"];
  return list.empty() ? "" : list[0]["id"].get<std::string>();
}

json Serving::new_station(const std::string& kind, const std::string& name) const {
  const reply made = ask("POST", "/api/stations", {{"seeds", {{{"kind", kind}, {"id", id_of(kind, name)}}}}});
  EXPECT_EQ(made.status, 201) << made.body;
  return made.body;
}

json Serving::order(const json& state, const std::string& what) const {
  const reply done = ask("POST", station_at(state) + "/orders", {{"order", what}, {"track", state["track"]["id"]}});
  EXPECT_EQ(done.status, 200) << what << done.body;
  return done.body;
}
