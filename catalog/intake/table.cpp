// Tab-separated files: a header line that names the columns, then a track a line. A line's hash tells whether it is known
// already, so that a second scan, or one after an interruption, writes only what differs.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>

#include "intake/scan.h"
#include "intake/tags.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

enum column {
  c_title,
  c_artist,
  c_album,
  c_album_artist,
  c_genre,
  c_mood,
  c_date,
  c_popularity,
  c_path,
  c_track_tui,
  c_artist_id,
  c_duration,
  c_count
};
constexpr const char* k_columns[c_count] = {"title", "artist",     "album", "album_artist", "genre",     "mood",
                                            "date",  "popularity", "path",  "track_tui",    "artist_id", "duration"};
constexpr size_t k_longest_line = 1 << 20;
constexpr uint64_t k_lines_between_steps = 256;
constexpr size_t k_most_columns = 64;

using fields = std::vector<std::string_view>;

void divide(std::string_view line, fields& parts) {
  parts.clear();
  for (;;) {
    const size_t tab = line.find('\t');
    parts.push_back(line.substr(0, tab));
    if (tab == std::string_view::npos) return;
    line.remove_prefix(tab + 1);
  }
}

/** The lines of a text, without their ends. A line that is longer than any may be comes cut, yet too long. */
class line_reader {
 public:
  /** `before_read` is called before each read, which may wait for long. */
  line_reader(const std::string& name, velox_catalog_read_fn read, void* context, std::function<void()> before_read)
      : name_(name), read_(read), context_(context), before_read_(std::move(before_read)), buffer_(1 << 18) {}
  bool next(std::string_view& line) {
    line_.clear();
    bool any = false, complete = false;
    while (!complete && (at_ < end_ || refill())) {
      any = true;
      const char* from = buffer_.data() + at_;
      const auto* feed = static_cast<const char*>(std::memchr(from, '\n', end_ - at_));
      complete = feed != nullptr;
      const size_t length = complete ? static_cast<size_t>(feed - from) : end_ - at_;
      at_ += length + (complete ? 1 : 0);
      if (complete && line_.empty()) {
        line = std::string_view(from, length);  // in the buffer as a whole: nothing is copied
      } else {
        line_.append(from, std::min(length, k_longest_line + 2 - std::min(line_.size(), k_longest_line + 2)));
        line = line_;
      }
    }
    if (!any) return false;
    ++number_;
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (number_ == 1 && line.substr(0, 3) == "\xef\xbb\xbf") line.remove_prefix(3);
    return true;
  }
  std::string where() const { return name_ + ":" + std::to_string(number_); }

 private:
  bool refill() {
    uint32_t got = 0;
    before_read_();
    const pask_status status = read_(context_, buffer_.data(), static_cast<uint32_t>(buffer_.size()), &got);
    if (velox_failed(status)) throw failure{status, name_ + " can't be read"};
    at_ = 0;
    end_ = got;
    return got > 0;
  }

  const std::string& name_;
  velox_catalog_read_fn read_;
  void* context_;
  std::function<void()> before_read_;
  std::vector<char> buffer_;
  size_t at_ = 0, end_ = 0;  // what of the buffer hasn't been given out
  std::string line_;         // a line that lies across the buffer's end
  uint64_t number_ = 0;
};

/** Places of lines by a key. Those of one key are passed once, however often it is asked for: a table may hold the same line
 *  a hundred thousand times. */
class line_index {
 public:
  void add(uint64_t key, uint32_t place) { sorted_.push_back({key, place, 0}); }
  void sort() {
    std::sort(sorted_.begin(), sorted_.end(),
              [](const entry& a, const entry& b) { return a.key != b.key ? a.key < b.key : a.place < b.place; });
  }
  /** The first place of the key that isn't marked, and marks it. */
  std::optional<uint32_t> take(uint64_t key, std::vector<bool>& marked) {
    const auto first = std::lower_bound(sorted_.begin(), sorted_.end(), key,
                                        [](const entry& each, uint64_t wanted) { return each.key < wanted; });
    if (first == sorted_.end() || first->key != key) return std::nullopt;
    for (auto next = first + first->passed; next != sorted_.end() && next->key == key; ++next) {
      ++first->passed;
      if (marked[next->place]) continue;
      marked[next->place] = true;
      return next->place;
    }
    return std::nullopt;
  }

 private:
  struct entry {
    uint64_t key;
    uint32_t place;
    uint32_t passed; /* in the first of a key */
  };
  std::vector<entry> sorted_;
};

/** The tracks that an earlier scan of the file left. Equal lines are as many tracks. */
class earlier {
 public:
  explicit earlier(const std::vector<known_line>& lines) : seen_(lines.size()) {
    for (uint32_t i = 0; i < lines.size(); ++i) {
      tracks_.push_back(lines[i].track);
      by_line_.add(static_cast<uint64_t>(lines[i].stamp), i);
      by_tui_.add(lines[i].tui_hash, i);
    }
    by_line_.sort();
    by_tui_.sort();
  }
  /** Marks a track of such a line as still there; false when there is none left. */
  bool keep(int64_t stamp) { return by_line_.take(static_cast<uint64_t>(stamp), seen_).has_value(); }
  /** The number of a track that a changed line of the same identifier replaces; 0 for none. */
  int64_t replaced(const std::string& tui) {
    if (tui.empty()) return 0;
    const std::optional<uint32_t> place = by_tui_.take(hashed(tui), seen_);
    return place ? tracks_[*place] : 0;
  }
  template <class Each>
  void each_left(Each each) const {
    for (size_t i = 0; i < tracks_.size(); ++i) {
      if (!seen_[i]) each(tracks_[i]);
    }
  }

 private:
  std::vector<int64_t> tracks_;
  std::vector<bool> seen_;
  line_index by_line_, by_tui_;
};

/** A file with its columns. */
class table {
 public:
  table(const std::string& path, std::string_view header) {
    const size_t slash = path.rfind('/');
    folder_ = path.substr(0, slash + 1);
    places_.fill(k_most_columns);
    fields names;
    divide(header, names);
    columns_ = names.size();
    for (size_t i = 0; i < std::min(columns_, k_most_columns); ++i) {
      for (int c = 0; c < c_count; ++c) {
        if (names[i] == k_columns[c]) places_[static_cast<size_t>(c)] = i;
      }
    }
    if (places_[c_title] == k_most_columns || places_[c_artist] == k_most_columns)
      throw failure{VELOX_STANDIN_ERR_INVALID_ARG,
                    path + ": the first line must name the columns, among them title and artist, divided by tabs"};
  }

  /** Reads a line; a non-empty result tells why that can't be done. */
  std::string read(std::string_view line, song& track) {
    if (line.size() > k_longest_line) return "line is too long";
    divide(line, parts_);
    if (parts_.size() > columns_)
      return "line has " + std::to_string(parts_.size()) + " columns, the header " + std::to_string(columns_);
    track.title = clean(field(c_title));
    track.artist = clean(field(c_artist));
    if (track.title.empty() || track.artist.empty()) return "line lacks a title or an artist";
    track.album = clean(field(c_album));
    track.album_artist = clean(field(c_album_artist));
    track.genres = divided(field(c_genre).substr(0, k_longest_list));
    track.moods = divided(field(c_mood).substr(0, k_longest_list));
    track.tui = clean(field(c_track_tui), 100);
    track.artist_id = clean(field(c_artist_id), 100);
    if (const std::string_view path = field(c_path); !path.empty())
      track.path = path[0] == '/' ? std::string(path) : folder_ + std::string(path);
    uint64_t value = 0;
    if (const std::string_view text = field(c_popularity); !text.empty()) {
      if (!number(text, 1000, &value)) return "popularity isn't a whole number from 0 to 1000";
      track.popularity = static_cast<int>(value);
    }
    if (const std::string_view text = field(c_duration); !text.empty()) {
      if (!number(text, 1000000, &value)) return "duration isn't a whole number of seconds";
      track.duration = static_cast<uint32_t>(value);
    }
    if (const std::string_view text = field(c_date); !text.empty()) {
      track.year = year_of(text);
      if (track.year == 0) return "date doesn't begin with a year";
    }
    return {};
  }

 private:
  std::string_view field(column which) const {
    const size_t place = places_[which];
    return place < parts_.size() ? parts_[place] : std::string_view();
  }
  std::string folder_;
  std::array<size_t, c_count> places_;
  size_t columns_;
  fields parts_;
};

void take_line(scan_run& run, table& columns, earlier& before, std::string_view line, int64_t source,
               const line_reader& at) {
  const auto stamp = static_cast<int64_t>(hashed(line));
  if (before.keep(stamp)) {
    ++run.report.unchanged;
    return;
  }
  song track;
  if (const std::string why = columns.read(line, track); !why.empty()) return run.problem(at.where(), why);
  track.source = source;
  track.stamp = stamp;
  const int64_t replaced = before.replaced(track.tui);
  run.changes.put(std::move(track), replaced);
  ++(replaced != 0 ? run.report.updated : run.report.added);
}

}  // namespace

void import_tsv(scan_run& run, const std::string& path, velox_catalog_read_fn read, void* context) {
  line_reader lines(path, read, context, [&] {
    if (run.changes.due()) run.changes.flush();  // the next bytes may be long in coming
    run.step(path);                              // or never end a line
  });
  std::string_view line;
  bool invented = false, more = lines.next(line);
  for (; more && (line.empty() || line[0] == '#'); more = lines.next(line))
    invented = invented || line.find("invented") != std::string_view::npos;
  table columns(path, more ? line : std::string_view());
  const int64_t source = run.into.enter_source(path, invented);
  earlier before(run.into.lines_of(source));
  while (lines.next(line)) {
    if (line.empty() || line[0] == '#') continue;
    if (++run.report.seen % k_lines_between_steps == 0) run.step(lines.where());
    take_line(run, columns, before, line, source, lines);
  }
  before.each_left([&](int64_t id) {
    run.changes.remove(id);
    if (++run.report.removed % k_lines_between_steps == 0) run.step(path);
  });
  run.changes.flush();
}

void scan_tsv(scan_run& run, const std::string& path) {
  struct source {
    const std::string& path;
    int file;
    ~source() { ::close(file); }
    [[noreturn]] void fail() const {
      throw failure{VELOX_STANDIN_ERR_NOT_FOUND, path + " can't be read: " + std::strerror(errno)};
    }
  } from{path, ::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  if (from.file < 0) from.fail();
  const auto read = [](void* context, void* buffer, uint32_t size, uint32_t* got) -> pask_status {
    const auto* file = static_cast<const source*>(context);
    const ssize_t count = ::read(file->file, buffer, size);
    if (count < 0) file->fail();
    *got = static_cast<uint32_t>(count);
    return 0;
  };
  import_tsv(run, path, read, &from);
}

}  // namespace velox::catalog
