// Real audio files, made by ffmpeg: the five formats, odd and broken ones, and what changes between two scans.
#include <sys/stat.h>
#include <utime.h>

#include <utility>

#include "catalogue.h"

namespace {

namespace fs = std::filesystem;

class Audio : public Catalogue {
 protected:
  void SetUp() override {
    Catalogue::SetUp();
    if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "ffmpeg isn't there to make audio files with";
    fs::create_directory(path("music"));
  }
  /** Makes a second of sound with tags, given as "KEY=text" each. */
  std::string make(const std::string& name, const std::vector<std::string>& tags, const std::string& codec = "") {
    std::string command = "ffmpeg -nostdin -v error -y -f lavfi -i sine=duration=1 " + codec;
    for (const std::string& tag : tags) command += " -metadata '" + tag + "'";
    const std::string file = path("music/" + name);
    EXPECT_EQ(std::system((command + " '" + file + "'").c_str()), 0) << command;
    return file;
  }
  std::string scan_music(pask_status expected = 0) { return scan(path("music"), expected); }
};

TEST_F(Audio, AllFormatsTellTheSame) {
  const std::string names[] = {"a.flac", "b.mp3", "c.ogg", "d.opus", "e.m4a"};
  for (const std::string& name : names)
    make(name,
         {"title=Été " + name, "artist=Sigrún", "album=Nótt", "album_artist=Sigrún", "genre=Dream Pop;Ambient",
          "date=1994-05-01", "track=3/9"},
         name == "c.ogg" ? "-c:a libvorbis" : "");
  EXPECT_EQ(scan_music(), "5 5 0 0 0 0");
  for (const std::string& name : names) {
    std::string told;
    for (const Item& found : search("ete " + name))
      for (const char* key :
           {VELOX_VAL_ARTIST, VELOX_VAL_ALBUM, VELOX_VAL_GENRE, VELOX_VAL_YEAR, VELOX_VAL_DURATION, VELOX_VAL_LOCATION})
        told += found.at(key) + "|";
    EXPECT_EQ(told, "Sigrún|Nótt|Dream Pop|1994|1|" + path("music/" + name) + "|");
  }
  EXPECT_EQ(counts().albums, 1u);
  EXPECT_EQ(counts().genres, 2u);
  expect_sound();
}

TEST_F(Audio, TagsAreReadByTheirRules) {
  const struct {
    const char* name;  // and the title, unless there is one
    std::vector<std::string> tags;
    const char *key, *expected;  // null for the number within the album
  } rows[] = {
      {"guest",
       {"ARTIST=Moss feat. Guest", "MUSICBRAINZ_TRACKID=0f0f-1", "MUSICBRAINZ_ARTISTID=aaaa-2"},
       VELOX_VAL_TUI,
       "0f0f-1"},
      {"host", {"ARTIST=Moss", "MUSICBRAINZ_ARTISTID=aaaa-2"}, VELOX_VAL_ARTIST_ID, "aaaa-2"},
      {"duet", {"ARTIST=Moss ft. Other"}, VELOX_VAL_ARTIST, "Moss ft. Other"},
      {"mood", {"ARTIST=Moss", "MOOD=Calm; Warm"}, VELOX_VAL_MOOD, "Calm"},
      {"first year", {"ARTIST=Moss", "DATE=2005", "ORIGINALDATE=1979-01-01"}, VELOX_VAL_ERA, "1970s"},
      {"no year", {"ARTIST=Moss", "DATE=0999"}, VELOX_VAL_YEAR, ""},
      {"untagged", {}, VELOX_VAL_ARTIST, "Unknown Artist"},
      {"owned", {"ALBUMARTIST=Owner"}, VELOX_VAL_ARTIST, "Owner"},
      {"stars", {"ARTIST=Moss", "RATING=4"}, VELOX_VAL_POPULARITY, "800"},
      {"percent", {"ARTIST=Moss", "RATING=60"}, VELOX_VAL_POPULARITY, "600"},
      {"share", {"ARTIST=Moss", "RATING=60", "FMPS_RATING=0.35"}, VELOX_VAL_POPULARITY, "350"},
      {"no rating", {"ARTIST=Moss", "RATING=200"}, VELOX_VAL_POPULARITY, "500"},
      {"disc", {"ARTIST=Moss", "DISCNUMBER=2", "TRACKNUMBER=123/200"}, nullptr, "2123"},
  };
  for (const auto& row : rows) make(row.name + std::string(".flac"), row.tags);
  make("several.flac", {"ARTIST=Many", "ALBUM=Hits", "COMPILATION=1"});
  EXPECT_EQ(scan_music(), "14 14 0 0 0 0");
  for (const auto& row : rows) {
    if (row.key)
      EXPECT_EQ(search(row.name).at(0).at(row.key), row.expected) << row.name;
    else
      EXPECT_EQ(query((std::string("SELECT count(*) FROM track WHERE number=") + row.expected).c_str()), 1) << row.name;
  }
  EXPECT_EQ(search("several").at(0).artist(), "Many");
  EXPECT_EQ(search("various", VELOX_CATALOG_ARTISTS).size(), 1u) << "a compilation's album is theirs";
  EXPECT_EQ(counts().artists, 5u) << "the guests make none";
}

TEST_F(Audio, AFileIsKnownByItsContentToo) {
  digests = true;
  const std::string a = make("a.flac", {"title=Alpha", "artist=A"});
  make("b.flac", {"title=Beta", "artist=A"});
  fs::copy(a, path("music/z.flac"));
  EXPECT_EQ(scan_music(), "3 2 0 0 0 0 0 1") << "the copy isn't taken in";
  EXPECT_EQ(scan_music(), "3 0 0 3 0 0 0 0");
  const auto at = [&](const char* title) {
    const std::vector<Item> found = search(title);
    return found.size() == 1 ? found[0].at(VELOX_VAL_LOCATION).substr(folder.size()) : std::to_string(found.size());
  };
  EXPECT_EQ(at("alpha"), "/music/a.flac");

  fs::create_directory(path("music/far"));
  fs::rename(path("music/b.flac"), path("music/far/new.flac"));
  EXPECT_EQ(scan_music(), "3 0 0 2 0 0 1 0");
  EXPECT_EQ(at("beta"), "/music/far/new.flac");

  fs::remove(a);
  EXPECT_EQ(scan_music(), "2 0 0 2 0 0 1 0") << "the copy takes the track's place";
  EXPECT_EQ(at("alpha"), "/music/z.flac");

  fs::copy(path("music/z.flac"), a);
  EXPECT_EQ(scan_music(), "3 0 0 2 0 0 0 1");
  make("z.flac", {"title=Gamma", "artist=A"});
  EXPECT_EQ(scan_music(), "3 0 1 2 0 0 0 0");
  EXPECT_EQ(at("alpha") + at("gamma"), "/music/a.flac/music/z.flac") << "another content makes a track of the copy";

  fs::copy(a, path("music/c.flac"));
  scan_music();
  make("a.flac", {"title=Delta", "artist=A"});
  make("c.flac", {"title=Epsilon", "artist=A"});
  EXPECT_EQ(scan_music(), "4 1 1 2 0 0 0 0") << "both have changed";
  fs::remove(path("music/c.flac"));
  EXPECT_EQ(scan_music(), "3 0 0 3 1 0 0 0");
  EXPECT_EQ(counts().tracks, 3u);

  fs::copy(path("music/z.flac"), path("music/m.flac"));
  make("z.flac", {"title=Omega", "artist=A"});
  EXPECT_EQ(scan_music().substr(0, 1), "4");
  EXPECT_EQ(at("gamma") + at("omega"), "/music/m.flac/music/z.flac") << "copied and changed between two scans";
  expect_sound();
}

TEST_F(Audio, OnlyWhatChangedIsReadAgain) {
  const std::string kept = make("kept.mp3", {"title=Kept", "artist=A"});
  const std::string changed = make("changed.ogg", {"title=Before", "artist=A"});
  const std::string gone = make("gone.flac", {"title=Gone", "artist=Only"});
  EXPECT_EQ(scan_music(), "3 3 0 0 0 0");
  EXPECT_EQ(scan_music(), "3 0 0 3 0 0");
  make("changed.ogg", {"title=After", "artist=A"});
  fs::remove(gone);
  EXPECT_EQ(scan_music(), "2 0 1 1 1 0");
  EXPECT_EQ(search("after").size() + search("before").size() + search("gone").size(), 1u);
  EXPECT_EQ(counts().artists, 1u);
  utimbuf earlier = {1000, 1000};
  utime(kept.c_str(), &earlier);
  EXPECT_EQ(scan(kept), "1 0 1 0 0 0") << "a single file can be taken in by itself";
  fs::rename(path("music"), path("moved"));
  scan_music(VELOX_STANDIN_ERR_NOT_FOUND);
  EXPECT_EQ(counts().tracks, 2u) << "a place that is away takes nothing with it";
  fs::rename(path("moved"), path("music"));
  EXPECT_EQ(scan_music(), "2 0 0 2 0 0");
  expect_sound();
}

TEST_F(Audio, WhatCantBeLookedAtKeepsItsTracks) {
  const std::string a = make("a.flac", {"title=Alpha", "artist=A"});
  fs::create_directory(path("music/below"));
  make("below/b.flac", {"title=Beta", "artist=A"});
  EXPECT_EQ(scan_music(), "2 2 0 0 0 0");
  fs::rename(path("music/below"), path("elsewhere"));
  for (const std::string& loop : {a, path("music/below")}) {
    fs::remove(loop);
    fs::create_symlink(loop, loop);  // can't be followed by anybody, root included
  }
  scan_music();
  EXPECT_EQ(search("alpha").size(), 1u) << "a link that leads nowhere may be a disk that is away";
  EXPECT_FALSE(problems.empty());
  fs::remove(a);
  scan_music();
  EXPECT_TRUE(search("alpha").empty()) << "gone is gone";
}

TEST_F(Audio, AnUnfinishedDownloadIsntReadToItsEnd) {
  write("music/large.mp3", "");
  fs::resize_file(path("music/large.mp3"),
                  uint64_t{1} << 36);  // all zeros, and no room taken: hours of looking for a beginning
  EXPECT_EQ(scan_music(), "1 0 0 0 0 1");
}

TEST_F(Audio, TwoScansOfOneNewFolderAtOnceMakeNoTwins) {
  for (const char* name : {"a.flac", "b.flac", "c.flac"}) make(name, {std::string("title=") + name, "artist=A"});
  velox_catalog_handle second = nullptr;
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_CREATE, &second), 0u);
  bool once = false;
  on_step = [&](const auto&) {  // the first scan has read a file, and knows of nothing that the second one puts
    velox_catalog_scan_report report = {};
    if (!std::exchange(once, true)) {
      EXPECT_EQ(velox_catalog_scan(second, path("music").c_str(), nullptr, &report), 0u);
    }
    return 0;
  };
  scan_music();
  velox_catalog_close(second);
  EXPECT_EQ(counts().tracks, 3u);
  expect_sound();
}

}  // namespace
