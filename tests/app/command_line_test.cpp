/* The command line: help, usage errors, exit statuses, the place of the catalogue, and where output goes. */
#include <algorithm>

#include "program.h"

using testing::Test;

namespace {

using CommandLine = Program;
namespace fs = std::filesystem;

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST_F(CommandLine, TellsUsageErrorsWithStatus2) {
  const std::vector<std::string> seven_seeds = {"recommend", "--track",  "a",       "--track", "b",
                                                "--artist",  "c",        "--album", "d",       "--album",
                                                "e",         "--artist", "f",       "--track", "g"};
  const struct {
    std::vector<std::string> arguments;
    std::string told;
  } rows[] = {
      {{}, "no command given"},
      {{"shuffle"}, "shuffle"},
      {{"scan"}, "PLACE"},
      {{"search"}, "TEXT"},
      {{"search", "a", "--limit", "0"}, "--limit"},
      {{"lists", "tempos"}, "tempos"},
      {{"recommend"}, "nothing to start from"},
      {{"recommend", "--count", "10"}, "nothing to start from"},
      {seven_seeds, "six seeds"},
      {{"recommend", "--artist", ""}, "empty"},
      {{"recommend", "--artist", "a", "--count", "many"}, "--count"},
      {{"recommend", "--artist", "a", "--count", "0"}, "--count"},
      {{"recommend", "--artist", "a", "--rotation", "sideways"}, "--rotation"},
      {{"recommend", "--artist", "a", "--json", "--m3u"}, "--m3u"},
      {{"recommend", "--artist", "a", "--\x1b[31mred"}, "red"},
  };
  for (const auto& row : rows) {
    const outcome result = run(row.arguments);
    EXPECT_EQ(result.status, 2) << row.told;
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(holds(result.error, row.told)) << result.error;
    EXPECT_TRUE(holds(result.error, "run: cadenz ") && holds(result.error, "--help")) << result.error;
    EXPECT_FALSE(holds(result.error, "\x1b")) << result.error;
  }
}

TEST_F(CommandLine, AsManyWordsAsAnybodyLikesAreNoTrouble) {
  write("sixty.tsv", sixty_tracks());
  ASSERT_EQ(run({"scan", path("sixty.tsv")}).status, 0);
  std::string words;
  for (int i = 0; i < 10000; ++i) words += "word" + std::to_string(i) + ' ';
  const outcome result = run({"search", words});
  EXPECT_EQ(result.status, 1);
  EXPECT_LT(result.error.size(), 1000u) << "of which few are told again";
}

TEST_F(CommandLine, HelpAndVersionAreResults) {
  const outcome version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "cadenz 3.10.1\n");
  for (const char* command : {"", "scan", "search", "lists", "recommend"}) {
    const outcome help =
        run(*command ? std::vector<std::string>{command, "--help"} : std::vector<std::string>{"--help"});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_TRUE(holds(help.out, "Usage: cadenz")) << help.out;
    EXPECT_EQ(help.error, "");
  }
  EXPECT_TRUE(holds(run({"--help"}).out, "Examples:"));
}

TEST_F(CommandLine, FindsTheCataloguesPlace) {
  write("one.tsv", "title\tartist\nA\tB\n");
  const std::string home_folder = "HOME=" + home.string();
  const struct {
    std::vector<std::string> environment, options;
    std::string file;
  } rows[] = {
      {{home_folder}, {}, ".local/share/cadenz/catalog.db"},
      {{home_folder, "XDG_DATA_HOME=" + path("data")}, {}, "data/cadenz/catalog.db"},
      {{home_folder, "XDG_DATA_HOME=" + path("data"), "CADENZ_CATALOG=" + path("env.db")}, {}, "env.db"},
      {{home_folder, "CADENZ_CATALOG=" + path("env.db")}, {"--catalog", path("a b/named.db")}, "a b/named.db"},
  };
  for (const auto& row : rows) {
    fs::remove(path("env.db"));
    environment = row.environment;
    const auto with_options = [&](std::vector<std::string> arguments) {
      arguments.insert(arguments.end(), row.options.begin(), row.options.end());
      return run(arguments);
    };
    const outcome missing = with_options({"search", "A"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(holds(missing.error, row.file) && holds(missing.error, "run: cadenz scan FOLDER")) << missing.error;
    EXPECT_EQ(with_options({"scan", path("one.tsv")}).status, 0);
    EXPECT_TRUE(fs::exists(path(row.file))) << row.file;
    EXPECT_EQ(with_options({"search", "A"}).status, 0);
  }
}

TEST_F(CommandLine, LeavesAForeignFileAsItWas) {
  const std::string text = "this is no database, and it is dear to somebody\n";
  write("catalog.db", text);
  write("one.tsv", "title\tartist\nA\tB\n");
  for (const auto& arguments : {std::vector<std::string>{"scan", path("one.tsv")}, {"search", "A"}}) {
    const outcome result = run(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(holds(result.error, "catalog.db")) << result.error;
  }
  EXPECT_EQ(fs::file_size(path("catalog.db")), text.size());
}

TEST_F(CommandLine, AFullDiskFailsAndAGoneReaderDoesNot) {
  write("sixty.tsv", sixty_tracks());
  ASSERT_EQ(run({"scan", path("sixty.tsv")}).status, 0);
  const outcome full = run({"search", "Song"}, "/dev/full");
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(holds(full.error, "No space left")) << full.error;

  const std::string command = std::string(CADENZ_PROGRAM) + " search Song --limit 1000 --json --catalog " +
                              path("catalog.db") + " 2>" + path("told") + " | true; echo ${PIPESTATUS[0]} >" +
                              path("status");
  ASSERT_EQ(std::system(("bash -c '" + command + "'").c_str()), 0);
  EXPECT_EQ(fs::file_size(path("told")), 0u);
  EXPECT_EQ(fs::file_size(path("status")), 2u);  // "0\n"
}

/** Columns that a line of plain letters, two-column letters and our styles takes. */
size_t columns_of(const std::string& line) {
  size_t columns = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    if (byte == 0x1b) {
      i = line.find('m', i);
    } else if (byte >= 0xc0 || (byte >= 0x20 && byte < 0x80)) {
      columns += byte >= 0xe4 && byte <= 0xe9 ? 2 : 1;  // ideographs
    }
  }
  return columns;
}

TEST_F(CommandLine, NothingFromTagsActsOnATerminalAndTablesFitIt) {
  const std::string hostile =
      "\x1b[31m\x1b]0;gotcha\x07 \x9b"
      "5m \xc2\x9b"
      "6m \xff\xfe \xe2\x80\xae"
      "back\x7f\x08";
  write("odd.tsv",
        "title\tartist\talbum\tgenre\tmood\tdate\n"
        "Tune " +
            hostile + "\tBand " + hostile + "\tDisc " + hostile + "\tG" + hostile +
            "\tM\t1999\n"
            "Tune \xe6\x9d\xb1\xe4\xba\xac\xe6\x9d\xb1\xe4\xba\xac\xe6\x9d\xb1\xe4\xba\xac\tBand " +
            std::string(5000, 'x') + "\tDisc\tG2\tM\t1999\n");
  run({"scan", path("odd.tsv")});

  const std::vector<std::string> commands[] = {{"search", "Tune"},
                                               {"lists"},
                                               {"recommend", "--mood", "M", "--explain"},
                                               {"search", "Tune", "--json"},
                                               {"recommend", "--mood", "M", "--xspf"},
                                               {"recommend", "--mood", "M", "--m3u"}};
  for (const auto& arguments : commands) {
    for (const unsigned width : {20u, 47u, 200u}) {
      const outcome shown = run_on_terminal(arguments, width);
      EXPECT_EQ(shown.status, 0) << shown.out;
      std::string rest = shown.out;
      for (const std::string own : {"\x1b[1m", "\x1b[2m", "\x1b[0m", "\r\n"})
        for (size_t at; (at = rest.find(own)) != std::string::npos;)
          rest.replace(at, own.size(), own == "\r\n" ? "\n" : "");
      for (const std::string harmful : {"\x1b", "\r", "\x07", "\x7f", "\x08", "\xc2\x9b", "\xff", "\xe2\x80\xae"})
        EXPECT_FALSE(holds(rest, harmful)) << arguments[0] << ' ' << static_cast<int>(harmful[0]);

      const bool table = !std::count(arguments.begin(), arguments.end(), "--json") && arguments.back() != "--xspf" &&
                         arguments.back() != "--m3u";
      for (size_t at = 0, end; table && (end = rest.find('\n', at)) != std::string::npos; at = end + 1)
        EXPECT_LE(columns_of(rest.substr(at, end - at)), width) << rest;
    }
  }

  EXPECT_TRUE(holds(run_on_terminal({"lists"}, 80).out, "\x1b[1m"));
  environment.push_back("NO_COLOR=1");
  EXPECT_FALSE(holds(run_on_terminal({"lists"}, 80).out, "\x1b"));
  EXPECT_FALSE(holds(run({"lists"}).out, "\x1b"));
}

}  // namespace
