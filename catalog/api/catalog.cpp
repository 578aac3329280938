// The operations of velox_catalog.h on an open catalogue. Each checks its arguments and hands over; reading happens inside
// one transaction, so that what is told fits together.
#include "velox_catalog.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include "api/guard.h"
#include "choice/objects.h"
#include "intake/scan.h"
#include "intake/tags.h"
#include "model/text.h"
#include "store/sqlite/search.h"
#include "store/sqlite/stations.h"

using namespace velox::catalog;

struct velox_catalog {
  std::unique_ptr<database> db;
  attributes attrs{*db};
};

namespace {

/** The full path; a trailing slash and links on the way are gone. */
std::string resolved(const char* path) {
  char* whole = ::realpath(path, nullptr);
  if (whole == nullptr)
    throw failure{errno == ENOENT ? VELOX_STANDIN_ERR_NOT_FOUND : VELOX_STANDIN_ERR_INVALID_ARG,
                  std::string("\"") + path + "\" can't be scanned: " + std::strerror(errno)};
  std::string result = whole;
  std::free(whole);
  return result;
}

bool ends_in(const std::string& path, std::string_view ending) {
  return path.size() > ending.size() && path.compare(path.size() - ending.size(), ending.size(), ending) == 0;
}

struct list_row {
  int64_t id;
  const attribute_info* info;
};

int kind_of_list(const char* list_type) {
  for (const int kind : {k_genre, k_mood, k_era}) {
    if (std::strcmp(list_type, k_list_types[kind]) == 0) return kind;
  }
  throw failure{VELOX_STANDIN_ERR_NOT_FOUND, std::string("there is no list \"") + list_type + "\""};
}

/** The attributes of a kind that have tracks; attributes number by the thousand at most, unlike tracks. */
std::vector<list_row> listed(database& db, attributes& attrs, int kind) {
  std::vector<list_row> rows;
  statement row = db.prepared("SELECT id FROM attribute WHERE kind=?");
  row.bind(kind);
  while (row.step()) {
    const attribute_info& info = attrs.at(row.integer(0));
    if (info.tracks > 0) rows.push_back({row.integer(0), &info});
  }
  std::sort(rows.begin(), rows.end(), [](const list_row& a, const list_row& b) {
    return a.info->tracks != b.info->tracks ? a.info->tracks > b.info->tracks : a.info->name < b.info->name;
  });
  return rows;
}

}  // namespace

pask_status velox_catalog_open(const char* url, uint32_t mode, velox_catalog_handle* catalog) {
  return guarded(__func__, [&] {
    require(url && *url && catalog && mode <= VELOX_CATALOG_CREATE,
            "a URL, a known mode and an out-parameter are needed");
    *catalog = new velox_catalog{database::open(url, mode)};
  });
}

void velox_catalog_close(velox_catalog_handle catalog) { delete catalog; }

static void require_writable(const database& db) {
  if (!db.writable())
    throw failure{VELOX_STANDIN_ERR_INVALID_ARG, "catalogue \"" + db.path() + "\" is open for reading only"};
}

/** The frame of what fills a catalogue. */
template <class Work>
static pask_status filled(const char* operation, velox_catalog_handle catalog, const char* path,
                          const velox_catalog_scan_events* events, velox_catalog_scan_report* report, Work work) {
  if (report) *report = {};
  return guarded(operation, [&] {
    require(catalog && path && *path && report, "a catalogue, a path and a report are needed");
    require_writable(*catalog->db);
    const velox_catalog_scan_events nobody = {};
    scan_run run{*catalog->db, events ? *events : nobody, *report, writer(*catalog->db)};
    work(run);
  });
}

pask_status velox_catalog_scan(velox_catalog_handle catalog, const char* path, const velox_catalog_scan_events* events,
                               velox_catalog_scan_report* report) {
  return filled(__func__, catalog, path, events, report, [&](scan_run& run) {
    const std::string whole = resolved(path);
    struct stat status = {};
    const bool folder = ::stat(whole.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (!folder && ends_in(whole, ".tsv")) {
      scan_tsv(run, whole);
    } else if (folder || is_audio(whole)) {
      scan_files(run, whole, folder);
    } else {
      throw failure{VELOX_STANDIN_ERR_INVALID_ARG,
                    "\"" + whole + "\" is neither a folder nor an audio file nor a .tsv file"};
    }
  });
}

pask_status velox_catalog_import(velox_catalog_handle catalog, const char* name, velox_catalog_read_fn read,
                                 void* context, const velox_catalog_scan_events* events,
                                 velox_catalog_scan_report* report) {
  return filled(__func__, catalog, name, events, report, [&](scan_run& run) {
    require(read, "a function to read by is needed");
    import_tsv(run, std::filesystem::weakly_canonical(name).string(), read, context);  // the file need not be there
  });
}

pask_status velox_catalog_search(velox_catalog_handle catalog, const char* text, uint32_t kinds, uint32_t limit,
                                 velox_catalog_find_fn on_find, void* context) {
  return guarded(__func__, [&] {
    require(catalog && text && on_find, "a catalogue, a text and a function are needed");
    const transaction view(*catalog->db, false);
    catalog->attrs.refresh();
    object_maker make(*catalog->db, catalog->attrs);
    for (const uint32_t kind : {VELOX_CATALOG_TRACKS, VELOX_CATALOG_ALBUMS, VELOX_CATALOG_ARTISTS}) {
      if (!(kinds & kind)) continue;
      for (const int64_t id : search(*catalog->db, text, kind, limit)) {
        const standin::mdo_ref found = kind == VELOX_CATALOG_TRACKS   ? make.track(id)
                                       : kind == VELOX_CATALOG_ALBUMS ? make.album(id)
                                                                      : make.artist(id);
        if (on_find(context, found.get()) != 0) return;
      }
    }
  });
}

pask_status velox_catalog_list(velox_catalog_handle catalog, const char* list_type, velox_catalog_list_fn on_element,
                               void* context) {
  return guarded(__func__, [&] {
    require(catalog && list_type && on_element, "a catalogue, a list type and a function are needed");
    const int kind = kind_of_list(list_type);
    const transaction view(*catalog->db, false);
    catalog->attrs.refresh();
    for (const list_row& row : listed(*catalog->db, catalog->attrs, kind)) {
      velox_list_element_handle element = nullptr;
      const pask_status status =
          velox_standin_list_element_create(list_type, static_cast<int32_t>(row.id), row.info->name.c_str(), &element);
      if (velox_failed(status)) throw failure{status, "a list element can't be made"};
      const std::unique_ptr<velox_list_element, void (*)(velox_list_element_handle)> held(
          element, velox_standin_list_element_release);
      if (on_element(context, element, row.info->name.c_str(), static_cast<uint64_t>(row.info->tracks)) != 0) return;
    }
  });
}

pask_status velox_catalog_count(velox_catalog_handle catalog, velox_catalog_counts* counts) {
  return guarded(__func__, [&] {
    require(catalog && counts, "a catalogue and an out-parameter are needed");
    const transaction view(*catalog->db, false);
    catalog->attrs.refresh();
    velox_catalog_counts told = {};
    const auto total = [&](const char* name) {
      statement row = catalog->db->prepared("SELECT amount FROM total WHERE name=?");
      return row.bind(std::string_view(name)).step() ? static_cast<uint64_t>(row.integer(0)) : 0;
    };
    told.tracks = total("tracks");
    told.albums = total("albums");
    told.artists = total("artists");
    told.genres = listed(*catalog->db, catalog->attrs, k_genre).size();
    told.moods = listed(*catalog->db, catalog->attrs, k_mood).size();
    told.eras = listed(*catalog->db, catalog->attrs, k_era).size();
    statement row = catalog->db->prepared("SELECT ifnull(sum(tracks), 0) FROM source WHERE invented=1");
    told.invented = row.step() && told.tracks > 0 && static_cast<uint64_t>(row.integer(0)) == told.tracks;
    *counts = told;
  });
}

pask_status velox_catalog_stations(velox_catalog_handle catalog, velox_catalog_station_fn on_station, void* context) {
  return guarded(__func__, [&] {
    require(catalog && on_station, "a catalogue and a function are needed");
    statement row = catalog->db->prepared(
        "SELECT uid, name, created, used, played, skipped, liked, disliked FROM station ORDER BY used DESC, id DESC");
    while (row.step()) {
      const auto number = [&](int column) { return static_cast<uint64_t>(row.integer(column)); };
      const velox_catalog_station each = {row.text(0).data(), row.text(1).data(), number(2), number(3),
                                          number(4),          number(5),          number(6), number(7)};
      if (on_station(context, &each) != 0) return;
    }
  });
}

/** The frame of an operation on one station: `work` gets the connection and the station's number. */
template <class Work>
static pask_status on_station(const char* operation, velox_catalog_handle catalog, const char* id, bool writes,
                              Work work) {
  return guarded(operation, [&] {
    require(catalog && id, "a catalogue and a station's identifier are needed");
    if (writes) require_writable(*catalog->db);
    transaction all(*catalog->db, writes);
    const std::optional<station> found = station_store(*catalog->db).find(id);
    if (!found)
      throw failure{VELOX_STANDIN_ERR_NOT_FOUND, "there is no station \"" + clean(id, 100) + "\" in the catalogue"};
    work(*catalog->db, found->id);
    all.commit();
  });
}

pask_status velox_catalog_station_history(velox_catalog_handle catalog, const char* id,
                                          velox_catalog_station_event_fn on_event, void* context) {
  return on_station(__func__, catalog, id, false, [&](database& db, int64_t station) {
    require(on_event, "a function is needed");
    statement row = db.prepared("SELECT kind, title, artist, time FROM station_event WHERE station=? ORDER BY id");
    row.bind(station);
    while (row.step()) {
      const velox_catalog_station_event each = {k_event_names[row.integer(0)], row.text(1).data(), row.text(2).data(),
                                                static_cast<uint64_t>(row.integer(3))};
      if (on_event(context, &each) != 0) return;
    }
  });
}

pask_status velox_catalog_station_rename(velox_catalog_handle catalog, const char* id, const char* name) {
  return on_station(__func__, catalog, id, true, [&](database& db, int64_t station) {
    const std::string fit = clean(name ? name : "", 200);
    require(!fit.empty(), "a name is needed");
    station_store(db).rename(station, fit);
  });
}

pask_status velox_catalog_station_remove(velox_catalog_handle catalog, const char* id) {
  return on_station(__func__, catalog, id, true,
                    [](database& db, int64_t station) { station_store(db).remove(station); });
}
