/* What is kept away: other sites, odd requests, and who guesses. */
#include "serving.h"

namespace {

class KeepingOut : public Serving {
 protected:
  void SetUp() override {
    write("some.tsv", sixty_tracks());
    ASSERT_EQ(run({"scan", path("some.tsv")}).status, 0);
  }
};

TEST_F(KeepingOut, RefusesWhatNoPageOfItsOwnSends) {
  ASSERT_TRUE(serve({"--name", "radio.example"})) << read("stderr");
  const std::string get = "GET /api/hello HTTP/1.1\r\n", host = "Host: localhost\r\n",
                    end = "Connection: close\r\n\r\n";
  const std::string post = "POST /api/stations HTTP/1.1\r\n" + host, as_json = "Content-Type: application/json\r\n";
  const std::string body = "Content-Length: 2\r\n" + end + "{}";
  const auto at = [&](const std::string& target) { return "GET " + target + " HTTP/1.1\r\n" + host + end; };
  std::string many;
  for (int i = 0; i < 200; ++i) many += "X-" + std::to_string(i) + ": 1\r\n";

  const struct {
    const char* what;
    std::string request;
    int status;  // 0: none, or any that refuses
  } rows[] = {
      {"its address", get + "Host: 127.0.0.1:4848\r\n" + end, 200},
      {"a name that it was given", get + "Host: Radio.Example\r\n" + end, 200},
      {"a name that was pointed at it", get + "Host: evil.example\r\n" + end, 421},
      {"an address in a name", get + "Host: 127.0.0.1.evil.example\r\n" + end, 421},
      {"no name", get + end, 421},
      {"its own page", post + "Origin: http://localhost\r\n" + as_json + body, 400},
      {"another site", post + "Origin: http://evil.example\r\n" + as_json + body, 403},
      {"a page without an origin", post + "Origin: null\r\n" + as_json + body, 403},
      {"another site, as the browser tells", post + "Sec-Fetch-Site: cross-site\r\n" + as_json + body, 403},
      {"a form", post + "Content-Type: text/plain\r\n" + body, 415},
      {"a form's sign-out", "DELETE /api/session HTTP/1.1\r\n" + host + end, 415},
      {"a packed body", post + as_json + "Content-Encoding: gzip\r\n" + body, 415},
      {"a body without a length", post + as_json + "Transfer-Encoding: chunked\r\n" + end + "2\r\n{}\r\n0\r\n\r\n",
       411},
      {"two lengths", post + as_json + "Content-Length: 3\r\n" + body, 411},
      {"a large body", post + as_json + "Content-Length: 100000\r\n" + end + std::string(100'000, ' '), 413},
      {"a body that isn't JSON", post + as_json + "Content-Length: 3\r\n" + end + "{]}", 400},
      {"deep JSON", post + as_json + "Content-Length: 60000\r\n" + end + std::string(60'000, '['), 400},
      {"a path", at("/api/tracks/../../etc/passwd/sound"), 404},
      {"a packed path", at("/api/tracks/%2e%2e%2f%2e%2e%2fetc%2fpasswd/sound"), 404},
      {"a byte of 0", at("/api/tracks/a%00b/sound"), 404},
      {"an identifier of SQL", at("/api/tracks/'%20OR%201=1--/sound"), 404},
      {"a long address", at("/api/tracks/" + std::string(5'000, 'a')), 414},
      {"many fields", get + host + many + end, 431},
      {"a long field", get + host + "X: " + std::string(60'000, 'a') + "\r\n" + end, 0},
      {"an endless head", get + std::string(300'000, 'a'), 0},
      {"many ranges", get + host + "Range: bytes=0-" + std::string(7'000, ',') + "\r\n" + end, 416},
      {"another protocol", "\x16\x03\x01\x02\x00\x01", 0},
  };
  for (const auto& row : rows) {
    const std::string answer = speak(row.request);
    const int status = answer.size() > 12 ? std::stoi("0" + answer.substr(9, 3)) : 0;
    if (row.status == 0) {
      EXPECT_TRUE(status == 0 || status >= 400) << row.what << answer;
      continue;
    }
    EXPECT_EQ(status, row.status) << row.what << '\n' << answer.substr(0, 500);
    EXPECT_NE(answer.find("X-Content-Type-Options: nosniff"), answer.npos) << row.what;
  }
  EXPECT_EQ(ask("GET", "/api/hello").status, 200);
}

TEST_F(KeepingOut, WhatIsLeftOfARefusedRequestIsNoRequest) {
  ASSERT_TRUE(serve()) << read("stderr");
  const json state = new_station("artist", "Artist A");
  const std::string inner =
      "DELETE " + station_at(state) +
      " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nContent-Length: 0\r\n\r\n";
  const std::string length = "Content-Length: " + std::to_string(inner.size()) + "\r\n\r\n";
  for (const std::string& first :
       {"POST /api/stations HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/plain\r\n" + length,
        "GET /api/hello HTTP/1.1\r\nHost: localhost\r\n" + length}) {
    const std::string answer = speak(first + inner);
    EXPECT_EQ(answer.find("HTTP/1.1 ", 1), std::string::npos) << answer;
  }
  EXPECT_EQ(ask("GET", station_at(state)).status, 200);
}

TEST_F(KeepingOut, WhoGuessesHasToWait) {
  add_user("ada", "secret");
  ASSERT_TRUE(serve()) << read("stderr");
  std::vector<std::thread> guesses;
  std::atomic<int> wrong = 0, later = 0;
  for (int i = 0; i < 10; ++i)
    guesses.emplace_back([&] {
      const reply answer = ask("POST", "/api/session", {{"name", "ada"}, {"password", "guess"}});
      if (answer.status == 401) ++wrong;
      if (answer.status == 429 && answer.headers.count("Retry-After") == 1) ++later;
    });
  for (std::thread& one : guesses) one.join();
  EXPECT_EQ(wrong, 5) << "as many at once as one after the other";
  EXPECT_EQ(later, 5);
  EXPECT_EQ(ask("POST", "/api/session", {{"name", "ada"}, {"password", "secret"}}).status, 429);
}

TEST_F(KeepingOut, OtherAddressesWantUsersOrALoudYes) {
  EXPECT_FALSE(serve({}, "0.0.0.0:0"));
  EXPECT_NE(program->end(), 0);
  EXPECT_NE(read("stderr").find("--add-user"), std::string::npos) << read("stderr");
  EXPECT_TRUE(serve({"--no-password"}, "0.0.0.0:0"));
  end();
  add_user("ada", "secret");
  EXPECT_TRUE(serve({}, "0.0.0.0:0"));
  EXPECT_EQ(ask("GET", "/api/stations").status, 401);
}

}  // namespace
