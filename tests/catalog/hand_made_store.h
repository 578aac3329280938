// A store of a few tracks that a test writes down, and a wrapper that counts the questions to any store.
#pragma once

#include <map>
#include <stdexcept>

#include "choice/chooser.h"
#include "model/identity.h"
#include "model/text.h"

namespace velox::catalog {

/** A track as a test writes it. */
struct hand_made_track {
  int64_t id = 0;
  std::string artist;
  std::vector<std::string> genres = {}, moods = {};
  int year = 0;
  int popularity = 500;
  std::string album = {};
  std::string title = {}; /* "Song <id>" unless told */
};

/** Passes on to another store what choosing asks, and counts the questions. */
class counting_store : public store {
 public:
  explicit counting_store(store& inner) : inner_(inner) {}
  int questions = 0;

  std::string name() const override { return inner_.name(); }
  bool current() const override { return inner_.current(); }
  void watch(std::function<bool()> go_on) override { inner_.watch(std::move(go_on)); }
  void begin(bool writes) override { inner_.begin(writes); }
  void commit() override { inner_.commit(); }
  void roll_back() noexcept override { inner_.roll_back(); }
  const attribute_info& attribute(int64_t id) const override { return inner_.attribute(id); }
  resolved resolve(const references& asked) override { return ++questions, inner_.resolve(asked); }
  memories look(const search& asked, candidates& into) override { return ++questions, inner_.look(asked, into); }
  records describe(const subjects& asked) override { return ++questions, inner_.describe(asked); }
  identified identify(const description& asked) override { return ++questions, inner_.identify(asked); }
  void create(station& made, int64_t now) override { ++questions, inner_.create(made, now); }
  std::optional<station_opening> visit(const station_visit& by) override { return ++questions, inner_.visit(by); }
  memories remember(int64_t id, std::span<const int64_t> tracks) override {
    return ++questions, inner_.remember(id, tracks);
  }

  // Not asked by choosing
  std::vector<int64_t> find(uint32_t, std::string_view, uint32_t) override { return {}; }
  std::vector<int64_t> list(attribute_kind) override { return {}; }
  catalogue_counts count() override { return {}; }
  std::vector<int64_t> browse(const browsing&) override { return {}; }
  std::vector<chart_cell> chart() override { return {}; }
  std::vector<std::string> places() override { return {}; }
  void enter_place(const std::string&) override {}
  std::vector<station_summary> stations() override { return {}; }
  bool past_of(std::string_view, const std::function<bool(const past_event&)>&) override { return false; }
  bool rename(std::string_view, const std::string&) override { return false; }
  bool remove(std::string_view) override { return false; }
  int64_t enter_source(const std::string&, bool) override { return 0; }
  std::vector<known_line> lines_of(int64_t) override { return {}; }
  std::vector<known_file> files_at(const std::string&, bool) override { return {}; }
  std::vector<std::string> paths_of(std::span<const known_file>) override { return {}; }
  std::vector<track_of_content> tracks_of(std::span<const content>) override { return {}; }
  std::vector<duplicate> duplicates_of(std::span<const int64_t>) override { return {}; }
  void apply(std::span<const change>) override {}
  std::vector<unheard_file> unheard(uint32_t, int64_t, uint32_t) override { return {}; }
  void put_sound(int64_t, int64_t, const velox_sound*, std::string_view) override {}
  sound_counts count_sounds(uint32_t) override { return {}; }
  void set_shortest(int64_t) override {}
  sound_census sounds_there() override { return {}; }
  std::vector<int64_t> sound_numbers(bool, int64_t, uint32_t) override { return {}; }
  std::vector<kept_sound> sounds(std::span<const int64_t>) override { return {}; }
  std::vector<sound_list> sound_lists(int, std::span<const int64_t>) override { return {}; }
  std::vector<int64_t> sounds_on(int, uint32_t) override { return {}; }
  std::vector<sound_list> gone_sounds(uint32_t) override { return {}; }
  std::optional<track_sound> sound_of(int64_t) override { return {}; }
  void place(const sound_placing&) override {}

 protected:
  store& inner_;
};

/** Tells what choosing asks; of everything else there is nothing. */
class hand_made_store : public counting_store {
 public:
  explicit hand_made_store(std::vector<hand_made_track> tracks)
      : counting_store(static_cast<store&>(*this)), tracks_(std::move(tracks)) {
    for (hand_made_track& each : tracks_) {
      if (each.title.empty()) each.title = "Song " + std::to_string(each.id);
      std::vector<int64_t>& ids = attributes_[each.id];
      for (const auto& genre : each.genres) ids.push_back(attribute_of(k_genre, genre));
      for (const auto& mood : each.moods) ids.push_back(attribute_of(k_mood, mood));
      if (each.year > 0) ids.push_back(attribute_of(k_era, std::to_string(each.year / 10 * 10) + "s"));
      for (const int64_t id : ids) count_in(id, each);
      count_in(k_everything, each);
    }
  }
  /** What the station remembers of a track, beside who it is. */
  std::map<int64_t, memory> told;

  int64_t attribute_of(attribute_kind kind, const std::string& name) {
    for (const auto& [id, info] : infos_)
      if (info.kind == kind && info.name == name) return id;
    const auto id = static_cast<int64_t>(infos_.size()) + 1;
    infos_[id].kind = kind, infos_[id].name = name;
    return id;
  }
  const hand_made_track& at(int64_t id) const {
    for (const hand_made_track& each : tracks_)
      if (each.id == id) return each;
    throw std::out_of_range("no such track");
  }
  int64_t number_of(const std::string& name) const { return name.empty() ? 0 : key(name); }
  /** A track as a seed. */
  seed_record record_of(int64_t id) const {
    const hand_made_track& of = at(id);
    seed_record made{.track = id,
                     .artist = number_of(of.artist),
                     .album = number_of(of.album),
                     .title_key = key(of.title),
                     .year = of.year,
                     .sounds = {},
                     .attributes = attributes_.at(id),
                     .artist_attributes = {},
                     .title = of.title,
                     .artist_name = of.artist};
    return made;
  }

  std::string name() const override { return "hand-made"; }
  bool current() const override { return true; }
  void watch(std::function<bool()>) override {}
  const attribute_info& attribute(int64_t id) const override {
    static const attribute_info nothing;
    const auto found = infos_.find(id);
    return found == infos_.end() ? nothing : found->second;
  }
  memories look(const search& asked, candidates& into) override {
    ++questions;
    std::vector<int64_t> of = asked.also;
    for (const window& each : asked.windows) {
      uint32_t rows = 0;
      for (const hand_made_track& track : tracks_)
        if (is_in(each, track) && ++rows <= each.limit && take(*asked.filter, track, each.step, into))
          of.push_back(track.id);
    }
    return asked.remembers ? memories_of(of) : memories();
  }
  memories remember(int64_t, std::span<const int64_t> tracks) override { return ++questions, memories_of(tracks); }

 private:
  void count_in(int64_t attribute, const hand_made_track& track) {
    attribute_info& info = infos_[attribute];
    ++info.tracks;
    ++info.levels[static_cast<size_t>(level_of(track.popularity))];
  }
  bool is_in(const window& at, const hand_made_track& track) const {
    const std::vector<int64_t>& ids = attributes_.at(track.id);
    switch (at.of) {
      case window::of_attribute:
        return (at.id == k_everything || std::find(ids.begin(), ids.end(), at.id) != ids.end()) &&
               level_of(track.popularity) == at.level && track.id >= at.from;
      case window::of_artist:
        return number_of(track.artist) == at.id;
      case window::of_album:
        return number_of(track.album) == at.id;
      default:
        return true;
    }
  }
  bool take(const track_filter& filter, const hand_made_track& track, uint32_t step, candidates& into) {
    const std::vector<int64_t>& ids = attributes_.at(track.id);
    if (!into.meet(track.id) || !filter.passes(number_of(track.artist), ids, {})) return false;
    into.add({.id = track.id,
              .artist = number_of(track.artist),
              .album = number_of(track.album),
              .title_key = key(track.title),
              .family = family_of(track.id, number_of(track.artist), number_of(track.album)),
              .popularity = track.popularity,
              .year = track.year,
              .first_attribute = 0,
              .attributes = 0,
              .step = step},
             ids);
    return true;
  }
  memories memories_of(std::span<const int64_t> tracks) {
    memories made;
    for (const int64_t id : tracks) {
      memory& each = made[id] = told[id];
      each.who = identity_of(at(id).artist, key(at(id).title), std::to_string(id),
                             at(id).album.empty() ? "" : at(id).artist, key(at(id).album));
    }
    return made;
  }
  std::vector<hand_made_track> tracks_;
  std::map<int64_t, std::vector<int64_t>> attributes_;
  std::map<int64_t, attribute_info> infos_ = {{k_everything, {}}};
};

/** A request with tracks as seeds. */
inline request from_tracks(const hand_made_store& store, std::initializer_list<int64_t> seeds, uint32_t count = 25) {
  request made;
  for (const int64_t id : seeds) {
    made.seeds.push_back(make_seed(store, store.record_of(id)));
    made.seeds.back().ordinal = static_cast<uint32_t>(made.seeds.size());
  }
  made.count = count;
  made.last_track = 1000;
  return made;
}

/** The numbers of the tracks, in order. */
inline std::string order(const std::vector<choice>& tracks) {
  std::string told;
  for (const choice& each : tracks) told += (told.empty() ? "" : " ") + std::to_string(each.track.id);
  return told;
}

}  // namespace velox::catalog
