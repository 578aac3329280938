// The store over an SQLite file. Its operations stand in the sources of their subjects: sqlite_store.cpp (views, attributes,
// lists), requests.cpp, search.cpp, browsing.cpp, stations.cpp, sounds.cpp, filling.cpp with the writer.
//
// A question here is several statements: no network lies between. Each statement is prepared once per connection.
#ifndef VELOX_CATALOG_SQLITE_STORE_H
#define VELOX_CATALOG_SQLITE_STORE_H

#include "store/sqlite/attributes_text.h"
#include "store/sqlite/connection.h"
#include "store/sqlite/writer.h"
#include "store/store.h"

namespace velox::catalog::sqlite {

/** Opens "/path/to/file.db", as it stands behind "sqlite:"; "///path" is the same as "/path". */
std::unique_ptr<store> open(std::string_view path, role as);

/** Takes away what is known of a track's sound; inside a transaction. */
void retire_sound(connection& db, int64_t track);
/** The same, unless the file is the one that was listened to. */
void retire_changed_sound(connection& db, int64_t track);

/** The attributes that were looked at, kept as long as nobody else writes to the catalogue. */
class attribute_cache {
 public:
  /** Forgets what may have changed; at the head of each view. */
  void refresh(connection& db);
  void clear() { known_.clear(); }
  /** Reads an attribute unless it is known. */
  const attribute_info& learn(connection& db, int64_t id);
  const attribute_info& at(int64_t id) const;

 private:
  std::unordered_map<int64_t, attribute_info> known_;
  int64_t version_ = -1;
};

class sqlite_store final : public store {
 public:
  sqlite_store(std::string path, role as) : db_(std::move(path), as), changes_(db_) {}

  std::string name() const override { return "catalogue \"" + db_.path() + "\""; }
  bool current() const override { return db_.current(); }
  void watch(std::function<bool()> go_on) override { db_.watch(std::move(go_on)); }
  void begin(bool writes) override;
  void commit() override { db_.execute("COMMIT"); }
  void roll_back() noexcept override { db_.roll_back(); }
  const attribute_info& attribute(int64_t id) const override { return attributes_.at(id); }

  resolved resolve(const references& asked) override;
  memories look(const search& asked, candidates& into) override;
  records describe(const subjects& asked) override;
  identified identify(const description& asked) override;

  std::vector<int64_t> find(uint32_t kind, std::string_view text, uint32_t limit) override;
  std::vector<int64_t> list(attribute_kind kind) override;
  catalogue_counts count() override;
  std::vector<int64_t> browse(const browsing& asked) override;
  std::vector<chart_cell> chart() override;
  std::vector<std::string> places() override;

  void create(station& made, int64_t now) override;
  std::optional<station_opening> visit(const station_visit& by) override;
  memories remember(int64_t station, std::span<const int64_t> tracks) override;
  std::vector<station_summary> stations() override;
  bool past_of(std::string_view uid, const std::function<bool(const past_event&)>& each) override;
  bool rename(std::string_view uid, const std::string& name) override;
  bool remove(std::string_view uid) override;

  void enter_place(const std::string& folder) override;
  int64_t enter_source(const std::string& path, bool invented) override;
  std::vector<known_line> lines_of(int64_t source) override;
  std::vector<known_file> files_at(const std::string& path, bool folder) override;
  std::vector<std::string> paths_of(std::span<const known_file> files) override;
  std::vector<track_of_content> tracks_of(std::span<const content> contents) override;
  std::vector<duplicate> duplicates_of(std::span<const int64_t> tracks) override;
  void apply(std::span<const change> batch) override;

  std::vector<unheard_file> unheard(uint32_t method, int64_t after, uint32_t limit) override;
  void put_sound(int64_t track, int64_t content, const velox_sound* sound, std::string_view why) override;
  sound_counts count_sounds(uint32_t method) override;
  void set_shortest(int64_t seconds) override;
  sound_census sounds_there() override;
  std::vector<int64_t> sound_numbers(bool unplaced, int64_t after, uint32_t limit) override;
  std::vector<kept_sound> sounds(std::span<const int64_t> ids) override;
  std::vector<sound_list> sound_lists(int layer, std::span<const int64_t> ids) override;
  std::vector<int64_t> sounds_on(int layer, uint32_t limit) override;
  std::vector<sound_list> gone_sounds(uint32_t limit) override;
  std::optional<track_sound> sound_of(int64_t track) override;
  void place(const sound_placing& what) override;

 private:
  const attribute_info& learn(int64_t id) { return attributes_.learn(db_, id); }
  connection db_;
  attribute_cache attributes_;
  writer changes_;
};

}  // namespace velox::catalog::sqlite

#endif
