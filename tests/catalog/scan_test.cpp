// Opening catalogues and filling them from tab-separated files: what is taken in, what is refused, and that the catalogue is
// sound after whatever happens.
#include <sys/resource.h>

#include <csignal>

#include "catalogue.h"

namespace {

class Scan : public Catalogue {
 protected:
  static std::string rows(int from, int to, const std::string& extra = "") {
    std::string text = "title\tartist\talbum\tgenre\n";
    for (int i = from; i < to; ++i)
      text += "Song " + std::to_string(i) + "\tArtist " + std::to_string(i / 10) + "\tAlbum " + std::to_string(i / 5) +
              "\tGenre " + std::to_string(i % 7) + extra + "\n";
    return text;
  }
};

TEST_F(Scan, ATableIsTakenInOnceAndThenByWhatChanged) {
  const std::string table = write("music.tsv", rows(0, 100));
  EXPECT_EQ(scan(table), "100 100 0 0 0 0");
  EXPECT_EQ(scan(table), "100 0 0 100 0 0");
  write("music.tsv", rows(50, 120));
  EXPECT_EQ(scan(table), "70 20 0 50 50 0");
  expect_sound();
  EXPECT_EQ(counts().tracks, 70u);
  EXPECT_EQ(counts().artists, 7u);
  EXPECT_EQ(counts().albums, 14u);
  EXPECT_TRUE(search("Song 3").empty());

  write("music.tsv", "title\tartist\ttrack_tui\tpopularity\nSame\tOne\tid-1\t10\n");
  EXPECT_EQ(scan(table), "1 1 0 0 70 0");
  write("music.tsv", "title\tartist\ttrack_tui\tpopularity\nSame\tOne\tid-1\t900\n");
  EXPECT_EQ(scan(table), "1 0 1 0 0 0") << "a changed line of the same identifier is the same track";
  EXPECT_EQ(search("same").at(0).number(VELOX_VAL_POPULARITY), 900);
  write("other.tsv", "title\tartist\tpath\nElse\tTwo\tsongs/else.ogg\n");
  EXPECT_EQ(scan(path("other.tsv")), "1 1 0 0 0 0") << "another table leaves the first one's tracks alone";
  EXPECT_EQ(search("else").at(0).at(VELOX_VAL_LOCATION), path("songs/else.ogg")) << "beside the table";
  EXPECT_EQ(counts().tracks, 2u);
  expect_sound();
}

TEST_F(Scan, ATextFromAnywhereIsTakenInAsAFileIs) {
  struct source {
    std::string text;
    size_t at, step;
    pask_status at_end;
  };
  const auto read = [](void* context, void* buffer, uint32_t size, uint32_t* got) -> pask_status {
    auto* from = static_cast<source*>(context);
    if (from->at == from->text.size() && from->at_end) return from->at_end;
    *got = static_cast<uint32_t>(std::min({size_t{size}, from->step, from->text.size() - from->at}));
    from->text.copy(static_cast<char*>(buffer), *got, from->at);
    from->at += *got;
    return 0;
  };
  const std::string file = write("music.tsv", rows(0, 50));
  EXPECT_EQ(scan(file), "50 50 0 0 0 0");
  velox_catalog_scan_report report = {};
  for (const size_t step : {1u, 7u, 1000000u}) {
    source from{rows(0, 50), 0, step, 0};
    EXPECT_EQ(velox_catalog_import(catalog, file.c_str(), read, &from, nullptr, &report), 0u) << message();
    EXPECT_EQ(report.unchanged, 50u) << "the same tracks under the same name, " << step << " bytes at a time";
  }
  source broken{rows(0, 50), 0, 100, 0x90030099};
  EXPECT_EQ(velox_catalog_import(catalog, file.c_str(), read, &broken, nullptr, &report), 0x90030099u);
  EXPECT_EQ(counts().tracks, 50u) << "what wasn't read isn't gone";
}

TEST_F(Scan, BrokenLinesAreToldAndTheRestGoesOn) {
  const std::string table = write("broken.tsv",
                                  "\xef\xbb\xbf# a comment\r\n"
                                  "popularity\tartist\ttitle\tdate\tduration\tunknown\r\n"
                                  "10\tA\tGood\t1994-03-01\t200\tx\r\n"
                                  "10\t\tNo artist\t\t\t\r\n"
                                  "many\tA\tBad number\t\t\t\r\n"
                                  "1001\tA\tToo popular\t\t\t\r\n"
                                  "10\tA\tBad date\tyesterday\t\t\r\n"
                                  "10\tA\tBad time\t1990\t-3\t\r\n"
                                  "1\t2\t3\t4\t5\t6\t7\r\n"
                                  "\r\n"
                                  "10\tA\tShort");
  EXPECT_EQ(scan(table), "8 2 0 0 0 6");
  ASSERT_EQ(problems.size(), 6u);
  EXPECT_EQ(problems[0].rfind(table + ":4: ", 0), 0u) << problems[0];
  EXPECT_EQ(problems[5].rfind(table + ":9: ", 0), 0u) << problems[5];
  const Item good = search("good").at(0);
  EXPECT_EQ(good.at(VELOX_VAL_ERA) + " " + good.at(VELOX_VAL_YEAR) + " " + good.at(VELOX_VAL_DURATION),
            "1990s 1994 200");
  scan(write("notes.txt", "x"), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(counts().tracks, 2u);
}

TEST_F(Scan, WhatStrangersWriteComesInClean) {
  scan(write("strange.tsv",
             "title\tartist\tgenre\n"
             "\x1b]0;title\x07\x1b[31mRed\x07\tCaf\xe9 Noir\tRock; ;Rock;\x9b 2J Pop\n"
             "\x01\x02\tNobody\t\n"));
  EXPECT_EQ(search("red").at(0).title() + ", " + search("red").at(0).artist(), "Red, Café Noir");
  EXPECT_EQ(counts().genres, 2u);
  EXPECT_EQ(problems.size(), 1u) << "nothing is left of a title";
}

TEST_F(Scan, AnEndedScanGoesOnWhereItWas) {
  const std::string table = write("long.tsv", rows(0, 3000));
  on_step = [](const auto& so_far) { return so_far.added >= 1000; };
  scan(table, VELOX_STANDIN_ERR_ABORTED);
  const uint64_t kept = counts().tracks;
  EXPECT_GE(kept, 1000u);
  EXPECT_LT(kept, 3000u);
  expect_sound();
  on_step = nullptr;
  EXPECT_EQ(scan(table), "3000 " + std::to_string(3000 - kept) + " 0 " + std::to_string(kept) + " 0 0");
  expect_sound();
}

TEST_F(Scan, AFullDiskLeavesTheCatalogueAsItWas) {
  scan(write("first.tsv", rows(0, 50)));
  close();
  rlimit before = {};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight = {400 << 10, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const std::string table = write("large.tsv", rows(1000, 9000, "; and a genre that makes the line longer"));
  open();
  setrlimit(RLIMIT_FSIZE, &tight);
  EXPECT_EQ(scan(table, VELOX_STANDIN_ERR_CATALOG), "8000 0 0 0 0 0") << "what is told is what is kept";
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_NE(message().find(path("catalogue.db")), std::string::npos) << message();
  EXPECT_EQ(counts().tracks, 50u);
  expect_sound();
  EXPECT_EQ(scan(table), "8000 8000 0 0 0 0");
}

TEST_F(Scan, AScanHoldsNothingWhileItReadsAndWaitsForAnotherWriter) {
  const std::string table = write("a.tsv", rows(0, 600)), other = write("b.tsv", "title\tartist\nB\tB\n");
  velox_catalog_handle second = nullptr;
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_CREATE, &second), 0u);
  velox_catalog_scan_report report = {};
  on_step = [&](const auto&) {
    EXPECT_EQ(velox_catalog_scan(second, other.c_str(), nullptr, &report), 0u) << "between two lines of the first scan";
    return 0;
  };
  scan(table);
  EXPECT_EQ(counts().tracks, 601u);
  on_step = nullptr;

  sqlite3* third = nullptr;
  sqlite3_open(path("catalogue.db").c_str(), &third);
  sqlite3_exec(third, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  write("b.tsv", "title\tartist\nB\tB\nC\tC\n");
  EXPECT_EQ(velox_catalog_scan(second, other.c_str(), nullptr, &report), VELOX_STANDIN_ERR_CATALOG);
  EXPECT_NE(message().find("in use"), std::string::npos) << message();
  sqlite3_exec(third, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(third);
  EXPECT_EQ(velox_catalog_scan(second, other.c_str(), nullptr, &report), 0u) << "and can go on when it is free";
  EXPECT_EQ(counts().tracks, 602u);
  velox_catalog_close(second);
}

TEST_F(Scan, OnlyCataloguesOfOursAreOpened) {
  scan(write("some.tsv", rows(0, 10)));
  close();
  const auto open_at = [](const std::string& where, uint32_t mode) {
    velox_catalog_handle opened = nullptr;
    const pask_status status = velox_catalog_open(where.c_str(), mode, &opened);
    EXPECT_EQ(opened == nullptr, status != 0);
    velox_catalog_close(opened);
    return status;
  };
  const auto bytes_of = [&](const char* name) {
    std::ifstream in(path(name), std::ios::binary);
    return std::string{std::istreambuf_iterator<char>(in), {}};
  };
  const std::string ours = bytes_of("catalogue.db");
  std::string newer = ours, foreign = ours;
  newer[63] = 99;
  foreign[68] = 0;
  struct {
    const char* name;
    std::string text;
    const char* told;
  } const cases[] = {{"newer.db", newer, "newer version"},
                     {"foreign.db", foreign, "isn't a music catalogue"},
                     {"text.db", "Dear diary", "isn't a music catalogue"}};
  for (const auto& each : cases) {
    write(each.name, each.text);
    for (const uint32_t mode : {VELOX_CATALOG_READ, VELOX_CATALOG_CREATE}) {
      EXPECT_EQ(open_at("sqlite:" + path(each.name), mode), VELOX_STANDIN_ERR_CATALOG) << each.name;
      EXPECT_NE(message().find(each.told), std::string::npos) << message();
    }
    EXPECT_EQ(bytes_of(each.name), each.text) << each.name;
  }
  EXPECT_EQ(open_at("sqlite:" + path("none.db"), VELOX_CATALOG_READ), VELOX_STANDIN_ERR_CATALOG);
  EXPECT_FALSE(std::filesystem::exists(path("none.db")));
  EXPECT_EQ(open_at("http://example", VELOX_CATALOG_READ), VELOX_STANDIN_ERR_UNSUPPORTED);
  EXPECT_EQ(open_at("sqlite:" + path("deep/er/c.db"), VELOX_CATALOG_CREATE), 0u);
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_READ, &catalog), 0u);
  scan(path("some.tsv"), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(counts().tracks, 10u);
}

}  // namespace
