/* Recommendations: seeds, filters, options and the forms of the answer, on a catalogue of sixty tracks. */
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <nlohmann/json.hpp>

#include "program.h"

namespace {

namespace fs = std::filesystem;

using nlohmann::json;

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class Recommend : public Program {
 protected:
  void SetUp() override {
    write("sixty.tsv", sixty_tracks());
    write("odd.tsv",
          "title\tartist\tgenre\tpath\n"
          "Same Name\t[dunkelbunt]\tBalkan <&> \"Beat\"\t/m/a\xff&<b>.ogg\n"
          "Same Name\tOther, One\tBalkan <&> \"Beat\"\t#hash.ogg\n"
          "Tag \x1b[1m\x01 ]]> \xff end\tOther, One\tBalkan <&> \"Beat\"\t\n");
    ASSERT_EQ(run({"scan", path("sixty.tsv")}).status, 0);
    run({"scan", path("odd.tsv")});
  }

  json answer(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "recommend");
    arguments.push_back("--json");
    const outcome given = run(arguments);
    EXPECT_EQ(given.status, 0) << given.error;
    json parsed = json::parse(given.out, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << given.out;
    return parsed;
  }
};

TEST_F(Recommend, TakesSeedsInTheirOrderAndByTheirNames) {
  const json given = answer({"--artist", "artist b", "--track", "Song A1", "--album", "Album C", "--artist",
                             "[dunkelbunt]", "--track", "Other, One - Same Name", "--track=Song D4"});
  std::vector<std::string> seeds;
  for (const json& seed : given["seeds"])
    seeds.push_back(seed["kind"].get<std::string>() + ':' + seed.value("title", "") + ':' +
                    seed["artist"].get<std::string>());
  EXPECT_EQ(seeds,
            (std::vector<std::string>{"artist::Artist B", "track:Song A1:Artist A", "album:Album C:Artist C",
                                      "artist::[dunkelbunt]", "track:Same Name:Other, One", "track:Song D4:Artist D"}));
  EXPECT_FALSE(given["tracks"].empty());
  for (const json& track : given["tracks"]) {
    EXPECT_FALSE(track["reason"]["text"].get<std::string>().empty());
    EXPECT_FALSE(track["title"] == "Song A1") << "a seed comes back";
  }
}

TEST_F(Recommend, HonoursFiltersAndChoices) {
  const auto all = [](const json& given, auto holds_for) {
    EXPECT_FALSE(given["tracks"].empty());
    for (const json& track : given["tracks"]) EXPECT_TRUE(holds_for(track)) << track;
  };
  all(answer({"--genre", "jazz"}), [](const json& t) { return t["genres"][0] == "Jazz"; });
  all(answer({"--era", "90s"}), [](const json& t) { return t["year"] == 1994; });
  all(answer({"--era", "1994", "--mood", "CALM"}),
      [](const json& t) { return t["year"] == 1994 && t["moods"][0] == "Calm"; });
  all(answer({"--artist", "Artist A", "--from", "Artist B"}), [](const json& t) { return t["artist"] == "Artist B"; });
  all(answer({"--genre", "Dream Pop", "--from", "/music/C/"}), [](const json& t) { return t["artist"] == "Artist C"; });

  const json few = answer({"--genre", "Jazz", "--count", "7", "--max-per-artist", "3"});
  EXPECT_EQ(few["tracks"].size(), 7u);
  std::map<std::string, int> per_artist;
  for (const json& track : few["tracks"]) EXPECT_LE(++per_artist[track["artist"]], 3);
  EXPECT_EQ(few["filters"], json::parse(R"([{"kind": "genre", "name": "Jazz"}])"));

  const std::vector<std::string> same = {"--track",      "Song B2", "--rotation",   "radio",
                                         "--popularity", "900",     "--similarity", "100"};
  EXPECT_EQ(answer(same), answer(same));
}

TEST_F(Recommend, SaysWhatToDoWhenANameIsUnknown) {
  const struct {
    std::vector<std::string> arguments;
    std::string told, next;
  } rows[] = {
      {{"--artist", "Artst A"}, "no artist \"Artst A\"", "Artist A"},
      {{"--track", "Sogn A1"}, "no track", "Song A1"},
      {{"--album", "Nowhere Near Anything"}, "no album", "cadenz search"},
      {{"--genre", "Jaz"}, "no genre", "Jazz"},
      {{"--genre", "Beat"}, "no genre", "Balkan"},
      {{"--mood", "Quite Another"}, "no mood", "cadenz lists moods"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = row.arguments;
    arguments.insert(arguments.begin(), "recommend");
    const outcome result = run(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(holds(result.error, row.told) && holds(result.error, row.next)) << result.error;
  }
  const outcome ambiguous = run({"recommend", "--track", "Same Name"});
  EXPECT_TRUE(holds(ambiguous.error, "Artist - Title")) << ambiguous.error;
  EXPECT_EQ(run({"search", "zzzz"}).status, 1);
  EXPECT_EQ(run({"recommend", "--genre", "Jazz", "--timeout", "0"}).status, 1);
}

TEST_F(Recommend, ShowsATable) {
  const outcome plain = run({"recommend", "--artist", "Artist A", "--genre", "Dream Pop"});
  EXPECT_TRUE(holds(plain.out, "From Artist A; genre Dream Pop")) << plain.out;
  EXPECT_TRUE(holds(plain.out, "Title") && holds(plain.out, "Song ")) << plain.out;
  const outcome explained = run({"recommend", "--artist", "Artist A", "--genre", "Dream Pop", "--explain"});
  EXPECT_GT(std::count(explained.out.begin(), explained.out.end(), '\n'),
            std::count(plain.out.begin(), plain.out.end(), '\n'));
}

TEST_F(Recommend, WritesM3u) {
  std::vector<std::string> command = {"recommend", "--artist",     "Artist A",
                                      "--artist",  "[dunkelbunt]", "--genre",
                                      "Dream Pop", "--genre",      "Balkan <&> \"Beat\"",
                                      "--count",   "60",           "--max-per-artist",
                                      "60",        "--m3u"};
  const outcome list = run(command);
  EXPECT_EQ(list.out.rfind("#EXTM3U\n#", 0), 0u) << list.out;
  EXPECT_TRUE(holds(list.out, "\n/music/A/100% \xc3\xa9 ")) << list.out;
  EXPECT_TRUE(holds(list.out, "\n# no file: ")) << list.out;
  EXPECT_FALSE(holds(list.out, "\x1b") || holds(list.out, "\n\n")) << list.out;
  EXPECT_TRUE(holds(list.out, "#EXTINF:18")) << list.out;

  command.back() = "--output";
  command.push_back(path("list.m3u"));
  EXPECT_EQ(run(command).out, "");
  EXPECT_EQ(read("list.m3u"), list.out) << "a file's name tells its form";
}

TEST_F(Recommend, WritesAFileAsAWholeOrNotAtAll) {
  const auto written = [&](const std::string& name) {
    return run({"recommend", "--artist", "Artist A", "--m3u", "-o", name});
  };
  const std::string list = run({"recommend", "--artist", "Artist A", "--m3u"}).out;
  const std::string dear = "dear to somebody";
  write("list.m3u", "before");
  fs::permissions(path("list.m3u"), fs::perms(0640));
  write("list.m3u.part", dear);
  fs::create_symlink(path("list.m3u"), path("link.m3u"));
  EXPECT_EQ(written(path("link.m3u")).status, 0);
  EXPECT_TRUE(fs::is_symlink(path("link.m3u")) && read("list.m3u") == list && read("list.m3u.part") == dear);
  EXPECT_EQ(fs::status(path("list.m3u")).permissions(), fs::perms(0640));

  fs::create_symlink("/dev/full", path("full.m3u"));
  fs::create_symlink(path("loop"), path("loop"));
  fs::create_directory(path("folder"));
  const std::pair<std::string, const char*> refused[] = {{path("no folder/list.m3u"), "No such file"},
                                                         {path("full.m3u"), "No space left"},
                                                         {path("loop"), "symbolic links"},
                                                         {path("folder"), "is a folder"},
                                                         {path("catalog.db"), "the catalogue itself"},
                                                         {path(std::string(256, 'x')), "too long"}};
  for (const auto& [name, why] : refused) {
    const outcome result = written(name);
    EXPECT_TRUE(result.status == 1 && holds(result.error, why) && holds(result.error, name)) << result.error;
  }
  EXPECT_TRUE(fs::is_symlink(path("full.m3u")) && run({"search", "Song"}).status == 0);
  for (const auto& entry : fs::directory_iterator(home))
    EXPECT_FALSE(holds(entry.path().string(), ".cadenz-")) << entry;

  const auto to_pipe = start({"recommend", "--artist", "Artist A", "--m3u", "-o", "/dev/stdout"});
  EXPECT_EQ(to_pipe->end(), 0) << read("stderr");
  EXPECT_EQ(to_pipe->heard, list);
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const auto unread = start({"recommend", "--artist", "Artist A", "--m3u", "-o", path("fifo")});
  usleep(300'000);
  unread->signal(SIGINT);
  EXPECT_EQ(unread->end(), 1) << "nobody opens the other end";
  EXPECT_TRUE(holds(read("stderr"), "interrupted")) << read("stderr");
}

/** Empty when a text is well-formed XML of elements, attributes and the five entities; otherwise what is wrong. */
std::string xml_fault(const std::string& text) {
  std::vector<std::string> open;
  size_t at = text.find("?>");
  if (text.rfind("<?xml", 0) != 0 || at == std::string::npos) return "no declaration";
  for (at += 2; at < text.size();) {
    if (text[at] == '<') {
      const size_t end = text.find('>', at);
      const std::string tag = text.substr(at + 1, end - at - 1);
      if (end == std::string::npos || tag.find('<') != std::string::npos) return "a broken tag " + tag;
      if (tag[0] != '/') {
        open.push_back(tag.substr(0, tag.find(' ')));
      } else {
        if (open.empty() || open.back() != tag.substr(1)) return "a wrong end " + tag;
        open.pop_back();
      }
      at = end + 1;
    } else if (text[at] == '&') {
      const std::string name = text.substr(at + 1, text.find(';', at) - at - 1);
      if (name != "amp" && name != "lt" && name != "gt" && name != "quot" && name != "apos") return "an entity " + name;
      at += name.size() + 2;
    } else if (text[at] == '>' || (static_cast<unsigned char>(text[at]) < 0x20 && text[at] != '\n') ||
               text[at] == '\xff') {
      return "a bad character at " + text.substr(at, 20);
    } else {
      ++at;
    }
  }
  return open.empty() ? "" : "not closed: " + open.back();
}

TEST_F(Recommend, WritesWellFormedXspf) {
  ASSERT_NE(xml_fault("<?xml?><a>&x;</a>"), "");
  const outcome list =
      run({"recommend", "--track", "Song A1", "--track", "[dunkelbunt] - Same Name", "--genre", "Dream Pop", "--genre",
           "Balkan <&> \"Beat\"", "--count", "60", "--max-per-artist", "60", "--xspf", "--explain"});
  EXPECT_EQ(list.status, 0) << list.error;
  EXPECT_EQ(xml_fault(list.out), "") << list.out;
  EXPECT_TRUE(holds(list.out, "<location>file:///music/A/100%25%20%C3%A9%20")) << list.out;
  EXPECT_TRUE(holds(list.out, "<annotation>")) << list.out;
  EXPECT_TRUE(holds(list.out, "Tag ") && holds(list.out, "]]&gt;")) << list.out;
}

}  // namespace
