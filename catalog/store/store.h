// The one boundary between the catalogue and the engine that keeps it. Above it nobody knows SQL or an engine's name; below it
// nobody chooses or scores. The engine's folder is the door for a further one: it implements `store`, and engines.cpp names it.
//
// A store answers in sets. Each operation that tells something is one question: an engine across a network takes one exchange
// for it, however many rows it is about. begin() and commit() travel with the questions between them.
//
// What is read is checked where it is read: a kind, level, count or number that can't be is a failure that says the catalogue is
// damaged. A store belongs to one thread at a time.
#ifndef VELOX_CATALOG_STORE_STORE_H
#define VELOX_CATALOG_STORE_STORE_H

#include <functional>
#include <memory>
#include <optional>

#include "model/browsing.h"
#include "model/candidate.h"
#include "model/failure.h"
#include "model/match.h"
#include "model/records.h"
#include "model/references.h"
#include "model/song.h"
#include "model/sound.h"

namespace velox::catalog {

/** What a store is opened for; none can become another. */
enum class role {
  read,     /* the catalogue must be there; nothing is ever written */
  stations, /* the same, but stations and what happens on them are written */
  fill      /* everything; made when missing */
};

// ---- What a request goes by ---------------------------------------------------------------------------------------------

/** What a seed is like. */
struct seed_record {
  int64_t track = 0, artist = 0, album = 0; /* 0: none; all 0 where the catalogue has nothing of it */
  int64_t title_key = 0;
  int year = 0;
  std::vector<int64_t> sounds;     /* tracks whose sound is known, and stands for it */
  std::vector<int64_t> attributes; /* the track's own */
  /** What most of the artist's tracks have, with their number, most first: where the track has neither genre nor mood. */
  std::vector<std::pair<int64_t, int64_t>> artist_attributes;
  std::string title, artist_name;
};

struct resolved {
  std::vector<seed_record> seeds; /* in the order asked */
  int64_t genre = 0, artist = 0;  /* that the place names; 0: none is called so */
  int64_t last_track = 0;         /* the highest number of a track */
};

// ---- Looking for tracks ---------------------------------------------------------------------------------------------------

/** A part of the catalogue to look at, by an index. */
struct window {
  enum kind : uint8_t {
    of_attribute, /* `id` and `level`, from the track number `from` on, in order of numbers */
    of_artist,    /* `id`, most popular first */
    of_album,     /* `id`, in order */
    of_sound,     /* what sounds like the track `id`, nearest first */
    below_path,   /* `path` is the filter's */
    passing       /* the smallest set that the filter names, until `limit` further tracks have passed */
  } of;
  uint32_t limit; /* tracks looked at */
  int64_t id = 0;
  int level = 0;
  int64_t from = 0;
  uint32_t step = 0; /* handed on to what is found */
};

using memories = std::unordered_map<int64_t, memory>; /* by track */

struct search {
  std::vector<window> windows; /* a track of several is the first one's */
  const track_filter* filter;
  std::vector<int64_t> brief = {};   /* tracks that may be short */
  std::vector<int64_t> avoided = {}; /* tracks: what sounds like them is told, and not looked for */
  /* What a station remembers (with station 0 the identities alone) of what is found, and of tracks that were met before. */
  bool remembers = false;
  int64_t station = 0;
  std::vector<int64_t> also = {};
};

// ---- Stations ---------------------------------------------------------------------------------------------------------------

/** What a request brings to a station. */
struct station_visit {
  std::string_view uid;
  std::map<std::string, std::string> settings; /* hold for this visit */
  bool keeps_settings = false;                 /* and from now on */
  std::vector<told_event> events;              /* happened, in this order, at `now` */
  int64_t now = 0;                             /* seconds since 1970 */
};

/** A track that pushes away what sounds like it. */
struct avoided_track {
  int64_t track;
  float weight; /* 0 to 1 */
};

/** What a station's next tracks are chosen from. */
struct station_opening {
  station of;
  std::vector<told_event> likes;      /* the latest, latest first */
  std::vector<avoided_track> avoided; /* disliked and skipped lately */
  std::vector<heard_track>
      heard;     /* the latest, latest first: so many, and all of the time that the rule of radio looks at */
  resolved from; /* the seeds of the station's data by ordinal, then the likes */
};

constexpr int64_t k_likes_that_draw = 5;
constexpr size_t k_heard_lately = 12;
constexpr int64_t k_radio_rule_seconds = 3 * 60 * 60;

// ---- Filling ------------------------------------------------------------------------------------------------------------------

/** An audio file that the catalogue knows, as a track or as another file with a track's content. */
struct known_file {
  uint64_t path_hash;
  int64_t id; /* of the track, or of the duplicate */
  int64_t size, stamp;
  bool duplicate;
};

/** A line of a table that the catalogue knows. */
struct known_line {
  int64_t stamp, track;
  uint64_t tui_hash;
};

/** A file whose content is a track's. */
struct duplicate {
  int64_t id, track, size, stamp;
  std::string path;
};

/** A track of a file's content. */
struct content {
  int64_t digest;
  uint64_t size;
};
struct track_of_content {
  int64_t track; /* 0: none */
  std::string path;
};

/** A change of what the catalogue holds. The number of a track that the same batch puts is told as -1 - its place there. */
struct change {
  enum kind : uint8_t {
    put_track,        /* `what`, in place of the track `id`, where that isn't 0 */
    remove_track,     /* `id` */
    put_duplicate,    /* `what` is a file of the content of the track `id` */
    remove_duplicate, /* the duplicate `id` */
    hand_duplicates   /* those of the track `id` are the track `to`'s */
  } of;
  int64_t id = 0, to = 0;
  song what = {};
};

struct catalogue_counts {
  uint64_t tracks, albums, artists;
  bool invented; /* all tracks are of tables that say so */
};

// ---- Sounds -------------------------------------------------------------------------------------------------------------------

/** How many sounds there are, and where the neighbourhood stands. */
struct sound_census {
  int64_t sounds = 0, unplaced = 0, gone = 0; /* gone: that others may still name as near */
  int64_t settled = 0, settled_last = 0;      /* when all were last placed anew: how many, and the highest number */
  int top = 0;                                /* the highest layer that has any */
};

/** The nearest of a sound among those of a layer; layer 0 has all. */
struct sound_list {
  int layer;
  int64_t id;
  near_sounds nearest;
};

/** What has been found out about sounds. */
struct sound_placing {
  std::vector<std::pair<int64_t, sound_scale>> placed = {};
  std::vector<sound_list> lists = {};
  std::vector<int64_t> seen_to = {}; /* of those that have gone: nobody names them any more */
  /* Not 0: nothing else is placed from now on, and sounds up to this number have been counted. */
  int64_t anew_last = 0;
};

/** What a track sounds like, and the tracks that are near to it. */
struct track_sound {
  velox_sound record;
  near_sounds nearest; /* by track */
};

struct sound_counts {
  uint64_t heard = 0, unheard = 0, failed = 0, brief = 0;
};

// ---- The store ------------------------------------------------------------------------------------------------------------------

class store {
 public:
  virtual ~store() = default;
  store() = default;
  store(const store&) = delete;
  store& operator=(const store&) = delete;

  /** For messages: "catalogue "/music.db"". */
  virtual std::string name() const = 0;
  /** Whether the service URL still names what is open. */
  virtual bool current() const = 0;
  /** Asked now and then in a long question; false ends it with a failure. Null for none. */
  virtual void watch(std::function<bool()> go_on) = 0;

  /* One view of the catalogue for several questions, and all of what is written or nothing. */
  virtual void begin(bool writes) = 0;
  virtual void commit() = 0;
  virtual void roll_back() noexcept = 0;

  /** An attribute that an answer inside this view has named. */
  virtual const attribute_info& attribute(int64_t id) const = 0;

  // Requests
  virtual resolved resolve(const references& asked) = 0;
  virtual memories look(const search& asked, candidates& into) = 0;
  virtual records describe(const subjects& asked) = 0;
  virtual identified identify(const description& asked) = 0;

  // Finding
  virtual std::vector<int64_t> find(uint32_t kind, std::string_view text,
                                    uint32_t limit) = 0;      /* a VELOX_CATALOG_ bit */
  virtual std::vector<int64_t> list(attribute_kind kind) = 0; /* the attributes of a kind that have tracks */
  virtual catalogue_counts count() = 0;
  virtual std::vector<int64_t> browse(const browsing& asked) = 0; /* of the kind asked for, in order */
  virtual std::vector<chart_cell> chart() = 0;
  virtual std::vector<std::string> places() = 0; /* folders that have been scanned */

  // Stations
  virtual void create(station& made, int64_t now) = 0; /* fills in its number */
  virtual std::optional<station_opening> visit(const station_visit& by) = 0;
  virtual memories remember(int64_t station, std::span<const int64_t> tracks) = 0;
  virtual std::vector<station_summary> stations() = 0; /* last used first */
  /* False for a station that isn't there. */
  virtual bool past_of(std::string_view uid, const std::function<bool(const past_event&)>& each) = 0; /* oldest first */
  virtual bool rename(std::string_view uid, const std::string& name) = 0;
  virtual bool remove(std::string_view uid) = 0;

  // Filling
  virtual void enter_place(const std::string& folder) = 0;
  virtual int64_t enter_source(const std::string& path, bool invented) = 0; /* a table; by its path it is found again */
  virtual std::vector<known_line> lines_of(int64_t source) = 0;
  virtual std::vector<known_file> files_at(const std::string& path, bool folder) = 0;
  virtual std::vector<std::string> paths_of(std::span<const known_file> files) = 0; /* empty for one that has gone */
  virtual std::vector<track_of_content> tracks_of(std::span<const content> contents) = 0;
  virtual std::vector<duplicate> duplicates_of(std::span<const int64_t> tracks) = 0; /* by track, in order of paths */
  virtual void apply(std::span<const change> batch) = 0;                             /* all or nothing, by itself */

  // Sounds
  virtual std::vector<unheard_file> unheard(uint32_t method, int64_t after, uint32_t limit) = 0;
  /** By itself. `sound` null: it can't be listened to. A file that has changed or gone is passed over. */
  virtual void put_sound(int64_t track, int64_t content, const velox_sound* sound, std::string_view why) = 0;
  virtual sound_counts count_sounds(uint32_t method) = 0;
  virtual void set_shortest(int64_t seconds) = 0;
  virtual sound_census sounds_there() = 0;
  virtual std::vector<int64_t> sound_numbers(bool unplaced, int64_t after, uint32_t limit) = 0; /* in order */
  virtual std::vector<kept_sound> sounds(std::span<const int64_t> ids) = 0; /* those that are there, in no order */
  virtual std::vector<sound_list> sound_lists(int layer, std::span<const int64_t> ids) = 0; /* the same */
  virtual std::vector<int64_t> sounds_on(int layer, uint32_t limit) = 0;
  virtual std::vector<sound_list> gone_sounds(uint32_t limit) = 0; /* with the lists that they had */
  virtual std::optional<track_sound> sound_of(int64_t track) = 0;
  virtual void place(const sound_placing& what) = 0; /* all or nothing, by itself */
};

/** A view, or with `writes` a transaction; rolled back unless committed. */
class view {
 public:
  explicit view(store& of, bool writes = false) : of_(of) { of_.begin(writes); }
  ~view() {
    if (open_) of_.roll_back();
  }
  view(const view&) = delete;
  view& operator=(const view&) = delete;
  void commit() {
    of_.commit();
    open_ = false;
  }

 private:
  store& of_;
  bool open_ = true;
};

/** Opens the catalogue of a service URL; a failure leaves what isn't a catalogue of ours untouched. */
std::unique_ptr<store> open_store(std::string_view url, role as);

}  // namespace velox::catalog

#endif
