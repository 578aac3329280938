// What requests ask: seeds and names found, windows of candidates, the chosen described, descriptions identified.
#include <algorithm>
#include <limits>

#include "model/identity.h"
#include "model/text.h"
#include "store/sqlite/sounds_blob.h"
#include "store/sqlite/sqlite_store.h"
#include "velox_catalog.h"

namespace velox::catalog::sqlite {
namespace {

constexpr int k_last_year = 9999;
constexpr int64_t k_artist_attributes = 24; /* of a seed's artist */
constexpr int64_t k_tracks_of_album = 500;
constexpr int64_t k_sounds_of_artist = 3; /* tracks that stand for what an artist sounds like */
constexpr uint32_t k_identified_by_words = 20;
constexpr int64_t k_no_limit = std::numeric_limits<int64_t>::max();

int64_t signed_tag(std::string_view text) { return static_cast<int64_t>(parse_tag(text)); }

/** The number in a statement's first row; 0 when there is none. */
int64_t first_of(statement& row) { return row.step() ? row.integer(0) : 0; }

// ---- Seeds ------------------------------------------------------------------------------------------------------------------

/** Reads seeds: `learn` makes an attribute known. */
template <class Learn>
class seed_reader {
 public:
  seed_reader(connection& db, Learn learn) : db_(db), learn_(learn) {}
  seed_record read(const seed_reference& by) {
    seed_record found;
    if (!track(by, found)) artist(by.artist_uid, found);
    return found;
  }

 private:
  bool track(const seed_reference& by, seed_record& to) {
    if (by.tui.empty()) return false;
    statement row = db_.prepared(
        "SELECT track.id, artist_id, ifnull(album_id, 0), title_key, year, title, name, attrs, uid, EXISTS (SELECT 1 "
        "FROM "
        "sound WHERE sound.track=track.id AND placed=1) FROM track JOIN artist ON artist.id=artist_id WHERE tui=? "
        "ORDER BY tag<>?, track.id LIMIT 1");
    if (!row.bind(std::string_view(by.tui), signed_tag(by.tag)).step()) return false;
    to.track = row.integer(0);
    const bool named = !is_no_artist(row.text(8));
    to.artist = named ? row.integer(1) : 0;
    to.album = row.integer(2);
    to.title_key = row.integer(3);
    to.year = static_cast<int>(row.within(4, 0, k_last_year));
    to.title = row.text(5);
    if (named) to.artist_name = row.text(6);
    if (row.integer(9) != 0) to.sounds = {to.track};
    bool told = false;  // what kind of music it is
    each_attribute(row, 7, [&](int64_t id) {
      to.attributes.push_back(id);
      const attribute_kind kind = learn_(id).kind;
      told = told || kind == k_genre || kind == k_mood;
    });
    if (!told && named) artist_attributes(to);
    return true;
  }
  void artist(const std::string& uid, seed_record& to) {
    if (uid.empty() || is_no_artist(uid)) return;
    statement row = db_.prepared("SELECT id, name FROM artist WHERE uid=?");
    if (!row.bind(std::string_view(uid)).step()) return;
    to.artist = row.integer(0);
    to.artist_name = row.text(1);
    artist_attributes(to);
    statement heard = db_.prepared(
        "SELECT t.id FROM track t JOIN sound s ON s.track=t.id AND placed=1 WHERE artist_id=? "
        "ORDER BY popularity DESC, t.id LIMIT ?");
    heard.bind(to.artist, k_sounds_of_artist);
    while (heard.step()) to.sounds.push_back(heard.integer(0));
  }
  void artist_attributes(seed_record& to) {
    statement row = db_.prepared(
        "SELECT attribute, tracks FROM artist_attribute WHERE artist=?1 ORDER BY tracks DESC, attribute LIMIT ?2");
    row.bind(to.artist, k_artist_attributes);
    while (row.step()) {
      learn_(row.integer(0));
      to.artist_attributes.emplace_back(row.integer(0), row.count(1));
    }
  }
  connection& db_;
  Learn learn_;
};

int64_t artist_named(connection& db, std::string_view name) {
  statement row = db.prepared("SELECT id FROM artist WHERE name_key=? ORDER BY tracks DESC, id LIMIT 1");
  return first_of(row.bind(key(name)));
}

// ---- Candidates ---------------------------------------------------------------------------------------------------------------

#define CANDIDATE_COLUMNS \
  "t.id, t.artist_id, ifnull(t.album_id, 0), t.title_key, t.popularity, t.year, t.attrs, t.path, t.source, t.duration"

/** Takes in the rows of windows: those that pass and weren't met before. */
template <class Learn>
class looker {
 public:
  looker(connection& db, Learn learn, const search& asked, candidates& into)
      : db_(db), learn_(learn), filter_(*asked.filter), brief_(asked.brief), into_(into) {
    statement shortest = db_.prepared("SELECT amount FROM total WHERE name='shortest'");
    shortest_ = first_of(shortest);
    statement nobody = db_.prepared("SELECT id FROM artist WHERE uid=?");
    no_artist_ = first_of(nobody.bind(std::string_view(no_artist_uid())));
  }

  void look(const window& at) {
    step_ = at.step;
    switch (at.of) {
      case window::of_attribute:
        return through(db_.prepared("SELECT " CANDIDATE_COLUMNS
                                    " FROM track_attribute a CROSS JOIN track t ON t.id=a.track "
                                    "WHERE a.attribute=? AND a.level=? AND a.track>=? ORDER BY a.track LIMIT ?")
                           .bind(at.id, at.level, at.from, at.limit));
      case window::of_artist:
        return artist(at.id, at.limit);
      case window::of_album:
        return through(
            db_.prepared("SELECT " CANDIDATE_COLUMNS " FROM track t WHERE album_id=? ORDER BY number, id LIMIT ?")
                .bind(at.id, at.limit));
      case window::of_sound:
        return sound(at.id, at.limit);
      case window::below_path:
        return path(at.limit);
      case window::passing:
        wanted_ = at.limit;
        smallest_set();
        wanted_ = k_no_limit;
    }
  }

  /** What sounds like a track, told but not taken. */
  near_sounds hear(int64_t track) {
    near_sounds near;
    {
      statement row = db_.prepared("SELECT nearest, " SONIC_COLUMNS
                                   " FROM sound s JOIN sound_list l ON layer=0 AND l.id=s.id WHERE track=?");
      if (!row.bind(track).step()) return near;
      near = list_in(row, 0);
      into_.hear(track, sonic_in(row, 1), {track, 1});  // nothing sounds more like it than itself
    }
    statement row = db_.prepared("SELECT track, " SONIC_COLUMNS " FROM sound s WHERE id=?");
    for (near_sound& each : near) {
      each.id = row.bind(each.id).step() ? row.integer(0) : 0;
      if (each.id != 0) into_.hear(each.id, sonic_in(row, 1), {track, likeness_of(each.distance)});
      row.rewind();
    }
    return near;
  }

 private:
  void sound(int64_t track, uint32_t limit) {
    near_sounds near = hear(track);
    near.resize(std::min<size_t>(near.size(), limit));
    statement row = db_.prepared("SELECT " CANDIDATE_COLUMNS " FROM track t WHERE id=?");
    for (const near_sound& each : near) {
      through(row.bind(each.id));
      row.rewind();
    }
  }
  void artist(int64_t id, int64_t limit) {
    through(
        db_.prepared("SELECT " CANDIDATE_COLUMNS " FROM track t WHERE artist_id=? ORDER BY popularity DESC, id LIMIT ?")
            .bind(id, limit));
  }
  void path(int64_t limit) {
    const std::string end =
        filter_.path + "\xf4\x8f\xbf\xbf";  // U+10FFFF follows every character that a path goes on with
    through(db_.prepared("SELECT " CANDIDATE_COLUMNS " FROM track t WHERE path>=? AND path<? LIMIT ?")
                .bind(std::string_view(filter_.path), std::string_view(end), limit));
  }
  /** Goes through the smallest of the sets that the filter names. */
  void smallest_set() {
    if (filter_.artist != 0) return artist(filter_.artist, k_no_limit);
    if (!filter_.path.empty()) return path(k_no_limit);
    std::vector<int64_t> smallest;
    int64_t fewest = k_no_limit;
    const auto consider = [&](const std::vector<int64_t>& ids) {
      int64_t tracks = 0;
      for (const int64_t id : ids) tracks += learn_(id).tracks;
      if (tracks < fewest) fewest = tracks, smallest = ids;
    };
    if (filter_.genre != 0) consider({filter_.genre});
    for (const attribute_kind kind : k_all_kinds) {
      if (filter_.set[kind]) consider(filter_.any_of[kind]);
    }
    for (const int64_t id : smallest)
      through(db_.prepared("SELECT " CANDIDATE_COLUMNS " FROM track_attribute a CROSS JOIN track t ON t.id=a.track "
                           "WHERE a.attribute=? ORDER BY a.level DESC, a.track")
                  .bind(id));
  }

  void through(statement& row) {
    while (wanted_ > 0 && row.step()) take(row);
  }

  void take(statement& row) {
    const int64_t id = row.integer(0);
    if (!into_.meet(id)) return;
    attributes_.clear();
    each_attribute(row, 6, [&](int64_t attribute) { attributes_.push_back(attribute); });
    if (!filter_.passes(row.integer(1), attributes_, filter_.path.empty() ? std::string_view() : row.text(7))) return;
    if (is_brief(row) && std::find(brief_.begin(), brief_.end(), id) == brief_.end()) return;
    for (const int64_t attribute : attributes_) learn_(attribute);
    --wanted_;
    const int64_t artist = row.integer(1) == no_artist_ ? 0 : row.integer(1), album = row.integer(2);
    into_.add({.id = id,
               .artist = artist,
               .album = album,
               .title_key = row.integer(3),
               .family = family_of(id, artist, album),
               .popularity = static_cast<int>(row.within(4, 0, k_most_popular)),
               .year = static_cast<int>(row.within(5, 0, k_last_year)),
               .first_attribute = 0,
               .attributes = 0,
               .step = step_},
              attributes_);
  }

  /** An audio file that is too short to be music. */
  bool is_brief(const statement& row) const {
    return row.integer(8) == 0 && row.integer(9) != 0 && row.integer(9) < shortest_;
  }

  connection& db_;
  Learn learn_;
  const track_filter& filter_;
  const std::vector<int64_t>& brief_;
  candidates& into_;
  int64_t shortest_ = 0, no_artist_ = 0;
  std::vector<int64_t> attributes_; /* of the row */
  uint32_t step_ = 0;
  int64_t wanted_ = k_no_limit;
};

// ---- Records --------------------------------------------------------------------------------------------------------------------

/** Reads records, each once. */
template <class Learn>
class describer {
 public:
  describer(connection& db, Learn learn, records& into) : db_(db), learn_(learn), into_(into) {}

  void track(int64_t id, bool with_album) {
    if (into_.tracks.contains(id)) return;
    statement row = db_.prepared(
        "SELECT track.artist_id, ifnull(album_id, 0), popularity, year, duration, tag, tui, track.title, credit, path, "
        "album.title, attrs, s.id IS NOT NULL AND why IS NULL, number, " SONIC_COLUMNS
        " FROM track LEFT JOIN album ON album.id=album_id LEFT JOIN sound s ON s.track=track.id WHERE track.id=?");
    if (!row.bind(id).step()) return;
    track_record made;
    made.artist = row.integer(0);
    made.album = row.integer(1);
    made.popularity = static_cast<int>(row.within(2, 0, k_most_popular));
    made.year = static_cast<int>(row.within(3, 0, k_last_year));
    made.duration = row.count(4);
    made.number = row.count(13);
    made.tag = static_cast<uint64_t>(row.within(5, 0, 0xffffffff));
    made.tui = row.text(6);
    made.title = row.text(7);
    made.credit = row.text(8);
    made.path = row.text(9);
    made.album_title = row.text(10);
    each_attribute(row, 11, [&](int64_t attribute) {
      learn_(attribute);
      made.attributes.push_back(attribute);
    });
    if (row.integer(12) != 0) made.sound = sonic_in(row, 14);
    artist(made.artist);
    if (with_album && made.album != 0) album(made.album, false);
    into_.tracks.emplace(id, std::move(made));
  }

  void album(int64_t id, bool with_tracks) {
    const auto [place, fresh] = into_.albums.try_emplace(id);
    if (!fresh) return;
    album_record made;
    {
      statement row = db_.prepared("SELECT title, artist_id, tracks FROM album WHERE id=?");
      if (!row.bind(id).step()) {
        into_.albums.erase(place);
        return;
      }
      made.title = row.text(0);
      made.artist = row.integer(1);
      made.count = row.count(2);
    }
    artist(made.artist);
    if (with_tracks) {
      statement row = db_.prepared("SELECT id FROM track WHERE album_id=? ORDER BY number, id LIMIT ?");
      row.bind(id, k_tracks_of_album);
      while (row.step()) made.tracks.push_back(row.integer(0));
      for (const int64_t each : made.tracks) track(each, false);
    }
    into_.albums[id] = std::move(made);
  }

  /** The genre and the era of most of its tracks stand for an artist. */
  void artist(int64_t id) {
    const auto [place, fresh] = into_.artists.try_emplace(id);
    if (!fresh) return;
    artist_record& made = place->second;
    {
      statement row = db_.prepared("SELECT uid, name, tracks FROM artist WHERE id=?");
      if (row.bind(id).step()) made.uid = row.text(0), made.name = row.text(1), made.count = row.count(2);
    }
    int64_t best[k_kinds] = {}, most[k_kinds] = {};
    statement row = db_.prepared("SELECT attribute, tracks FROM artist_attribute WHERE artist=?");
    row.bind(id);
    while (row.step()) {
      const attribute_kind kind = learn_(row.integer(0)).kind;
      if (row.count(1) > most[kind]) most[kind] = row.integer(1), best[kind] = row.integer(0);
    }
    made.genre = best[k_genre];
    made.era = best[k_era];
  }

 private:
  connection& db_;
  Learn learn_;
  records& into_;
};

// ---- Descriptions -----------------------------------------------------------------------------------------------------------------

/** A track or an album by its title. */
struct titled {
  const char* exact_of_artist;
  const char* exact;
  const char* artist_of;
  uint32_t kind;
};
constexpr titled k_track = {
    "SELECT id FROM track WHERE title_key=? AND artist_id=? ORDER BY popularity DESC, id LIMIT 1",
    "SELECT id FROM track WHERE title_key=? LIMIT 1", "SELECT artist_id FROM track WHERE id=?", VELOX_CATALOG_TRACKS};
constexpr titled k_album = {"SELECT id FROM album WHERE title_key=? AND artist_id=? ORDER BY id LIMIT 1",
                            "SELECT id FROM album WHERE title_key=? LIMIT 1", "SELECT artist_id FROM album WHERE id=?",
                            VELOX_CATALOG_ALBUMS};

/** Finds what names and titles mean: exact names first, then names that hold all the words. */
class identifier {
 public:
  identifier(connection& db, sqlite_store& store) : db_(db), store_(store) {}

  int64_t artist(std::string_view name) {
    if (const int64_t exact = artist_named(db_, name)) return exact;
    const std::vector<int64_t> found = store_.find(VELOX_CATALOG_ARTISTS, name, 1);
    return found.empty() ? 0 : found[0];
  }
  int64_t by_title(const titled& what, std::string_view title, std::string_view artist_name) {
    if (title.empty()) return 0;
    const int64_t of = artist_name.empty() ? 0 : artist(artist_name);
    if (!artist_name.empty() && of == 0) return 0;
    if (const int64_t exact = exactly(what, title, of)) return exact;
    const std::string text = of != 0 ? std::string(title) + " " + std::string(artist_name) : std::string(title);
    for (const int64_t id : store_.find(what.kind, text, k_identified_by_words)) {
      statement row = db_.prepared(what.artist_of);
      if (of == 0 || first_of(row.bind(id)) == of) return id;
    }
    return 0;
  }

 private:
  int64_t exactly(const titled& what, std::string_view title, int64_t of) {
    statement row = db_.prepared(of != 0 ? what.exact_of_artist : what.exact);
    row.bind(key(title));
    if (of != 0) row.bind(of);
    return first_of(row);
  }
  connection& db_;
  sqlite_store& store_;
};

}  // namespace

resolved sqlite_store::resolve(const references& asked) {
  resolved found;
  learn(k_everything);
  for (const int64_t id : asked.attributes) learn(id);
  seed_reader seeds(db_, [&](int64_t id) -> const attribute_info& { return learn(id); });
  for (const seed_reference& each : asked.seeds) found.seeds.push_back(seeds.read(each));
  if (!asked.place.genre.empty()) {
    statement row = db_.prepared("SELECT id FROM attribute WHERE kind=? AND name_key=?");
    found.genre = first_of(row.bind(static_cast<int>(k_genre), key(asked.place.genre)));
    if (found.genre != 0) learn(found.genre);
  }
  if (!asked.place.artist.empty()) found.artist = artist_named(db_, asked.place.artist);
  statement row = db_.prepared("SELECT ifnull(max(id), 0) FROM track");
  found.last_track = first_of(row);
  return found;
}

memories sqlite_store::look(const search& asked, candidates& into) {
  const size_t known = into.all().size();
  looker through(
      db_, [&](int64_t id) -> const attribute_info& { return learn(id); }, asked, into);
  for (const window& each : asked.windows) through.look(each);
  for (const int64_t each : asked.avoided) through.hear(each);
  if (!asked.remembers) return {};
  std::vector<int64_t> of = asked.also;
  for (size_t i = known; i < into.all().size(); ++i) of.push_back(into.all()[i].id);
  return remember(asked.station, of);
}

records sqlite_store::describe(const subjects& asked) {
  records made;
  describer of(
      db_, [&](int64_t id) -> const attribute_info& { return learn(id); }, made);
  for (const int64_t id : asked.tracks) of.track(id, asked.with_albums);
  for (const int64_t id : asked.albums) of.album(id, asked.with_tracks);
  for (const int64_t id : asked.artists) of.artist(id);
  return made;
}

identified sqlite_store::identify(const description& asked) {
  identified found;
  identifier by(db_, *this);
  const bool exact = !asked.tui.empty();
  if (exact) {
    statement row = db_.prepared("SELECT id FROM track WHERE tui=? ORDER BY tag<>?, id LIMIT 1");
    found.track = first_of(row.bind(asked.tui, signed_tag(asked.tag)));
  } else {
    found.track = by.by_title(k_track, asked.track_title, asked.track_artist);
  }
  if (found.track != 0) {
    statement row = db_.prepared("SELECT ifnull(album_id, 0) FROM track WHERE id=?");
    found.album = first_of(row.bind(found.track));
  } else if (!exact) {
    found.album = by.by_title(k_album, asked.album_title, asked.album_artist);
  }
  const std::string_view name = asked.track_artist.empty() ? asked.album_artist : asked.track_artist;
  const bool untitled = asked.track_title.empty() && asked.album_title.empty();
  if (untitled && !exact && !name.empty()) found.artist = by.artist(name);
  return found;
}

}  // namespace velox::catalog::sqlite
