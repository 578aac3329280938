/* The radio: sessions driven through standard input or a terminal, killed and ended in the middle, gone on with by the station's
 * identifier; players, event programs, and the rule of internet radio by a count of our own. */
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "program.h"

namespace {

using nlohmann::json;

/** False too for one that has ended and isn't waited for yet. */
bool is_running(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  return std::getline(status, line) && line.find(") Z") == std::string::npos;
}

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string shown(const json& track) { return track["artist"].get<std::string>() + " - " + track.value("title", ""); }

/** The events of a session by --json, one in a line. */
std::vector<json> events(const std::string& text) {
  std::vector<json> all;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (json one = json::parse(line, nullptr, false); !one.is_discarded()) all.push_back(std::move(one));
  return all;
}

/** The tracks of the events with that name. */
std::vector<std::string> tracks(const std::string& text, const std::string& event) {
  std::vector<std::string> all;
  for (const json& one : events(text))
    if (one["event"] == event) all.push_back(shown(one["track"]));
  return all;
}

class Radio : public Program {
 protected:
  void SetUp() override {
    write("sixty.tsv", sixty_tracks());
    ASSERT_EQ(run({"scan", path("sixty.tsv")}).status, 0);
  }

  std::unique_ptr<conversation> radio(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"radio", "--json"});
    return start(arguments);
  }
  json listed(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "stations");
    arguments.push_back("--json");
    return json::parse(run(arguments).out, nullptr, false);
  }
  /** "event: artist - title" of a station's history, oldest first. */
  std::vector<std::string> history(const std::string& id) const {
    std::vector<std::string> all;
    for (const json& one : listed({"history", id})) all.push_back(one["event"].get<std::string>() + ": " + shown(one));
    return all;
  }
  void write_program(const std::string& name, const std::string& text) const {
    write(name, "#!/bin/sh\n" + text);
    std::filesystem::permissions(path(name), std::filesystem::perms::owner_all);
  }
};

TEST_F(Radio, GoesOnAfterAKillWithLikesBansAndHistory) {
  const auto first = radio({"--artist", "Artist A"});
  for (const char* said : {"next", "love", "ban", "love artist", "ban artist", "next"})
    first->say(std::string(said) + '\n');
  ASSERT_TRUE(first->hear("\"played\"") && first->hear("\"artist-banned\"") && first->hear("\"played\""));
  first->signal(SIGKILL);
  EXPECT_EQ(first->end(), 1000 + SIGKILL);

  const std::string id = events(first->heard)[0]["station"];
  const std::string banned = tracks(first->heard, "banned")[0];
  const std::string artist = tracks(first->heard, "artist-banned")[0].substr(0, 8);
  EXPECT_EQ(history(id), (std::vector<std::string>{"played: " + tracks(first->heard, "track")[0], "liked: " + banned,
                                                   "banned: " + banned, "artist-liked: " + artist + " - ",
                                                   "artist-banned: " + artist + " - "}));
  const json kept = listed({})[0];
  EXPECT_TRUE(kept["station"] == id && kept["played"] == 1 && kept["liked"] == 2 && kept["banned"] == 2) << kept;

  const auto again = radio({"--station", id.substr(0, id.size() - 1)});
  for (int i = 0; i < 20; ++i) again->say("next\n");
  EXPECT_EQ(again->end(), 0) << read("stderr");
  EXPECT_EQ(events(again->heard)[0]["state"], "reopened");
  const std::vector<std::string> played = tracks(again->heard, "track");
  EXPECT_GE(played.size(), 20u);
  EXPECT_EQ(std::ranges::count(played, banned), 0);
  EXPECT_EQ(std::ranges::count(played, tracks(first->heard, "track")[0]), 0) << "heard already";
  EXPECT_EQ(std::set(played.begin(), played.end()).size(), played.size());
  for (const std::string& one : played) EXPECT_FALSE(one.starts_with(artist)) << one;
}

TEST_F(Radio, ReportsWhatIsPendingHoweverItEnds) {
  for (const int how : {SIGINT, SIGTERM, SIGHUP, 0}) {
    const auto session = radio({"--genre", "Jazz"});
    session->say("next\nnext\n");
    ASSERT_TRUE(session->hear("\"played\"") && session->hear("\"played\"") && session->hear("\"track\""));
    const std::string id = events(session->heard)[0]["station"];
    EXPECT_EQ(history(id).size(), 0u) << "there is nothing to find out then";
    if (how != 0) session->signal(how);
    ASSERT_TRUE(how == 0 || session->hear("\"end\"")) << how;
    EXPECT_EQ(session->end(), 0) << how << read("stderr");
    EXPECT_EQ(events(session->heard).back()["why"], how == 0 ? "input" : "signal");
    EXPECT_EQ(history(id).size(), 2u) << how;
  }
}

/** What breaks the rule of internet radio in tracks that follow each other: over any three hours at most three of an album, two
 *  of them in a row, and four of an artist, three in a row. */
std::string fault(const std::vector<json>& played) {
  const struct {
    const char* of;
    size_t most, in_a_row;
  } rules[] = {{"album", 3, 2}, {"artist", 4, 3}};
  for (const auto& rule : rules) {
    const auto name = [&](const json& track) {
      return track["artist"].get<std::string>() + '/' + track[rule.of].get<std::string>();
    };
    for (size_t first = 0; first < played.size(); ++first) {
      size_t count = 0, row = 0;
      long seconds = 0;
      bool together = true;
      for (size_t i = first; i < played.size() && seconds < 3 * 3600; seconds += played[i++]["duration"].get<long>()) {
        const bool same = name(played[i]) == name(played[first]);
        together = together && same;
        count += same;
        row += together;
      }
      if (count > rule.most || row > rule.in_a_row)
        return name(played[first]) + " from " + std::to_string(first) + ": " + std::to_string(count) + ", in a row " +
               std::to_string(row);
    }
  }
  return {};
}

TEST_F(Radio, KeepsTheRuleOfInternetRadioOverTenPlaylists) {
  std::string table = "title\tartist\talbum\tgenre\tdate\tduration\n";
  for (int i = 0; i < 1200; ++i)
    table += "Tune " + std::to_string(i) + "\tBand " + std::to_string(i / 12) + "\tDisc " + std::to_string(i / 6) +
             "\tFolk\t" + std::to_string(1950 + i / 120) + "\t" + std::to_string(150 + i % 100) + '\n';
  write("many.tsv", table);
  ASSERT_EQ(run({"scan", path("many.tsv")}).status, 0);

  const auto played_by = [&](std::vector<std::string> arguments) {
    const auto session = radio(std::move(arguments));
    std::vector<json> played;
    for (int playlists = 0; playlists < 10;) {
      session->say("next\n");
      if (!session->hear("\"event\":\"track\"")) break;
      const std::vector<json> all = events(session->heard);
      playlists = static_cast<int>(std::ranges::count(all, "playlist", [](const json& e) { return e["event"]; }));
    }
    session->end();
    for (const json& one : events(session->heard))
      if (one["event"] == "track") played.push_back(one["track"]);
    return played;
  };
  const std::vector<json> ruled =
      played_by({"--artist", "Band 0", "--album", "Disc 3", "--similarity", "1000", "--dmca"});
  EXPECT_GE(ruled.size(), 100u);
  EXPECT_EQ(fault(ruled), "");
  EXPECT_NE(fault(played_by({"--artist", "Band 0", "--album", "Disc 3", "--similarity", "1000"})), "")
      << "nothing was at stake";
}

TEST_F(Radio, PlaysThroughAPlayer) {
  environment.push_back("CADENZ_CATALOG=" + path("played.db"));
  std::erase(environment, "CADENZ_CATALOG=" + path("catalog.db"));
  std::string table = "title\tartist\tgenre\tpath\tduration\nnowhere\tNobody\tPolka\t\t\n";
  std::set<std::string> good;
  for (const std::string name : {"good 1", "good 2", "good 3", "good 4", "bad", "missing", "long 1", "long 2"}) {
    table += name + "\tBy " + name + "\tPolka\t" + path(name) + "\t1\n";
    if (name != "missing") write(name, "");
    if (name.starts_with("good")) good.insert("By " + name + " - " + name);
  }
  write("played.tsv", table);
  ASSERT_EQ(run({"scan", path("played.tsv")}).status, 0);
  write_program("player",
                "trap 'echo stopped >> " + path("log") + "; exit' TERM\necho \"$#:$1:$2:$3\" >> " + path("log") +
                    "\ncase $3 in *bad) exit 3;; *good*) sleep 0.6;; *long*) while :; do sleep 0.05; done;; esac\n");

  const auto session = radio({"--genre", "Polka", "--player", path("player") + " 'two words' \\$HOME"});
  std::set<std::string> played, unplayable;
  size_t ordered = 0;
  std::vector<std::string> orders = {"next\n", "pause\npause\nban\n"};  // for the long ones, which end only so
  for (int i = 0; i < 50 && (!orders.empty() || played != good || unplayable.size() < 3); ++i) {
    ASSERT_TRUE(session->hear("\"event\":\"track\"") && session->hear("\n")) << session->heard;
    const std::vector<std::string> begun = tracks(session->heard, "track");
    if (const std::string& on = begun.back(); begun.size() > ordered && !orders.empty() && holds(on, "long")) {
      while (!holds(read("log"), on.substr(on.size() - 6))) usleep(1000);
      session->say(orders.front());
      orders.erase(orders.begin());
      ordered = begun.size();
    }
    for (const std::string& one : tracks(session->heard, "played")) played.insert(one);
    for (const std::string& one : tracks(session->heard, "unplayable")) unplayable.insert(one);
  }
  session->say("quit\n");
  session->end();
  EXPECT_EQ(played, good) << session->heard;
  EXPECT_EQ(unplayable, (std::set<std::string>{"By bad - bad", "By missing - missing", "Nobody - nowhere"}));
  EXPECT_TRUE(holds(tracks(session->heard, "skipped").at(0), "long") &&
              holds(tracks(session->heard, "banned").at(0), "long"));
  EXPECT_EQ(tracks(session->heard, "paused"), tracks(session->heard, "resumed"));
  const std::string log = read("log");
  EXPECT_TRUE(holds(log, "3:two words:$HOME:" + path("good 1"))) << log;
  EXPECT_TRUE(log.find("stopped") != log.rfind("stopped")) << log;

  const auto without = radio({"--genre", "Polka", "--player", "/there/is no/player"});
  without->say("explain\nnext\n");
  EXPECT_EQ(without->end(), 0) << read("stderr");
  EXPECT_EQ(tracks(without->heard, "played").size(), 1u);
}

TEST_F(Radio, APlayerThatReturnsAtOncePlaysNothing) {
  for (int i = 0; i < 10; ++i) write("file " + std::to_string(i), "");
  std::string table = "title\tartist\tgenre\tpath\n";
  for (int i = 0; i < 10; ++i)
    table += "Tune\tBand " + std::to_string(i) + "\tPolka\t" + path("file " + std::to_string(i)) + '\n';
  write("files.tsv", table);
  ASSERT_EQ(run({"scan", path("files.tsv")}).status, 0);
  const auto session = radio({"--genre", "Polka", "--player", "true"});
  EXPECT_TRUE(session->hear("\"end\""));
  EXPECT_EQ(session->end(), 1);
  const std::vector<json> told = events(session->heard);
  EXPECT_EQ(told.back()["why"], "player");
  EXPECT_EQ(tracks(session->heard, "track").size(), 3u);
  EXPECT_TRUE(holds(read("stderr"), "ends at once")) << read("stderr");
  EXPECT_TRUE(history(told[0]["station"]).empty());
}

TEST_F(Radio, WhatAPlayerStartedEndsWithIt) {
  write("file", "");
  write("file.tsv", "title\tartist\tgenre\tpath\tduration\nTune\tBand\tPolka\t" + path("file") + "\t1\n");
  ASSERT_EQ(run({"scan", path("file.tsv")}).status, 0);
  const struct {
    const char *what, *player;
    std::function<void(conversation&)> end;
  } rows[] = {
      {"the radio is killed", "sleep 1000", [](conversation& on) { on.signal(SIGKILL); }},
      {"the radio is ended", "trap '' TERM; sleep 1000 & sleep 1000", [](conversation& on) { on.signal(SIGTERM); }},
      {"its own leader has gone", "sleep 0.6", [](conversation&) {}},
  };
  for (const auto& row : rows) {
    write("log", "");
    write_program("player", "sleep 1000 &\necho $! >> " + path("log") + '\n' + row.player + '\n');
    const auto session = radio({"--genre", "Polka", "--player", path("player")});
    while (!holds(read("log"), "\n")) usleep(1000);
    const pid_t started = std::stoi(read("log"));
    EXPECT_TRUE(is_running(started)) << row.what;
    row.end(*session);
    for (int i = 0; is_running(started) && i < 5000; ++i) usleep(1000);
    EXPECT_FALSE(is_running(started)) << row.what;
  }
}

TEST_F(Radio, ARemovedStationEndsTheSession) {
  const auto session = radio({"--artist", "Artist A"});
  ASSERT_TRUE(session->hear("\"event\":\"track\""));
  ASSERT_EQ(run({"stations", "remove", events(session->heard)[0]["station"]}).status, 0);
  session->say("love\n");
  EXPECT_EQ(session->end(), 1);
  EXPECT_TRUE(tracks(session->heard, "liked").empty()) << session->heard;
  EXPECT_TRUE(holds(read("stderr"), "has been removed")) << read("stderr");
}

TEST_F(Radio, AReaderThatStoppedReadingHoldsNobody) {
  const auto session = radio({"--genre", "Jazz"});
  session->say("next\n");
  ASSERT_TRUE(session->hear("\"played\""));
  const std::string id = events(session->heard)[0]["station"];
  for (int i = 0; i < 200; ++i) session->say("upcoming\n");  // megabytes, which nobody reads
  usleep(200'000);
  session->signal(SIGTERM);
  for (int i = 0; i < 100 && history(id).empty(); ++i) usleep(50'000);
  EXPECT_EQ(history(id).size(), 1u) << "the session has ended, with what was pending";
}

TEST_F(Radio, RunsAnEventProgramInOrder) {
  write_program("hook",
                "echo $1 $CADENZ_EVENT $CADENZ_STATION $CADENZ_ARTIST - $CADENZ_TITLE \"$CADENZ_LOCATION\" >> " +
                    path("log") + "\n[ $1 = liked ] && exit 1\nsleep 0.02\n");
  const auto session = radio({"--artist", "Artist B", "--on-event", path("hook")});
  session->say("love\nban\nnext\n");
  EXPECT_EQ(session->end(), 0);
  const std::string id = events(session->heard)[0]["station"];
  std::istringstream log(read("log"));
  std::string text;
  for (const json& one : events(session->heard)) {
    ASSERT_TRUE(std::getline(log, text)) << one;
    const std::string name = one["event"];
    std::string expected = name + ' ' + name + ' ' + id + " - ";
    if (const auto track = one.find("track"); track != one.end())
      expected = name + ' ' + name + ' ' + id + ' ' + shown(*track) + ' ' + track->value("path", "");
    EXPECT_EQ(text, expected);
  }
  EXPECT_TRUE(holds(read("stderr"), "exit status 1")) << read("stderr");
  EXPECT_EQ(run({"radio", "--artist", "Artist B", "--on-event", "/there/is/none"}, "/dev/null").status, 0);
}

TEST_F(Radio, GivesTheTerminalBack) {
  const auto cooked = [](const conversation& with) {
    termios settings = {};
    tcgetattr(with.terminal(), &settings);
    return (settings.c_lflag & (ICANON | ECHO)) == (ICANON | ECHO);
  };
  const auto session = start({"radio", "--artist", "Artist A"}, true);
  const int terminal = dup(session->terminal());
  ASSERT_TRUE(session->hear("Coming:") && session->hear("> \"") && !cooked(*session));
  session->say("\x1b[A\x1b[B\xc3\xa9?");  // arrow keys ban nobody
  ASSERT_TRUE(session->hear("ban artist"));
  session->say("+s");
  ASSERT_TRUE(session->hear("liked: ") && session->hear("Enter") && session->hear(": "));
  session->say("popularity 300\n-");
  ASSERT_TRUE(session->hear("popularity 300") && session->hear("banned: "));
  session->say("\x03");
  ASSERT_TRUE(session->hear("1 liked, 1 banned. Go on with: cadenz radio --station "));
  EXPECT_FALSE(holds(session->heard, "artist banned: ")) << session->heard;
  EXPECT_EQ(session->heard.find("not understood"), session->heard.rfind("not understood")) << "a character is one key";
  EXPECT_EQ(session->end(), 0);
  conversation after(0, -1, terminal);
  EXPECT_TRUE(cooked(after));
}

TEST_F(Radio, KeepsEventsWhileTheCatalogueIsLocked) {
  const auto session = radio({"--artist", "Artist A"});
  ASSERT_TRUE(session->hear("\"event\":\"track\""));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path("catalog.db").c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  session->say("love\n");
  EXPECT_TRUE(session->hear("\"liked\"")) << session->heard;
  EXPECT_TRUE(holds(read("stderr"), "in use")) << read("stderr");
  sqlite3_close(other);
  const std::string id = events(session->heard)[0]["station"];
  session->say("next\n");
  ASSERT_TRUE(session->hear("\"played\""));
  const std::string loved = tracks(session->heard, "track")[0];
  EXPECT_EQ(history(id), (std::vector<std::string>{"liked: " + loved, "played: " + loved}));
  EXPECT_EQ(session->end(), 0);
}

TEST_F(Radio, TellsWhatCannotBe) {
  const auto made = radio({"--artist", "Artist A", "--popularity", "100"});
  made->say("settings\nsettings dmca on\nsettings similarity 1001\nrename\n" + std::string(9000, 'x') + "\nupcoming\n");
  EXPECT_EQ(made->end(), 1) << "some weren't understood";
  const std::vector<json> told = events(made->heard);
  EXPECT_EQ(told[0]["settings"], json::parse(R"({"popularity": 100, "dmca": false})")) << "an unset number isn't told";
  const json settings =
      *std::ranges::find(told.rbegin(), told.rend(), "settings", [](const json& e) { return e["event"]; });
  EXPECT_TRUE(settings["settings"]["dmca"] == true && settings["settings"]["popularity"] == 100) << settings;
  for (const char* part : {"similarity 1001", "rename", "4096"}) EXPECT_TRUE(holds(read("stderr"), part)) << part;

  const std::string id = told[0]["station"];
  EXPECT_EQ(run({"stations", "rename", id, "Evening radio"}).status, 0);
  EXPECT_TRUE(holds(run({"stations"}).out, id + "  Evening radio")) << run({"stations"}).out;

  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* told;
  } rows[] = {{{"radio", "--station", "no such"}, 1, "no station \"no such\""},
              {{"radio", "--station", ""}, 2, "--station"},
              {{"radio", "--station", id, "--genre", "Jazz"}, 2, "--station"},
              {{"radio", "--artist", "Artist A", "--player", "play 'it"}, 2, "quote"},
              {{"radio", "--artist", "Nobody"}, 1, "Nobody"},
              {{"radio", "--popularity", "1001"}, 2, "--popularity"},
              {{"stations", "history", "no such"}, 1, "no station"},
              {{"stations", "rename", id, ""}, 2, "NAME"},
              {{"stations", "remove", id}, 0, ""},
              {{"stations", "remove", id}, 1, "no station"},
              {{"radio", "--station", id}, 1, "no station"}};
  for (const auto& row : rows) {
    const outcome result = run(row.arguments);
    EXPECT_EQ(result.status, row.status) << row.told << result.error;
    EXPECT_TRUE(holds(result.error, row.told)) << result.error;
  }
}

}  // namespace
