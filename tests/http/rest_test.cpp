/* What an app does through the protocol that apps have: signs in, browses, searches, plays, and says what it likes, which stations hear. */
#include <velox/pask.h>

#include "serving.h"

namespace {

class Rest : public Serving {
 protected:
  void SetUp() override {
    if (!scan_tones(9)) GTEST_SKIP() << "ffmpeg makes the music";
  }
  /** The answer as JSON, without its envelope, which must be whole. */
  json get(const std::string& method, const httplib::Params& more = {},
           const httplib::Params& by = {{"u", "anna"}, {"p", "x"}}) {
    httplib::Params all = by;
    all.insert(more.begin(), more.end());
    all.insert({{"v", "1.16.1"}, {"c", "test"}, {"f", "json"}});
    const httplib::Result result = client().Get("/rest/" + method, all, httplib::Headers());
    EXPECT_TRUE(result && result->status == 200) << method;
    json told = json::parse(result->body, nullptr, false)["subsonic-response"];
    for (const char* needed : {"status", "version", "type", "serverVersion", "openSubsonic"})
      EXPECT_TRUE(told.contains(needed)) << method;
    return told;
  }
  int code_of(const std::string& method, const httplib::Params& more = {},
              const httplib::Params& by = {{"u", "anna"}, {"p", "x"}}) {
    const json told = get(method, more, by);
    return told["status"] == "ok" ? -1 : told["error"]["code"].get<int>();
  }
  std::string app_password(const std::string& user, const std::string& app) {
    const auto adding = start({"serve", "--add-app", user, "--app", app});
    EXPECT_EQ(adding->end(), 0) << read("stderr");
    const std::string& told = adding->heard;
    const size_t at = told.rfind(": ");
    return at == std::string::npos ? "" : told.substr(at + 2, told.find('\n', at) - at - 2);
  }
  static std::string md5(const std::string& text) {
    pask_md5_ctx digest;
    pask_md5_start(&digest);
    pask_md5_compute(&digest, text.data(), static_cast<uint32_t>(text.size()));
    pask_md5_end(&digest);
    return digest.hex;
  }
  static std::string hex(const std::string& text) {
    std::string digits;
    char two[3];
    for (const char c : text) std::snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(c)), digits += two;
    return digits;
  }
  json first_song(const std::string& name) { return get("search3", {{"query", name}})["searchResult3"]["song"][0]; }
};

TEST_F(Rest, SignsInAsTheAppsKnowIt) {
  for (const char* name : {"anna", "ben"}) add_user(name, std::string(name) + "-secret");
  const std::string key = app_password("anna", "phone"), other = app_password("anna", "desk");
  ASSERT_EQ(key.size(), 32u);
  ASSERT_NE(key, other);
  ASSERT_TRUE(serve()) << read("stderr");
  const struct {
    const char* why;
    httplib::Params by;
    int code; /* -1: done */
  } rows[] = {
      {"by password", {{"u", "anna"}, {"p", key}}, -1},
      {"in digits", {{"u", "anna"}, {"p", "enc:" + hex(key)}}, -1},
      {"by token", {{"u", "anna"}, {"t", md5(other + "salt")}, {"s", "salt"}}, -1},
      {"by key", {{"apiKey", key}}, -1},
      {"a key comes alone", {{"apiKey", key}, {"u", "anna"}}, 43},
      {"one way only", {{"u", "anna"}, {"p", key}, {"t", "1"}, {"s", "2"}}, 43},
      {"no such key", {{"apiKey", "nothing"}}, 44},
      {"nobody", {}, 10},
      {"nothing to show", {{"u", "anna"}}, 10},
      {"a token without salt", {{"u", "anna"}, {"t", md5(key)}}, 10},
      {"the password of the page is no app's", {{"u", "anna"}, {"p", "anna-secret"}}, 40},
      {"somebody else's", {{"u", "ben"}, {"p", key}}, 40},
  };
  for (const auto& row : rows) EXPECT_EQ(code_of("ping", {}, row.by), row.code) << row.why;
  EXPECT_EQ(get("getOpenSubsonicExtensions", {}, {})["status"], "ok") << "before signing in";
  EXPECT_EQ(ask("POST", "/api/session", {{"name", "anna"}, {"password", key}}).status, 401) << "of no use on the page";
  const auto form =
      client().Post("/rest/ping.view", "u=anna&p=" + key + "&f=json", "application/x-www-form-urlencoded");
  EXPECT_NE(form->body.find("\"ok\""), std::string::npos) << form->body;
  const auto foreign = client().Get("/rest/ping?apiKey=" + key, {{"Sec-Fetch-Site", "cross-site"}});
  EXPECT_EQ(foreign->status, 403) << "what another site has a browser ask for";
  end();
  EXPECT_EQ(start({"serve", "--remove-app", "anna", "--app", "phone"})->end(), 0);
  ASSERT_TRUE(serve());
  EXPECT_EQ(code_of("ping", {}, {{"apiKey", key}}), 44);
  EXPECT_EQ(code_of("ping", {}, {{"apiKey", other}}), -1);
}

TEST_F(Rest, BrowsesSearchesAndPlays) {
  ASSERT_TRUE(serve()) << read("stderr");
  const json artists = get("getArtists")["artists"]["index"][0];
  EXPECT_EQ(artists["name"], "P");
  ASSERT_EQ(artists["artist"].size(), 3u);
  const json artist = get("getArtist", {{"id", artists["artist"][0]["id"]}})["artist"];
  EXPECT_EQ(artist["albumCount"], 1);
  const json album = get("getAlbum", {{"id", artist["album"][0]["id"]}})["album"];
  EXPECT_EQ(album["songCount"], 3);
  EXPECT_EQ(album["song"].size(), 3u);
  const json song = get("getSong", {{"id", album["song"][0]["id"]}})["song"];
  EXPECT_EQ(song["title"], "Tone 0");
  EXPECT_EQ(song["suffix"], "flac");
  EXPECT_EQ(song["isDir"], false);
  EXPECT_EQ(get("getMusicDirectory", {{"id", artist["id"]}})["directory"]["child"][0]["isDir"], true);
  EXPECT_EQ(get("getMusicDirectory", {{"id", album["id"]}})["directory"]["child"][0]["id"], song["id"]);
  EXPECT_EQ(get("getGenres")["genres"]["genre"][0], json({{"value", "Jazz"}, {"songCount", 9}, {"albumCount", 0}}));

  const struct {
    const char *method, *type, *member, *list;
    size_t count;
  } lists[] = {{"getAlbumList2", "newest", "albumList2", "album", 3},
               {"getAlbumList", "alphabeticalByArtist", "albumList", "album", 3},
               {"getAlbumList2", "starred", "albumList2", "album", 0},
               {"getAlbumList2", "random", "albumList2", "album", 3},
               {"getRandomSongs", "", "randomSongs", "song", 9},
               {"search2", "", "searchResult2", "song", 9}};
  for (const auto& row : lists)
    EXPECT_EQ(get(row.method, {{"type", row.type}, {"query", ""}})[row.member][row.list].size(), row.count)
        << row.method << row.type;
  EXPECT_EQ(get("getAlbumList2", {{"type", "byYear"}, {"fromYear", "1990"}, {"toYear", "1999"}})["albumList2"]["album"]
                .size(),
            3u);
  EXPECT_EQ(get("getAlbumList2", {{"type", "byGenre"}, {"genre", "jazz"}})["albumList2"]["album"].size(), 3u);
  EXPECT_EQ(get("getSongsByGenre", {{"genre", "Jazz"}, {"count", "4"}})["songsByGenre"]["song"].size(), 4u);
  EXPECT_FALSE(get("getSimilarSongs2", {{"id", song["id"]}, {"count", "5"}})["similarSongs2"]["song"].empty());
  EXPECT_EQ(get("getTopSongs", {{"artist", "Player 1"}})["topSongs"]["song"].size(), 3u);

  const std::string at = "/rest/stream?u=a&p=b&id=" + song["id"].get<std::string>();
  const auto part = client().Get(at, {httplib::make_range_header({{0, 3}})});
  EXPECT_EQ(part->status, 206);
  EXPECT_EQ(part->body, "fLaC");
  const auto xml = client().Get("/rest/getSong?u=a&p=b&id=" + song["id"].get<std::string>());
  EXPECT_NE(xml->body.find("<song id=\"" + song["id"].get<std::string>() + "\" isDir=\"false\" title=\"Tone 0\""),
            std::string::npos)
      << xml->body;

  for (const auto& [method, more, code] :
       std::vector<std::tuple<const char*, httplib::Params, int>>{{"getSong", {}, 10},
                                                                  {"getSong", {{"id", "tr-nothing"}}, 70},
                                                                  {"getAlbum", {{"id", song["id"]}}, 70},
                                                                  {"getAlbumList2", {{"type", "byYear"}}, 10},
                                                                  {"stream", {{"id", "tr-..~2f..~2fetc"}}, 70},
                                                                  {"getSonicSimilarTracks", {{"id", song["id"]}}, 70},
                                                                  {"startScan", {}, 50},
                                                                  {"jukeboxControl", {}, 0}})
    EXPECT_EQ(code_of(method, more), code) << method;
}

TEST_F(Rest, KeepsWhatAListenerSaysAndStationsHearIt) {
  ASSERT_TRUE(serve()) << read("stderr");
  const json state = new_station("artist", "Player 0");
  const std::string station = "st-" + state["station"]["id"].get<std::string>();
  const json lists = get("getPlaylists")["playlists"]["playlist"];
  ASSERT_EQ(lists.size(), 1u);
  EXPECT_EQ(lists[0]["id"], station);
  json playing = get("getPlaylist", {{"id", station}})["playlist"];
  const std::string on = playing["entry"][0]["id"];
  EXPECT_EQ(on, "tr-" + state["track"]["id"].get<std::string>());

  EXPECT_EQ(code_of("star", {{"id", on}}), -1);
  EXPECT_EQ(code_of("scrobble", {{"id", on}, {"submission", "false"}}), -1);
  EXPECT_EQ(get("getPlaylist", {{"id", station}})["playlist"]["entry"][0]["id"], on) << "it has only begun";
  EXPECT_EQ(code_of("scrobble", {{"id", on}}), -1);
  playing = get("getPlaylist", {{"id", station}})["playlist"];
  EXPECT_NE(playing["entry"][0]["id"], on) << "the station has gone on";
  EXPECT_EQ(code_of("setRating", {{"id", playing["entry"][0]["id"]}, {"rating", "1"}}), -1);
  const json heard = ask("GET", station_at(state)).body["played"];
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[1]["event"], "played");
  EXPECT_EQ(heard[1]["liked"], true);
  EXPECT_EQ(heard[0]["event"], "banned");

  EXPECT_EQ(get("getStarred2")["starred2"]["song"][0]["id"], on);
  EXPECT_TRUE(get("getStarred2")["starred2"]["song"][0].contains("starred"));
  EXPECT_EQ(get("getAlbumList2", {{"type", "recent"}})["albumList2"]["album"].size(), 1u);
  EXPECT_EQ(code_of("unstar", {{"id", on}}), -1);
  EXPECT_TRUE(get("getStarred2")["starred2"]["song"].empty());
  EXPECT_EQ(code_of("setRating", {{"id", on}, {"rating", "7"}}), 0);

  const json list =
      get("createPlaylist", {{"name", "Mine"}, {"songId", on}, {"songId", first_song("Tone 5")["id"]}})["playlist"];
  EXPECT_EQ(list["songCount"], 2);
  EXPECT_EQ(code_of("updatePlaylist", {{"playlistId", list["id"]}, {"songIndexToRemove", "0"}, {"songIdToAdd", on}}),
            -1);
  EXPECT_EQ(get("getPlaylist", {{"id", list["id"]}})["playlist"]["entry"].size(), 2u);
  EXPECT_EQ(code_of("deletePlaylist", {{"id", station}}), 50) << "a station makes its own list";
  EXPECT_EQ(code_of("deletePlaylist", {{"id", list["id"]}}), -1);
  EXPECT_EQ(code_of("getPlaylist", {{"id", list["id"]}}), 70);

  EXPECT_FALSE(get("getPlayQueue").contains("playQueue"));
  EXPECT_EQ(code_of("savePlayQueue", {{"id", on}, {"current", on}, {"position", "4000"}}), -1);
  const json queue = get("getPlayQueue")["playQueue"];
  EXPECT_EQ(queue["current"], on);
  EXPECT_EQ(queue["position"], 4000);
  EXPECT_EQ(queue["entry"][0]["id"], on);
}

TEST_F(Rest, ManyAtOnceAllGetTheirAnswers) {
  ASSERT_TRUE(serve()) << read("stderr");
  const std::string song = first_song("Tone 1")["id"], other = first_song("Tone 7")["id"];
  const std::string signed_in = "u=anna&p=x&f=json&";
  const std::string asked[] = {
      "findSonicPath?" + signed_in + "startSongId=" + song + "&endSongId=" + other,
      "getSimilarSongs?" + signed_in + "id=" + song,
      "getTopSongs?" + signed_in + "artist=Player+1",
  };
  std::atomic<int> answered = 0;
  std::vector<std::thread> apps;
  for (size_t i = 0; i < 48; ++i)  // more than there are handles of the catalogue
    apps.emplace_back([&, i] {
      httplib::Client app = client();
      app.set_read_timeout(10);
      if (app.Get("/rest/" + asked[i % std::size(asked)])) ++answered;
    });
  for (std::thread& one : apps) one.join();
  EXPECT_EQ(answered, 48);
}

}  // namespace
