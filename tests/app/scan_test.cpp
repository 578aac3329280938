/* Scanning: tab-separated files, audio files made on the spot, odd and broken ones among them, and interrupts. */
#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "program.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class Scan : public Program {
 protected:
  json search(const std::string& words) const {
    const outcome found = run({"search", words, "--tracks", "--json", "--limit", "1000"});
    return json::parse(found.out, nullptr, false);
  }
};

TEST_F(Scan, TakesInWhatIsSoundOfATabSeparatedFile) {
  write("some.tsv",
        "title\tartist\tgenre\tyear_of_the_cat\n"
        "Good One\tSomebody\tJazz\tx\n"
        "no artist in this line\n"
        "\tNobody\tJazz\t\n"
        "Good Two\tSomebody\tJazz; Pop\t\n");
  const outcome scanned = run({"scan", path("some.tsv")});
  EXPECT_EQ(scanned.status, 1);
  EXPECT_TRUE(holds(scanned.error, "some.tsv:3")) << scanned.error;
  EXPECT_TRUE(holds(scanned.error, "some.tsv:4")) << scanned.error;
  EXPECT_TRUE(holds(scanned.out, "2 new") && holds(scanned.out, "2 failed")) << scanned.out;
  EXPECT_EQ(search("Good").size(), 2u);

  write("some.tsv", "title\tartist\nGood Three\tSomebody\n");
  EXPECT_TRUE(holds(run({"scan", path("some.tsv")}).out, "1 seen: 1 new, 0 changed, 0 unchanged, 2 gone, 0 failed\n"));
  EXPECT_EQ(search("Good").size(), 1u);

  const auto from_input = start({"scan", "-"});
  from_input->say("title\tartist\nGood Four\tSomebody\n");
  EXPECT_EQ(from_input->end(), 0) << read("stderr");
  EXPECT_EQ(search("Good").size(), 2u);
  EXPECT_EQ(run({"scan", "-"}).status, 1) << "an empty table";
  EXPECT_EQ(search("Good").size(), 2u);

  for (const char* text : {"", "name\tband\nA\tB\n", "\xff\xfe\x00\x01"}) {
    write("bad.tsv", text);
    const outcome bad = run({"scan", path("bad.tsv")});
    EXPECT_EQ(bad.status, 1) << text;
    EXPECT_TRUE(holds(bad.error, "bad.tsv")) << bad.error;
  }
  EXPECT_EQ(search("Good").size(), 2u);

  const outcome missing = run({"scan", path("not there"), path("some.tsv")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(holds(missing.error, "not there") && holds(missing.out, "1 unchanged")) << missing.error << missing.out;
}

class ScanAudio : public Scan {
 protected:
  void SetUp() override {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "ffmpeg makes the audio files, and isn't here";
    fs::create_directories(path("music"));
  }

  /** A second of sound with tags, given as key=value. */
  void make(const std::string& name, const std::vector<std::string>& tags) const {
    std::string command = "ffmpeg -loglevel error -y -f lavfi -i sine=duration=1 -map_metadata -1";
    for (const std::string& tag : tags) command += " -metadata '" + tag + "'";
    if (name.ends_with(".opus")) command += " -c:a libopus";
    if (name.ends_with(".ogg")) command += " -c:a libvorbis";
    ASSERT_EQ(std::system((command + " '" + path("music/" + name) + "'").c_str()), 0) << name;
  }
};

/** An ID3v2.3 tag with one title and one artist, whose bytes are no UTF-8 though the tag says so. */
std::string bad_id3(const std::string& title, const std::string& artist) {
  const auto frame = [](const std::string& id, const std::string& text) {
    return id + std::string(3, '\0') + static_cast<char>(text.size() + 1) + std::string(2, '\0') + '\x03' + text;
  };
  const std::string frames = frame("TIT2", title) + frame("TPE1", artist);
  return "ID3\x04" + std::string(5, '\0') + static_cast<char>(frames.size()) + frames;
}

TEST_F(ScanAudio, ToldOfBrokenFilesAndGoesOn) {
  make("whole.flac", {"title=Whole", "artist=Solist"});
  make("bare.mp3", {});
  make("odd.ogg", {"title=Odd \x1b[31mred\x07 " + std::string(20000, 'y'), "artist=\xe2\x80\xaeSolist"});
  make("raw.mp3", {});
  {  // the sound of one file behind a tag of bad bytes
    std::string sound(fs::file_size(path("music/raw.mp3")), '\0');
    FILE* file = std::fopen(path("music/raw.mp3").c_str(), "rb");
    ASSERT_EQ(std::fread(sound.data(), 1, sound.size(), file), sound.size());
    std::fclose(file);
    write("music/raw.mp3", bad_id3("Rawtitle \xff\xfe\xc3", "Rawartist \xed\xa0\x80") + sound);
  }
  make("cut.flac", {"title=Cut", "artist=Solist"});
  fs::resize_file(path("music/cut.flac"), 30);
  write("music/not audio.mp3", std::string(5000, 'z'));
  write("music/empty.m4a", "");
  write("music/readme.txt", "not music, and not looked at");
  fs::create_directory_symlink(path("music"), path("music/linked"));
  make("closed.flac", {"title=Closed", "artist=Solist"});
  fs::permissions(path("music/closed.flac"), fs::perms::none);
  const bool may_read_all = access(path("music/closed.flac").c_str(), R_OK) == 0;

  const outcome scanned = run({"scan", "--shortest", "0", path("music")});
  EXPECT_EQ(scanned.status, 1);
  for (const std::string name : {"cut.flac", "not audio.mp3", "empty.m4a"})
    EXPECT_TRUE(holds(scanned.error, name)) << name << " isn't told of in: " << scanned.error;
  EXPECT_EQ(holds(scanned.error, "closed.flac"), !may_read_all) << scanned.error;
  EXPECT_FALSE(holds(scanned.error, "readme.txt")) << scanned.error;
  EXPECT_TRUE(holds(scanned.error, "linked: is a link to a folder")) << scanned.error;
  EXPECT_TRUE(holds(scanned.out, may_read_all ? "5 new" : "4 new")) << scanned.out;

  for (const char* word : {"Whole", "Odd", "raw", "bare"}) {
    const json found = search(word);
    ASSERT_FALSE(found.is_discarded()) << word;
    EXPECT_EQ(found.size(), 1u) << word;
  }
  const outcome shown = run_on_terminal({"search", "Odd"}, 80);
  EXPECT_FALSE(holds(shown.out, "\x1b[31m") || holds(shown.out, "\x07")) << shown.out;
  EXPECT_EQ(run({"recommend", "--track", "raw"}).status, 0);
}

TEST_F(Scan, AnInterruptEndsEachWait) {
  for (const std::string& text : {std::string(), std::string("title\tartist\n"), std::string(1 << 20, 'x')}) {
    const auto waiting = start({"scan", "-"});
    waiting->say(text);
    usleep(300'000);
    waiting->signal(SIGINT);
    EXPECT_FALSE(waiting->hear("there is no more"));  // until it has gone; its input is still open
    EXPECT_EQ(waiting->end(), 1);
    EXPECT_TRUE(holds(read("stderr"), "interrupted")) << read("stderr");
  }
}

class ScanSound : public ScanAudio {
 protected:
  void SetUp() override {
    ScanAudio::SetUp();
    if (access(fs::path(CADENZ_PROGRAM).replace_filename("cadenz-analyse").c_str(), X_OK) != 0)
      GTEST_SKIP() << "nothing listens in this build";
  }
  /** Some seconds of a source of ffmpeg's. */
  void make(const std::string& title, const std::string& source, int seconds) const {
    ASSERT_EQ(
        std::system(("ffmpeg -loglevel error -y -f lavfi -i " + source + " -t " + std::to_string(seconds) +
                     " -map_metadata -1 -metadata title='" + title + "' '" + path("music/" + title + ".flac") + "'")
                        .c_str()),
        0);
  }
  static std::string heard(int tracks) { return "It knows what " + std::to_string(tracks) + " tracks sound like."; }
};

TEST_F(ScanSound, ListensAndTellsWhatItHears) {
  for (int i = 1; i <= 4; ++i) {
    make("Hum " + std::to_string(i), "sine=frequency=" + std::to_string(200 + 5 * i), 3);
    make("Hiss " + std::to_string(i), "anoisesrc=amplitude=0.2:seed=" + std::to_string(i), 3);
  }
  EXPECT_FALSE(holds(run({"scan", "--no-sound", path("music")}).out, "sound like"));
  EXPECT_EQ(run({"sound", "Hum 1"}).status, 1) << "nobody has listened";
  const outcome scanned = run({"scan", "--jobs", "2", path("music")});
  EXPECT_EQ(scanned.status, 0) << scanned.error;
  EXPECT_TRUE(holds(scanned.out, heard(8)) && holds(scanned.out, "8 tracks are too short")) << scanned.out;
  EXPECT_EQ(run({"recommend", "--track", "Hum 1"}).status, 1) << "too short, all of them";
  EXPECT_FALSE(holds(run({"scan", "--shortest", "0", path("music")}).out, "too short"));

  const json shown = json::parse(run({"sound", "--json", "Hum 1"}).out, nullptr, false);
  ASSERT_FALSE(shown.is_discarded());
  EXPECT_NEAR(shown["sound"]["brightness"], 205, 40);
  EXPECT_EQ(shown["near"].size(), 7u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::string(shown["near"][i]["title"]).starts_with("Hum")) << shown;
  EXPECT_TRUE(holds(run({"sound", "Hum 1"}).out, "Sounds like it"));
  const json given = json::parse(run({"recommend", "--track", "Hum 1", "--sonic", "--json"}).out, nullptr, false);
  ASSERT_FALSE(given.is_discarded());
  EXPECT_TRUE(given["tracks"][0]["sound"]["loudness"].is_number_float()) << given;
  EXPECT_TRUE(holds(given["tracks"][0]["reason"]["text"], "sounds like \"Hum 1\" (seed 1): ")) << given;
  EXPECT_TRUE(holds(run({"recommend", "--track", "Hum 1", "--sonic"}).out, "LUFS"));
}

TEST_F(ScanSound, IsToldOnceOfWhatCannotBeHeard) {
  make("Broken", "sine", 3);
  make("Whole", "sine", 3);
  std::string sound(fs::file_size(path("music/Broken.flac")), '\0');
  std::ifstream(path("music/Broken.flac"), std::ios::binary)
      .read(sound.data(), static_cast<std::streamsize>(sound.size()));
  write("music/Broken.flac", sound.substr(0, sound.find("\xff\xf8")) + std::string(20000, 'z'));
  const outcome scanned = run({"scan", path("music")});
  EXPECT_EQ(scanned.status, 1);
  EXPECT_TRUE(holds(scanned.error, "Broken.flac: ") && holds(scanned.out, "1 file can't be listened to"))
      << scanned.error;
  const outcome again = run({"scan", path("music")});
  EXPECT_EQ(again.status, 0) << again.error;
  EXPECT_EQ(again.error, "");
}

TEST_F(ScanSound, KilledInTheMiddleItLosesWhatWasUnderWay) {
  make("0", "sine", 60);
  for (int i = 1; i < 30; ++i) {
    fs::copy(path("music/0.flac"), path("music/" + std::to_string(i) + ".flac"));
    std::ofstream(path("music/" + std::to_string(i) + ".flac"), std::ios::app) << i;  // another content
  }
  const auto kept = [&] {
    sqlite3* db = nullptr;
    sqlite3_stmt* row = nullptr;
    sqlite3_open_v2(path("catalog.db").c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_busy_timeout(db, 5000);
    sqlite3_prepare_v2(db, "SELECT count(*) FROM sound_record", -1, &row, nullptr);
    const int count = row && sqlite3_step(row) == SQLITE_ROW ? sqlite3_column_int(row, 0) : 0;
    sqlite3_finalize(row);
    sqlite3_close(db);
    return count;
  };
  {
    const auto scanning = start({"scan", "--jobs", "1", path("music")});
    for (int i = 0; i < 1000 && kept() < 3; ++i) usleep(10'000);
    scanning->signal(SIGKILL);
    scanning->end();
  }
  const int before = kept();
  EXPECT_TRUE(before >= 3 && before < 30) << before;
  const outcome rest = run({"scan", path("music")});
  EXPECT_EQ(rest.status, 0) << rest.error;
  EXPECT_TRUE(holds(rest.out, heard(30))) << rest.out;
}

TEST_F(ScanAudio, StopsSoundlyOnCtrlCAndGoesOnNextTime) {
  constexpr size_t files = 4000;
  make("0.flac", {"title=Tune", "artist=Solist"});
  for (size_t i = 1; i < files; ++i)
    fs::create_hard_link(path("music/0.flac"), path("music/" + std::to_string(i) + ".flac"));

  bool stopped = false;
  const outcome broken_off =
      run_on_terminal({"scan", "--no-sound", path("music")}, 80, [&](const std::string& shown, int process) {
        if (!stopped && holds(shown, "scanning: ")) stopped = kill(process, SIGINT) == 0;
      });
  ASSERT_TRUE(stopped) << broken_off.out;
  EXPECT_EQ(broken_off.status, 1);
  EXPECT_TRUE(holds(broken_off.out, "interrupted") && holds(broken_off.out, "goes on")) << broken_off.out;

  const outcome rest = run({"scan", "--no-sound", path("music")});
  EXPECT_EQ(rest.status, 0) << rest.error;
  EXPECT_FALSE(holds(rest.out, " 0 unchanged") || holds(rest.out, " 4000 unchanged"))
      << "nothing was kept, or nothing left: " << rest.out;
  EXPECT_TRUE(holds(rest.out, " copies\nThe catalogue holds 1 track of")) << "all are one: " << rest.out;
  EXPECT_EQ(rest.error, "") << "progress without a terminal";
}

}  // namespace
