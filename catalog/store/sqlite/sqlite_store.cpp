// Views, and what is kept of attributes between them; the lists and counts.
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog::sqlite {

std::unique_ptr<store> open(std::string_view path, role as) {
  if (path.starts_with("///")) path.remove_prefix(2);
  if (path.empty()) throw failure{VELOX_STANDIN_ERR_INVALID_ARG, "service URL \"sqlite:\" names no file"};
  return std::make_unique<sqlite_store>(std::string(path), as);
}

void attribute_cache::refresh(connection& db) {
  statement row = db.prepared("PRAGMA data_version");
  const int64_t version = row.step() ? row.integer(0) : -1;
  if (version != version_) known_.clear();
  version_ = version;
}

const attribute_info& attribute_cache::learn(connection& db, int64_t id) {
  const auto [place, fresh] = known_.try_emplace(id);
  attribute_info& info = place->second;
  if (!fresh) return info;
  try {
    if (id != k_everything) {
      statement row = db.prepared("SELECT kind, name FROM attribute WHERE id=?");
      if (!row.bind(id).step()) return info;
      info.kind = static_cast<attribute_kind>(row.within(0, k_genre, k_era));
      info.name = row.text(1);
    }
    statement level = db.prepared("SELECT level, tracks FROM attribute_level WHERE attribute=?");
    level.bind(id);
    while (level.step()) {
      info.levels[static_cast<size_t>(level.within(0, 0, k_levels - 1))] = level.count(1);
      info.tracks += level.count(1);
    }
  } catch (...) {
    known_.erase(place);
    throw;
  }
  return info;
}

const attribute_info& attribute_cache::at(int64_t id) const {
  static const attribute_info nothing;
  const auto found = known_.find(id);
  return found == known_.end() ? nothing : found->second;
}

void sqlite_store::begin(bool writes) {
  db_.execute(writes ? "BEGIN IMMEDIATE" : "BEGIN");
  try {
    attributes_.refresh(db_);
  } catch (...) {
    roll_back();
    throw;
  }
}

std::vector<int64_t> sqlite_store::list(attribute_kind kind) {
  std::vector<int64_t> listed;
  statement row = db_.prepared("SELECT id FROM attribute WHERE kind=?");
  row.bind(static_cast<int>(kind));
  while (row.step()) {
    if (learn(row.integer(0)).tracks > 0) listed.push_back(row.integer(0));
  }
  return listed;
}

catalogue_counts sqlite_store::count() {
  const auto total = [&](std::string_view name) {
    statement row = db_.prepared("SELECT amount FROM total WHERE name=?");
    return row.bind(name).step() ? static_cast<uint64_t>(row.count(0)) : 0;
  };
  const uint64_t tracks = total("tracks");
  statement row = db_.prepared("SELECT ifnull(sum(tracks), 0) FROM source WHERE invented=1");
  const bool invented = row.step() && tracks > 0 && static_cast<uint64_t>(row.count(0)) == tracks;
  return {tracks, total("albums"), total("artists"), invented};
}

}  // namespace velox::catalog::sqlite
