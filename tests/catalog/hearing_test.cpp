// What sounds like what, over a real store with made-up sounds: those of a group are one random sound with little changed.
#include "hearing/neighbourhood.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

#include "choice/arrange.h"
#include "choice/objects.h"
#include "hearing/profile.h"
#include "model/identity.h"
#include "model/references.h"
#include "velox_catalog.h"

namespace velox::catalog {
namespace {

/** The sound of a track by its number; so many make a group. */
velox_sound made_up(unsigned number, unsigned in_group = 10) {
  const unsigned group = number / in_group;
  std::mt19937 base(group * 7919 + 1), fine(number * 104729 + 5);
  std::normal_distribution<float> normal;
  velox_sound made = {};
  made.method = VELOX_SOUND_METHOD;
  made.seconds = 180, made.loudness = -14, made.range = 6, made.brightness = 1000, made.energy = 0.5f;
  made.tempo = 92, made.regularity = 0.5f, made.key = 9, made.minor = 1;
  made.onsets = std::exp(normal(base) + 0.05f * normal(fine));
  for (int i = 1; i < VELOX_SOUND_COEFFICIENTS; ++i) made.mean[i] = 4 * normal(base) + 0.4f * normal(fine);
  for (int i = 0, at = 0; i < VELOX_SOUND_COEFFICIENTS; ++i) {
    const float variance = 4 * std::exp(0.5f * normal(base) + 0.1f * normal(fine));
    for (int j = 0; j <= i; ++j, ++at) made.covariance[at] = i == j ? variance : 0;
  }
  for (float& each : made.pulse) each = std::clamp(0.3f * normal(base) + 0.02f * normal(fine), -1.0f, 1.0f);
  float sum = 0;
  for (float& each : made.chroma) sum += each = std::exp(normal(base) + 0.05f * normal(fine));
  for (float& each : made.chroma) each /= sum;
  return made;
}

class Hearing : public testing::Test {
 protected:
  Hearing() {
    char name[] = "/tmp/velox_hearing_XXXXXX";
    folder_ = mkdtemp(name);
    open_ = open_store("sqlite:" + folder_ + "/catalogue.db", role::fill);
  }
  ~Hearing() override { std::filesystem::remove_all(folder_); }
  store& music() { return *open_; }

  static song file(unsigned number) {
    song made;
    made.title = "Song " + std::to_string(number), made.path = "/music/" + std::to_string(number) + ".flac";
    made.artist = k_no_artist, made.duration = 200, made.stamp = 1 + static_cast<int64_t>(number);
    return made;
  }
  /** Files in order of numbers; a track's number in the catalogue is its place, from 1 on. */
  void add(unsigned from, unsigned to, const std::function<void(song&, unsigned)>& change = {}) {
    std::vector<catalog::change> batch;
    for (unsigned number = from; number < to; ++number) {
      song each = file(number);
      if (change) change(each, number);
      batch.push_back({.of = change::put_track, .what = std::move(each)});
    }
    music().apply(batch);
  }
  void listen() {
    for (const unheard_file& each : music().unheard(VELOX_SOUND_METHOD, 0, 100000)) {
      const velox_sound sound = made_up(number_in(each.path), in_group_);
      music().put_sound(each.track, each.content, &sound, {});
    }
  }
  void settle(const settling& limits = {}) { settle_sounds(music(), {}, limits); }
  static unsigned number_in(const std::string& path) { return static_cast<unsigned>(std::atoi(path.c_str() + 7)); }

  /** The share of the true nearest that the lists have. */
  double found_of_the_true_nearest() {
    std::vector<sound_profile> all;
    for (const kept_sound& each : music().sounds(music().sound_numbers(false, 0, 100000))) all.emplace_back(each);
    size_t found = 0, wanted = 0;
    for (size_t from = 0; from < all.size(); from += 7) {
      near_sounds near;
      for (const sound_profile& each : all)
        if (each.id != all[from].id) near.push_back({each.id, distance(all[from], each)});
      std::sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.distance < b.distance; });
      near.resize(std::min<size_t>(near.size(), 50));
      const near_sounds listed = music().sound_lists(0, {&all[from].id, 1}).at(0).nearest;
      EXPECT_TRUE(
          std::is_sorted(listed.begin(), listed.end(), [](auto& a, auto& b) { return a.distance < b.distance; }));
      wanted += near.size();
      for (const near_sound& each : near)
        found += std::any_of(listed.begin(), listed.end(), [&](const near_sound& one) { return one.id == each.id; });
    }
    return static_cast<double>(found) / static_cast<double>(wanted);
  }
  /** Who is near to a track, by numbers. */
  std::vector<unsigned> near(unsigned number) {
    std::vector<unsigned> tracks;
    const std::optional<track_sound> sound = music().sound_of(number + 1);
    for (const near_sound& each : sound ? sound->nearest : near_sounds())
      tracks.push_back(static_cast<unsigned>(each.id) - 1);
    return tracks;
  }

  // Asking for tracks
  request like(std::initializer_list<unsigned> seeds, uint32_t count) {
    references named;
    for (const unsigned each : seeds) {
      const records told = music().describe({.tracks = {each + 1}});
      named.seeds.push_back({told.tracks.at(each + 1).tui, {}, {}});
    }
    const resolved found = music().resolve(named);
    request made;
    for (const seed_record& each : found.seeds) {
      made.seeds.push_back(make_seed(music(), each));
      made.seeds.back().ordinal = static_cast<uint32_t>(made.seeds.size());
    }
    made.count = count, made.last_track = found.last_track;
    return made;
  }
  std::vector<choice> chosen_for(const request& asked) {
    progress nobody(nullptr, music());
    return choose(music(), asked, nobody).tracks;
  }
  static unsigned group_of(const choice& of) { return static_cast<unsigned>(of.track.id - 1) / 10; }

  unsigned in_group_ = 10;
  std::string folder_;
  std::unique_ptr<store> open_;
};

TEST_F(Hearing, ListsHoldTheTrueNearestHoweverTheyCame) {
  add(0, 1030), listen(), settle();
  EXPECT_EQ(found_of_the_true_nearest(), 1) << "compared as a whole";
  EXPECT_EQ(near(17).size(), k_nearest_kept);
  add(1030, 1400), listen(), settle();
  EXPECT_EQ(music().sounds_there().unplaced, 0);
  EXPECT_GE(found_of_the_true_nearest(), 0.999) << "each compared with all";
  for (unsigned number = 1030; number < 1400; number += 37) {
    const std::vector<unsigned> nearest = near(number);
    EXPECT_EQ(
        std::count_if(nearest.begin(), nearest.begin() + 9, [&](unsigned each) { return each / 10 == number / 10; }), 9)
        << number;
  }
  std::vector<change> gone;
  for (int64_t track = 3; track < 1400; track += 5) gone.push_back({.of = change::remove_track, .id = track});
  music().apply(gone);
  settle();
  EXPECT_EQ(music().sounds_there().gone, 0);
  EXPECT_GE(found_of_the_true_nearest(), 0.95) << "mended";
  EXPECT_TRUE(near(2).empty()) << "gone";
}

TEST_F(Hearing, ASearchFindsThemToo) {
  in_group_ = 60;
  add(0, 1500), listen(), settle({.always_anew = 300, .compared_whole = 400});
  EXPECT_EQ(music().sounds_there().settled, 300) << "a sample is placed as a whole";
  EXPECT_EQ(music().sounds_there().unplaced, 0);
  EXPECT_GE(found_of_the_true_nearest(), 0.95);
}

TEST_F(Hearing, GoesOnWhereItWasEnded) {
  add(0, 1030), listen(), settle();
  add(1030, 1100), listen();
  int steps = 0;
  EXPECT_THROW(settle_sounds(music(), [&](uint64_t, uint64_t) { return ++steps < 30; }), failure);
  const int64_t left = music().sounds_there().unplaced;
  EXPECT_TRUE(left > 0 && left < 70) << left;
  settle();
  EXPECT_EQ(music().sounds_there().unplaced, 0);
  EXPECT_GE(found_of_the_true_nearest(), 0.999);
}

TEST_F(Hearing, WithoutTagsTheSoundDecides) {
  add(0, 100), listen(), settle();
  const std::vector<choice> given = chosen_for(like({42}, 9));
  ASSERT_EQ(given.size(), 9u);
  for (const choice& each : given) EXPECT_EQ(group_of(each), 4u);
  EXPECT_EQ(given[0].why.kind, "sound");
  const records told = music().describe({.tracks = {given[0].track.id}});
  object_maker make(music(), told, false, true);
  const standin::mdo_ref track = make.track(given[0].track.id, &given[0].why);
  const auto value = [&](const char* key) { return std::string(velox_standin_mdo_value(track.get(), key, 1)); };
  EXPECT_EQ(value(VELOX_VAL_REASON), "sounds like \"Song 42\" (seed 1): dark, 92 BPM, A minor");
  EXPECT_EQ(value(VELOX_VAL_SONIC_TEMPO) + " " + value(VELOX_VAL_SONIC_KEY) + " " + value(VELOX_VAL_SONIC_MODE) + " " +
                value(VELOX_VAL_SONIC_LOUDNESS) + " " + value(VELOX_VAL_SONIC_ENERGY) + " " +
                value(VELOX_VAL_SONIC_BRIGHTNESS),
            "92.0 9 minor -14.0 0.50 1000");
  for (const choice& each : chosen_for(like({15, 77}, 10))) EXPECT_TRUE(group_of(each) == 1 || group_of(each) == 7);
}

TEST_F(Hearing, GoodTagsAreNotWorseOff) {
  // Every other track has the genre of its group's half; the sounds cross the genres.
  add(0, 100, [](song& each, unsigned number) {
    each.artist = "Artist " + std::to_string(number);
    each.genres = {number % 2 ? "Odd" : "Even"};
  });
  listen(), settle();
  const std::vector<choice> given = chosen_for(like({42}, 12));
  size_t even = 0;
  for (size_t i = 0; i < given.size(); ++i) {
    even += given[i].track.id % 2 == 1;
    EXPECT_TRUE(i >= 4 || (group_of(given[i]) == 4 && given[i].track.id % 2 == 1)) << "both agree on the first " << i;
  }
  EXPECT_EQ(even, given.size()) << "a genre isn't outdone by a sound alone";
}

TEST_F(Hearing, WhatIsDislikedPushesAwayWhatSoundsLikeIt) {
  add(0, 100, [](song& each, unsigned) { each.genres = {"Noise"}; });
  listen(), settle();
  request asked = like({42}, 60);
  const auto worst_of = [&](unsigned group) {
    size_t last = 0;
    const std::vector<choice> given = chosen_for(asked);
    for (size_t i = 0; i < given.size(); ++i)
      if (group_of(given[i]) == group) last = std::max(last, i + 1);
    return last;
  };
  asked.rotate = false;
  EXPECT_LE(worst_of(4), 10u);
  asked.avoided = {{41, 1.0f}};  // the track of number 40
  EXPECT_TRUE(worst_of(4) == 0 || worst_of(4) > 20) << worst_of(4);
}

TEST_F(Hearing, WhatIsNoMusicAndWhoIsNoArtist) {
  add(0, 60, [](song& each, unsigned number) { each.duration = number % 2 ? 12 : 200; });
  listen(), settle();
  for (const choice& each : chosen_for(like({4}, 25))) {
    EXPECT_EQ(each.track.id % 2, 1) << "too short";
    EXPECT_EQ(each.track.artist, 0);
    EXPECT_NE(each.why.kind, "artist");
  }
  EXPECT_EQ(chosen_for(like({4}, 25)).size(), 25u) << "nobody's tracks aren't one artist's";
  EXPECT_FALSE(chosen_for(like({5}, 5)).empty()) << "as a seed it may be short";
  EXPECT_EQ(music().count_sounds(VELOX_SOUND_METHOD).brief, 30u);
  music().begin(true), music().set_shortest(0), music().commit();
  EXPECT_EQ(music().count_sounds(VELOX_SOUND_METHOD).brief, 0u);

  // Where there is an album, it stands for the artist.
  add(60, 80, [](song& each, unsigned) { each.album = "Soundtrack"; });
  listen(), settle();
  const std::vector<choice> given = chosen_for(like({64}, 25));
  EXPECT_EQ(std::count_if(given.begin(), given.end(), [](const choice& each) { return each.track.id > 60; }), 3)
      << "three of an album";
  const identity one = identity_of(no_artist_uid(), 7, "tui 1", {}, 0),
                 other = identity_of(no_artist_uid(), 7, "tui 2", {}, 0);
  EXPECT_TRUE(one.artist != other.artist && one.song != other.song) << "of one title, and nobody's";
}

TEST_F(Hearing, ASoundStaysWithItsFile) {
  add(0, 40), listen(), settle();
  const std::vector<unsigned> nearest = near(7);
  song moved = file(7);
  moved.path = "/elsewhere/7.flac";
  music().apply(std::vector<change>{{.of = change::put_track, .id = 8, .what = moved}});
  EXPECT_EQ(near(7), nearest) << "moved";
  song changed = file(8);
  changed.stamp = 999;
  music().apply(std::vector<change>{{.of = change::put_track, .id = 9, .what = changed}});
  EXPECT_TRUE(near(8).empty()) << "changed";
  std::vector<unheard_file> left = music().unheard(VELOX_SOUND_METHOD, 0, 10);
  ASSERT_EQ(left.size(), 1u);
  const velox_sound sound = made_up(8);
  music().put_sound(9, left[0].content + 1, &sound, {});
  EXPECT_EQ(music().unheard(VELOX_SOUND_METHOD, 0, 10).size(), 1u) << "listened to before it changed again";
  music().put_sound(9, left[0].content, nullptr, "crashes the decoder");
  EXPECT_TRUE(music().unheard(VELOX_SOUND_METHOD, 0, 10).empty()) << "not tried again";
  EXPECT_EQ(music().count_sounds(VELOX_SOUND_METHOD).failed, 1u);
  EXPECT_EQ(music().unheard(VELOX_SOUND_METHOD + 1, 0, 100).size(), 40u) << "a newer method listens anew";
  settle();
  EXPECT_EQ(music().sounds_there().sounds, 39);
  for (const unsigned each : near(7)) EXPECT_NE(each, 8u);
}

TEST(Arranging, GoesOnInTempoAndKeyWhereTheChoiceLeavesRoom) {
  struct {
    const char* what;
    std::vector<sonic> sounds;  // all of other artists, best first
    const char* expected;
  } const rows[] = {
      {"the same beat", {{.tempo = 100}, {.tempo = 140}, {.tempo = 101}}, "1 3 2 "},
      {"twice the beat", {{.tempo = 60}, {.tempo = 80}, {.tempo = 121}}, "1 3 2 "},
      {"a fifth up", {{.key = 0}, {.key = 6}, {.key = 7}}, "1 3 2 "},
      {"the relative minor", {{.key = 0}, {.key = 1}, {.key = 9, .minor = true}}, "1 3 2 "},
      {"nothing known", {{}, {}, {}}, "1 2 3 "},
  };
  for (const auto& row : rows) {
    std::vector<choice> tracks;
    for (const sonic& each : row.sounds) {
      choice one{};
      one.track.id = one.track.family = static_cast<int64_t>(tracks.size()) + 1;
      one.score = 1 - 0.01f * static_cast<float>(tracks.size());
      one.sound = each;
      tracks.push_back(one);
    }
    request asked;
    asked.seeds.resize(1);
    arrange(tracks, asked);
    std::string order;
    for (const choice& each : tracks) order += std::to_string(each.track.id) + " ";
    EXPECT_EQ(order, row.expected) << row.what;
  }
}

}  // namespace
}  // namespace velox::catalog
