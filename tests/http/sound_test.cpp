/* Files: ranges of them, which ones are given out at all, and pictures. */
#include "serving.h"

namespace {

namespace fs = std::filesystem;

class Sound : public Serving {
 protected:
  void SetUp() override {
    if (!scan_tones(6)) GTEST_SKIP() << "ffmpeg makes the audio files, and isn't here";
    write("outside.tsv", "title\tartist\tpath\nSecret\tNobody\t" + path("secret.flac") + "\n");
    fs::copy(path("music/0.flac"), path("secret.flac"));
    ASSERT_EQ(run({"scan", path("outside.tsv")}).status, 0);
    ASSERT_TRUE(serve()) << read("stderr");
  }
};

TEST_F(Sound, IsGivenByRanges) {
  const std::string file = read("music/3.flac"), at = sound_at(id_of("track", "Tone 3"));
  const size_t size = file.size(), none = 0;
  const std::string last = std::to_string(size - 1), over = std::to_string(size);
  const auto whole = client().Get(at);
  const std::string tag = whole->get_header_value("ETag");
  EXPECT_EQ(whole->get_header_value("Content-Type"), "audio/flac");
  EXPECT_EQ(whole->get_header_value("Accept-Ranges"), "bytes");

  const struct {
    std::string range;
    std::string if_range;
    int status;
    size_t from, count;
  } rows[] = {
      {"", "", 200, 0, size},
      {"bytes=0-", "", 206, 0, size},
      {"bytes=0-0", "", 206, 0, 1},
      {"bytes=100-299", "", 206, 100, 200},
      {"bytes=" + last + "-", "", 206, size - 1, 1},
      {"bytes=5-99999999", "", 206, 5, size - 5},
      {"bytes=-7", "", 206, size - 7, 7},
      {"bytes=-99999999", "", 206, 0, size},
      {"bytes=" + over + "-", "", 416, 0, none},
      {"bytes=-0", "", 416, 0, none},
      {"bytes=0-0,2-3", "", 200, 0, size},
      {"bytes=0-9", tag, 206, 0, 10},
      {"bytes=0-9", "\"another\"", 200, 0, size},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.range + " " + row.if_range);
    httplib::Headers headers;
    if (!row.range.empty()) headers.emplace("Range", row.range);
    if (!row.if_range.empty()) headers.emplace("If-Range", row.if_range);
    const auto got = client().Get(at, headers);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, row.status);
    if (row.status == 416) {
      EXPECT_EQ(got->get_header_value("Content-Range"), "bytes */" + over);
      continue;
    }
    EXPECT_TRUE(got->body == file.substr(row.from, row.count)) << got->body.size();
    const std::string told =
        "bytes " + std::to_string(row.from) + "-" + std::to_string(row.from + row.count - 1) + "/" + over;
    EXPECT_EQ(got->get_header_value("Content-Range"), row.status == 206 ? told : "");
  }
  EXPECT_EQ(client().Get(at, {{"If-None-Match", tag}})->status, 304);
  const auto head = client().Head(at);
  EXPECT_EQ(head->get_header_value("Content-Length"), over);
  EXPECT_EQ(head->body, "");
}

TEST_F(Sound, OnlyWhatLiesBelowTheScannedFoldersIsGiven) {
  const auto status = [&](const std::string& name) { return client().Get(sound_at(id_of("track", name)))->status; };
  EXPECT_EQ(status("Secret"), 404) << "named by a table, and in no scanned folder";
  EXPECT_EQ(status("Tone 1"), 200);

  fs::remove(path("music/1.flac"));
  EXPECT_EQ(status("Tone 1"), 404);
  fs::create_symlink(path("secret.flac"), path("music/1.flac"));
  EXPECT_EQ(status("Tone 1"), 404) << "a link out of the folder";
  fs::remove(path("music/1.flac"));
  fs::create_symlink("2.flac", path("music/1.flac"));
  EXPECT_EQ(status("Tone 1"), 200) << "a link inside";
  fs::remove(path("music/1.flac"));
  ASSERT_EQ(mkfifo(path("music/1.flac").c_str(), 0600), 0);
  EXPECT_EQ(status("Tone 1"), 404) << "nothing waits for a pipe";
}

TEST_F(Sound, PicturesAreInTheFileOrBesideIt) {
  const std::string at = "/api/tracks/" + id_of("track", "Tone 2") + "/cover";
  EXPECT_EQ(client().Get(at)->status, 404);
  const std::string jpeg = "\xff\xd8\xff\xe0 and so on";
  write("music/folder.jpg", "<script>alert(1)</script>");
  EXPECT_EQ(client().Get(at)->status, 404) << "no picture";
  write("music/cover.jpg", jpeg);
  const auto beside = client().Get(at);
  EXPECT_EQ(beside->body, jpeg);
  EXPECT_EQ(beside->get_header_value("Content-Type"), "image/jpeg");
  const reply found = ask("GET", "/api/search?q=beeps&kinds=album");
  EXPECT_EQ(client().Get(found.body["albums"][0]["cover"].get<std::string>())->body, jpeg);

  ASSERT_EQ(std::system(("cd '" + path("music") +
                         "' && ffmpeg -nostdin -v error -y -f lavfi -i color=red:size=8x8 -frames:v 1 ../in.png && "
                         "ffmpeg -nostdin -v error -y -i 2.flac -i ../in.png -map 0 -map 1 -c copy -disposition:v "
                         "attached_pic ../2.flac && mv ../2.flac 2.flac")
                            .c_str()),
            0);
  EXPECT_TRUE(client().Get(at)->body == read("in.png"));
}

TEST_F(Sound, AnEndOfTheServerEndsStreams) {
  // The file is larger than what sockets hold, and nobody reads: the server's thread waits in the middle of it.
  fs::resize_file(path("music/0.flac"), 64 << 20);
  const std::string at = sound_at(id_of("track", "Tone 0"));
  std::atomic<bool> begun = false, go_on = false;
  std::thread stream([&] {
    httplib::Client slow = client();
    slow.Get(at, [&](const char*, size_t) {
      begun = true;
      while (!go_on) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      return true;
    });
  });
  while (!begun) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  httplib::Client idle = client();
  idle.set_keep_alive(true);
  EXPECT_EQ(idle.Get("/api/hello")->status, 200);
  const json state = new_station("track", "Tone 4");
  order(state, "skip");

  const auto [status, seconds] = end();
  EXPECT_EQ(status, 0);
  EXPECT_LT(seconds, 5);
  go_on = true;
  stream.join();
  const outcome history = run({"stations", "history", state["station"]["id"], "--json"});
  EXPECT_NE(history.out.find("skipped"), std::string::npos) << history.out;
}

}  // namespace
