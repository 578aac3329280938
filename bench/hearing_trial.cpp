// hearing_trial RECORDS TRACKS [KEEP]: makes a catalogue of so many tracks by perturbing real analyses, finds what sounds alike, and
// tells how many of the true 50 nearest are found, what finding costs, and what a recommendation costs then. RECORDS is a catalogue
// that has been listened to; KEEP is where the made one is kept.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "choice/chooser.h"
#include "hearing/neighbourhood.h"
#include "hearing/profile.h"

using namespace velox::catalog;
using clock_type = std::chrono::steady_clock;

namespace {

double seconds_since(clock_type::time_point begin) {
  return std::chrono::duration<double>(clock_type::now() - begin).count();
}

std::vector<velox_sound> records_of(const char* file) {
  const auto from = open_store(std::string("sqlite:") + file, role::read);
  std::vector<velox_sound> records;
  for (const kept_sound& each : from->sounds(from->sound_numbers(false, 0, 1000000))) records.push_back(each.record);
  return records;
}

/** Another sound like one: each value moved by a part of what the real ones differ by. */
velox_sound perturbed(const velox_sound& of, std::mt19937& chance) {
  std::normal_distribution<float> normal;
  velox_sound made = of;
  for (float& each : made.mean) each += each == 0 ? 0 : 0.7f * normal(chance);
  // A random turn of each frame: the covariance stays one.
  float scale[VELOX_SOUND_COEFFICIENTS];
  for (float& each : scale) each = std::exp(0.15f * normal(chance));
  for (size_t i = 0, at = 0; i < VELOX_SOUND_COEFFICIENTS; ++i)
    for (size_t j = 0; j <= i; ++j, ++at) made.covariance[at] *= scale[i] * scale[j];
  for (float& each : made.pulse) each = std::clamp(each + 0.05f * normal(chance), -1.0f, 1.0f);
  made.onsets *= std::exp(0.2f * normal(chance));
  float sum = 0;
  for (float& each : made.chroma) sum += each *= std::exp(0.2f * normal(chance));
  for (float& each : made.chroma) each = sum > 0 ? each / sum : 0;
  return made;
}

void fill(store& into, const std::vector<velox_sound>& records, int64_t tracks) {
  std::mt19937 chance(1);
  std::vector<change> batch;
  for (int64_t i = into.count().tracks; i < tracks;) {
    batch.clear();
    for (; i < tracks && batch.size() < 10000; ++i) {
      const std::string number = std::to_string(i);
      song each;
      each.title = "Song " + number, each.artist = "Artist " + std::to_string(i / 20), each.path = "/music/" + number;
      each.album = "Album " + std::to_string(i / 10), each.genres = {"Genre " + std::to_string(i % 97)};
      each.year = 1960 + static_cast<int>(i % 60), each.duration = 200, each.popularity = static_cast<int>(i % 1000);
      each.stamp = i + 1;
      batch.push_back({.of = change::put_track, .what = std::move(each)});
    }
    into.apply(batch);
  }
  std::uniform_int_distribution<size_t> any(0, records.size() - 1);
  for (int64_t after = 0;;) {
    const std::vector<unheard_file> files = into.unheard(VELOX_SOUND_METHOD, after, 10000);
    if (files.empty()) return;
    for (const unheard_file& each : files) {
      const velox_sound made = perturbed(records[any(chance)], chance);
      into.put_sound(each.track, each.content, &made, {});
    }
    after = files.back().track;
  }
}

double recall(store& of, size_t queries) {
  const std::vector<int64_t> ids = of.sound_numbers(false, 0, 10000000);
  std::vector<sound_profile> all;
  all.reserve(ids.size());
  for (const kept_sound& each : of.sounds(ids)) all.emplace_back(each);
  size_t found = 0, wanted = 0;
  for (size_t q = 0; q < queries; ++q) {
    const sound_profile& from = all[q * all.size() / queries];
    near_sounds near;
    for (const sound_profile& each : all)
      if (each.id != from.id) near.push_back({each.id, distance(from, each)});
    const size_t most = std::min<size_t>(50, near.size());
    std::partial_sort(near.begin(), near.begin() + static_cast<ptrdiff_t>(most), near.end(),
                      [](const near_sound& a, const near_sound& b) { return a.distance < b.distance; });
    const std::vector<sound_list> lists = of.sound_lists(0, {&from.id, 1});
    for (size_t i = 0; i < most; ++i, ++wanted)
      found += std::any_of(lists.at(0).nearest.begin(), lists.at(0).nearest.end(),
                           [&](const near_sound& each) { return each.id == near[i].id; });
  }
  return static_cast<double>(found) / static_cast<double>(wanted);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return std::fputs("usage: hearing_trial RECORDS TRACKS [KEEP]\n", stderr), 2;
  const int64_t tracks = std::atoll(argv[2]);
  const std::string file = argc > 3 ? argv[3] : "/tmp/hearing_trial.db";
  if (argc <= 3) std::filesystem::remove(file);
  try {
    const auto records = records_of(argv[1]);
    const auto into = open_store("sqlite:" + file, role::fill);
    auto begin = clock_type::now();
    fill(*into, records, tracks);
    std::printf("%lld tracks of %zu records: filled in %.1f s\n", static_cast<long long>(tracks), records.size(),
                seconds_since(begin));
    begin = clock_type::now();
    const sound_census before = into->sounds_there();
    settle_sounds(*into, [](uint64_t done, uint64_t all) {
      if (done % 10000 == 0)
        std::printf("  %llu of %llu\n", static_cast<unsigned long long>(done), static_cast<unsigned long long>(all)),
            std::fflush(stdout);
      return true;
    });
    std::printf("settled %lld in %.1f s\n", static_cast<long long>(before.unplaced), seconds_since(begin));
    std::printf("of the true 50 nearest %.4f are found\n", recall(*into, 200));
  } catch (const failure& failed) {
    std::printf("%s\n", failed.message.c_str());
    return 1;
  }
}
