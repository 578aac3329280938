/* What a listener does: finds, starts, listens, steers, comes back; and that another listener has nothing to do with it. */
#include "serving.h"

namespace {

class Listening : public Serving {
 protected:
  void SetUp() override {
    write("some.tsv", sixty_tracks());
    ASSERT_EQ(run({"scan", path("some.tsv")}).status, 0);
  }
};

TEST_F(Listening, GoesFromASearchToItsPlaylist) {
  ASSERT_TRUE(serve()) << read("stderr");
  const reply hello = ask("GET", "/api/hello");
  EXPECT_EQ(hello.body["catalogue"]["tracks"], 60) << hello.body;
  EXPECT_EQ(hello.body["sign_in"], false);

  json state = new_station("artist", "artist a");
  const std::string at = station_at(state);
  EXPECT_EQ(state["from"]["seeds"][0]["artist"], "Artist A");
  EXPECT_GT(state["coming"].size(), 2u);
  EXPECT_FALSE(state["track"].contains("path"));

  const json first = state;
  state = order(state, "love");
  EXPECT_EQ(state["track"]["liked"], true);
  state = order(state, "next");
  EXPECT_NE(state["track"]["id"], first["track"]["id"]);
  EXPECT_EQ(state["played"][0]["track"]["id"], first["track"]["id"]);
  EXPECT_EQ(state["played"][0]["liked"], true);
  EXPECT_EQ(order(first, "ban")["revision"], state["revision"]) << "it is on no more";
  for (const char* what : {"skip", "ban", "ended", "love-artist", "unplayable"}) state = order(state, what);
  json told = json::array();
  for (const json& one : state["played"]) told.push_back(one["event"]);
  EXPECT_EQ(told, json({"unplayable", "played", "banned", "skipped", "skipped"}));

  const std::string since = at + "?since=" + state["revision"].dump();
  EXPECT_EQ(ask("GET", since).status, 204);
  const reply changed = ask("PATCH", at, {{"name", "Mine"}, {"settings", {{"popularity", 900}, {"dmca", true}}}});
  EXPECT_EQ(changed.body["station"]["name"], "Mine");
  EXPECT_EQ(changed.body["settings"]["popularity"], 900);
  EXPECT_EQ(changed.body["settings"]["dmca"], true);
  EXPECT_EQ(ask("GET", since).status, 200) << "another tab sees the name";
  for (const json& wrong : {json{{"settings", {{"popularity", 9000}}}}, json{{"settings", {{"volume", 1}}}}})
    EXPECT_EQ(ask("PATCH", at, wrong).status, 400) << wrong;

  const auto m3u = client().Get(at + "/playlist.m3u");
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + sound_at(changed.body["track"]["id"]);
  EXPECT_NE(m3u->body.find(url), std::string::npos) << m3u->body;
  EXPECT_EQ(m3u->body.find("/music/"), std::string::npos) << "where files lie is nobody's business";

  EXPECT_EQ(ask("DELETE", at).status, 204);
  EXPECT_EQ(ask("GET", at).status, 404);
  EXPECT_EQ(ask("GET", "/api/stations").body, json::array());
}

TEST_F(Listening, GoesOnAfterOthersAndAfterARestart) {
  ASSERT_TRUE(serve({"--stations", "2"})) << read("stderr");
  std::vector<json> all;
  for (const char* artist : {"Artist A", "Artist B", "Artist C", "Artist D"}) {
    all.push_back(new_station("artist", artist));
    order(all.back(), "skip");
  }
  for (const json& one : all) {
    const reply back = ask("GET", station_at(one));
    EXPECT_EQ(back.body["station"]["skipped"], 1) << back.body;
    ASSERT_FALSE(back.body["played"].empty());
    EXPECT_EQ(back.body["played"][0]["event"], "skipped");
    EXPECT_EQ(back.body["played"][0]["track"]["title"], one["track"]["title"]);
  }
  json state = ask("GET", station_at(all[1])).body;
  state = order(state, "ban");
  const json revision = state["revision"];
  EXPECT_EQ(end().first, 0);

  ASSERT_TRUE(serve()) << read("stderr");
  const reply back = ask("GET", station_at(all[1]) + "?since=" + revision.dump());
  ASSERT_EQ(back.status, 200);
  EXPECT_EQ(back.body["played"][0]["event"], "banned");
  EXPECT_GT(back.body["revision"], revision);
}

TEST_F(Listening, NobodyIsInAnothersStations) {
  add_user("ada", "first secret");
  add_user("ben", "second secret");
  ASSERT_TRUE(serve()) << read("stderr");
  EXPECT_EQ(std::filesystem::status(path("listeners.db")).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(ask("GET", "/api/hello").body["sign_in"], true);
  EXPECT_EQ(ask("GET", "/api/stations").status, 401);

  const auto sign_in = [&](const char* name, const char* password) {
    cookie.clear();
    const reply done = ask("POST", "/api/session", {{"name", name}, {"password", password}});
    const auto given = done.headers.find("Set-Cookie");
    if (given == done.headers.end()) return std::string();
    EXPECT_NE(given->second.find("; HttpOnly; SameSite=Strict"), std::string::npos) << given->second;
    return cookie = given->second.substr(0, given->second.find(';'));
  };
  EXPECT_EQ(sign_in("ada", "second secret"), "");
  const std::string ada = sign_in("ada", "first secret");
  const json hers = new_station("artist", "Artist A");
  const std::string ben = sign_in("ben", "second secret");
  const std::string at = station_at(hers);
  EXPECT_EQ(ask("GET", "/api/stations").body, json::array());
  EXPECT_EQ(ask("GET", at).status, 404);
  EXPECT_EQ(ask("GET", at + "?since=" + hers["revision"].dump()).status, 404);
  EXPECT_EQ(ask("GET", at + "/history").status, 404);
  EXPECT_EQ(ask("DELETE", at).status, 404);
  EXPECT_EQ(ask("POST", at + "/orders", {{"order", "skip"}, {"track", hers["track"]["id"]}}).status, 404);
  EXPECT_EQ(ask("DELETE", "/api/session").status, 204);
  EXPECT_EQ(ask("GET", "/api/stations").status, 401) << "a cookie that was signed out";
  cookie = ada;
  EXPECT_EQ(ask("GET", "/api/stations").body.size(), 1u);

  add_user("ada", "third secret");
  EXPECT_EQ(ask("GET", "/api/stations").status, 401) << "another password ends the sign-ins";
  EXPECT_EQ(ask("GET", "/api/tracks/x/sound").status, 401);
}

}  // namespace
