// Browsing: what the catalogue holds by place and order, its chart and its folders.
#include <algorithm>
#include <cstring>

#include "api/telling.h"
#include "choice/objects.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr size_t k_described_at_once = 200;
constexpr uint32_t k_most_at_once = 10'000;
constexpr int k_last_year = 9999;

bool tell_some(store& from, uint32_t kind, std::span<const int64_t> ids, velox_catalog_find_fn on_find, void* context) {
  subjects wanted{.with_albums = true, .with_tracks = true};
  std::vector<int64_t>& of_kind = kind == VELOX_CATALOG_TRACKS   ? wanted.tracks
                                  : kind == VELOX_CATALOG_ALBUMS ? wanted.albums
                                                                 : wanted.artists;
  of_kind.assign(ids.begin(), ids.end());
  const records told = from.describe(wanted);
  object_maker make(from, told);
  for (const int64_t id : ids) {
    const standin::mdo_ref found = kind == VELOX_CATALOG_TRACKS   ? make.track(id)
                                   : kind == VELOX_CATALOG_ALBUMS ? make.album(id)
                                                                  : make.artist(id);
    if (on_find(context, found.get()) != 0) return false;
  }
  return true;
}

std::string text_of(const char* text) { return text ? text : ""; }

int year_of(uint32_t year) { return static_cast<int>(std::min<uint32_t>(year, k_last_year)); }

browsing browsing_of(const velox_catalog_browsing& asked) {
  browsing made{.kind = asked.kind,
                .track = text_of(asked.track),
                .track_tag = text_of(asked.track_tag),
                .artist = text_of(asked.artist),
                .first_year = year_of(asked.first_year),
                .last_year = year_of(asked.last_year),
                .order = asked.order,
                .random_seed = asked.random_seed,
                .offset = asked.offset,
                .limit = std::min(asked.limit, k_most_at_once)};
  if (asked.list_type) {
    made.list = kind_of_list(asked.list_type);
    made.element = text_of(asked.element);
  }
  return made;
}

}  // namespace

bool tell_found(store& from, uint32_t kind, std::span<const int64_t> ids, velox_catalog_find_fn on_find,
                void* context) {
  for (size_t at = 0; at < ids.size(); at += k_described_at_once) {
    const std::span some = ids.subspan(at, std::min(k_described_at_once, ids.size() - at));
    if (!tell_some(from, kind, some, on_find, context)) return false;
  }
  return true;
}

attribute_kind kind_of_list(const char* list_type) {
  for (const attribute_kind kind : k_all_kinds) {
    if (std::strcmp(list_type, k_list_types[kind]) == 0) return kind;
  }
  throw failure{VELOX_STANDIN_ERR_NOT_FOUND, std::string("there is no list \"") + list_type + "\""};
}

}  // namespace velox::catalog

using namespace velox::catalog;

pask_status velox_catalog_browse(velox_catalog_handle catalog, const velox_catalog_browsing* what,
                                 velox_catalog_find_fn on_find, void* context) {
  return guarded(__func__, [&] {
    require(catalog && what && on_find && what->order <= VELOX_CATALOG_RANDOM,
            "a catalogue, a known order and a function are needed");
    require(
        what->kind == VELOX_CATALOG_TRACKS || what->kind == VELOX_CATALOG_ALBUMS || what->kind == VELOX_CATALOG_ARTISTS,
        "one kind is needed");
    browsing asked = browsing_of(*what);
    if (what->album) {
      asked.album = album_in(what->album);
      if (!asked.album) return;  // no text of ours: there is no such album
    }
    const in_use open(catalog);
    const view all(open.from());
    tell_found(open.from(), asked.kind, open.from().browse(asked), on_find, context);
  });
}

pask_status velox_catalog_chart(velox_catalog_handle catalog, velox_catalog_chart_fn on_cell, void* context) {
  return guarded(__func__, [&] {
    require(catalog && on_cell, "a catalogue and a function are needed");
    const in_use open(catalog);
    const view all(open.from());
    for (const chart_cell& each : open.from().chart())
      if (on_cell(context, each.genre.c_str(), static_cast<uint32_t>(each.decade),
                  static_cast<uint64_t>(each.tracks)) != 0)
        return;
  });
}

pask_status velox_catalog_places(velox_catalog_handle catalog, velox_catalog_place_fn on_place, void* context) {
  return guarded(__func__, [&] {
    require(catalog && on_place, "a catalogue and a function are needed");
    const in_use open(catalog);
    const view all(open.from());
    for (const std::string& each : open.from().places())
      if (on_place(context, each.c_str()) != 0) return;
  });
}
