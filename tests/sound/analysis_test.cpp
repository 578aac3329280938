// What is heard, against what is known of sound that the tests make.
#include "analysis.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>

#include "hearing/profile.h"
#include "synthetic.h"

namespace velox::sound {
namespace {

using namespace synthetic;
namespace fs = std::filesystem;

class Analysis : public testing::Test {
 protected:
  Analysis() {
    std::string name = (fs::temp_directory_path() / "velox-sound-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~Analysis() override { fs::remove_all(folder_); }
  fs::path path(const std::string& name) const { return folder_ / name; }
  velox_sound hear(const fs::path& file) const {
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    try {
      const velox_sound made = analyse(opened);
      close(opened);
      EXPECT_TRUE(catalog::is_sound(made));
      return made;
    } catch (...) {
      close(opened);
      throw;
    }
  }
  velox_sound hear(const samples& of) const {
    write(path("sound.wav"), of);
    return hear(path("sound.wav"));
  }
  /** The loudness that ffmpeg's own meter tells. */
  double meter(const fs::path& file) const {
    std::system(("ffmpeg -nostdin -hide_banner -i '" + file.string() + "' -af ebur128 -f null - 2>'" +
                 path("log").string() + "'")
                    .c_str());
    std::ifstream log(path("log"));
    double told = 0;
    for (std::string line; std::getline(log, line);) {
      const size_t place = line.find(" I: ");
      if (place != line.npos && line.find("t:") == line.npos) told = std::atof(line.c_str() + place + 3);
    }
    return told;
  }

 private:
  fs::path folder_;
};

TEST_F(Analysis, FindsTheBeat) {
  struct {
    const char* what;
    samples (*make)(double, double);
  } const kinds[] = {{"clicks", clicks}, {"drums", drums}};
  int right = 0, all = 0;
  const double step = std::getenv("VELOX_TEST_LONG") ? 1 : 12.5;
  for (const auto& kind : kinds) {
    for (double tempo = 50; tempo <= 200; tempo += step, ++all) {
      const double heard = static_cast<double>(hear(kind.make(15, tempo)).tempo);
      const double octaves = std::log2(heard / tempo);
      const bool fits =
          heard > 0 && std::fabs(octaves) < 1.1 && std::fabs(octaves - std::round(octaves)) <= std::log2(1.02);
      right += fits;
      if (!fits) std::printf("%s at %.1f: %.2f\n", kind.what, tempo, heard);
    }
  }
  EXPECT_GE(right, 0.95 * all) << right << " of " << all;
  EXPECT_EQ(hear(noise(10, 0.3)).tempo, 0) << "nothing repeats";
  const velox_sound even = hear(clicks(20, 120)), still = hear(tone(10, 440, 0.3));
  EXPECT_GT(even.regularity, 0.5);
  EXPECT_EQ(still.tempo, 0) << "nothing sets in";
  EXPECT_GT(even.onsets, 4 * still.onsets);
  EXPECT_GT(even.energy, still.energy);
}

TEST_F(Analysis, FindsTheKey) {
  int right = 0;
  for (int tonic = 0; tonic < 12; ++tonic) {
    for (const bool minor : {false, true}) {
      const velox_sound heard = hear(cadence(8, tonic, minor));
      right += heard.key == tonic && (heard.minor != 0) == minor;
      EXPECT_NEAR(std::accumulate(std::begin(heard.chroma), std::end(heard.chroma), 0.0), 1, 1e-3);
    }
  }
  EXPECT_GE(right, 22) << "of 24";
  const velox_sound a = hear(tone(5, 440, 0.3));
  EXPECT_EQ(std::max_element(std::begin(a.chroma), std::end(a.chroma)) - std::begin(a.chroma), 9);
}

TEST_F(Analysis, MeasuresAsEbuR128Does) {
  write(path("noise.wav"), noise(12, 0.2));
  samples steps = tone(8, 1000, 0.05);
  const samples loud = tone(8, 1000, 0.5);
  steps.insert(steps.end(), loud.begin(), loud.end());
  write(path("steps.wav"), steps);
  ASSERT_TRUE(convert(path("noise.wav"), "-ar 8000", path("low.flac")));
  ASSERT_TRUE(
      convert(path("steps.wav"), "-af 'pan=5.1|FL=c0|FR=0.5*c0|FC=c0|LFE=c0|BL=c0|BR=0.3*c0'", path("five.flac")));
  ASSERT_TRUE(convert(path("noise.wav"), "-ac 2 -b:a 96k", path("two.mp3")));
  for (const char* name : {"noise.wav", "steps.wav", "low.flac", "five.flac", "two.mp3"})
    EXPECT_NEAR(static_cast<double>(hear(path(name)).loudness), meter(path(name)), 0.1) << name;
  EXPECT_GT(hear(path("steps.wav")).range, 10);
  EXPECT_LT(hear(path("noise.wav")).range, 1);
}

TEST_F(Analysis, TellsBrightFromDark) {
  EXPECT_NEAR(static_cast<double>(hear(tone(5, 1000, 0.3)).brightness), 1000, 100);
  EXPECT_NEAR(static_cast<double>(hear(tone(5, 4000, 0.3)).brightness), 4000, 250);
  EXPECT_NEAR(static_cast<double>(hear(noise(5, 0.3)).brightness), 11025 / 2.0, 400);
}

TEST_F(Analysis, TakesWhatIsOddAndRefusesWhatIsNoSound) {
  const velox_sound nothing = hear(silence(3));
  EXPECT_EQ(nothing.loudness, -70);
  EXPECT_EQ(nothing.key, -1);
  EXPECT_EQ(nothing.energy, 0);
  EXPECT_EQ(hear(samples(1)).tempo, 0) << "one sample";
  hear(times(tone(3, 440, 1), 10));  // clipped
  EXPECT_NEAR(static_cast<double>(hear(noise(200, 0.1)).seconds), 180, 0.1);
  const std::pair<const char*, std::string> files[] = {
      {"empty", ""}, {"text", "what is this?"}, {"half", "RIFF\x24\x10"}};
  for (const auto& [name, text] : files) {
    std::ofstream(path(name)) << text;
    EXPECT_THROW(hear(path(name)), unheard) << name;
  }
}

/** The middle is what is listened to, or what there is of a file that promises more. */
TEST_F(Analysis, ListensToTheMiddle) {
  samples all = tone(100, 300, 0.3);
  const samples middle = tone(200, 3000, 0.3);
  all.insert(all.end(), middle.begin(), middle.end());
  all.resize(all.size() + at(100));
  write(path("long.wav"), all);
  ASSERT_TRUE(convert(path("long.wav"), "-b:a 64k", path("long.opus")));
  for (const char* name : {"long.wav", "long.opus"})
    EXPECT_NEAR(static_cast<double>(hear(path(name)).brightness), 3000, 250) << name;
  ASSERT_TRUE(convert(path("long.wav"), "-t 360", path("cut.flac")));
  fs::resize_file(path("cut.flac"), fs::file_size(path("cut.flac")) / 10);
  EXPECT_NEAR(static_cast<double>(hear(path("cut.flac")).brightness), 300, 50);
}

TEST_F(Analysis, HearsTheSameInAnotherForm) {
  samples piece = cadence(20, 9, true);
  const samples beat = drums(20, 96);
  for (size_t i = 0; i < piece.size(); ++i) piece[i] += 0.5f * beat[i];
  write(path("piece.wav"), piece);
  write(path("quiet.wav"), times(piece, 0.2));
  ASSERT_TRUE(convert(path("piece.wav"), "-b:a 128k", path("piece.mp3")));
  ASSERT_TRUE(convert(path("piece.wav"), "-b:a 64k", path("piece.opus")));
  ASSERT_TRUE(convert(path("piece.wav"), "-ac 2", path("piece.flac")));
  int64_t number = 0;
  std::vector<catalog::sound_profile> all;
  const auto profile = [&](const velox_sound& of) { return catalog::sound_profile({++number, of, {}}); };
  for (const samples& other :
       {cadence(20, 2, false), drums(20, 150), clicks(20, 80), noise(20, 0.2), tone(20, 600, 0.2)})
    all.push_back(profile(hear(other)));
  const velox_sound first = hear(path("piece.wav"));
  all.push_back(profile(first));
  for (const char* name : {"quiet.wav", "piece.mp3", "piece.opus", "piece.flac"}) {
    const velox_sound again = hear(path(name));
    EXPECT_NEAR(static_cast<double>(again.tempo), static_cast<double>(first.tempo), 0.5) << name;
    EXPECT_EQ(again.key, first.key) << name;
    const catalog::side_distances same = catalog::sides_of(all.back(), profile(again));
    for (size_t other = 0; other + 1 < all.size(); ++other) {
      const catalog::side_distances far = catalog::sides_of(all.back(), all[other]);
      EXPECT_LT(same[0], far[0] / 2) << name << " timbre " << other;
      EXPECT_LT(same[1], far[1] / 2) << name << " rhythm " << other;
    }
  }
}

}  // namespace
}  // namespace velox::sound
