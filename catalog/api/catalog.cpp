// The operations of velox_catalog.h on an open catalogue. Each checks its arguments and hands over; reading happens inside
// one view, so that what is told fits together.
#include "velox_catalog.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "api/telling.h"
#include "intake/scan.h"
#include "intake/tags.h"
#include "model/text.h"

using namespace velox::catalog;

constinit standin::typed_table<open_catalog, velox_catalog_handle> velox::catalog::open_catalogs{
    standin::handle_kind::catalog};

namespace {

/** The full path; a trailing slash and links on the way are gone. */
std::string resolved_path(const char* path) {
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

/** The attributes of a kind that have tracks, most first; attributes number by the thousand at most, unlike tracks. */
std::vector<int64_t> listed(store& from, attribute_kind kind) {
  std::vector<int64_t> ids = from.list(kind);
  std::sort(ids.begin(), ids.end(), [&](int64_t one, int64_t other) {
    const attribute_info &a = from.attribute(one), &b = from.attribute(other);
    return a.tracks != b.tracks ? a.tracks > b.tracks : a.name < b.name;
  });
  return ids;
}

[[noreturn]] void refuse_station(const char* id) {
  throw failure{VELOX_STANDIN_ERR_NOT_FOUND, "there is no station \"" + clean(id, 100) + "\" in the catalogue"};
}

}  // namespace

pask_status velox_catalog_open(const char* url, uint32_t mode, velox_catalog_handle* catalog) {
  return guarded(__func__, [&] {
    require(url && *url && catalog && mode <= VELOX_CATALOG_CREATE,
            "a URL, a known mode and an out-parameter are needed");
    const bool fill = mode == VELOX_CATALOG_CREATE;
    auto made = std::unique_ptr<open_catalog>(new open_catalog{open_store(url, fill ? role::fill : role::read), fill});
    *catalog = open_catalogs.insert(made.get());
    made.release();
  });
}

void velox_catalog_close(velox_catalog_handle catalog) {
  open_catalog* const open = open_catalogs.addref(catalog);
  if (!open) return;
  if (!open->closed.exchange(true)) open_catalogs.release(catalog);  // what velox_catalog_open gave
  open_catalogs.release(catalog);
}

/** The frame of what fills a catalogue. */
template <class Work>
static pask_status filled(const char* operation, velox_catalog_handle catalog, const char* path,
                          const velox_catalog_scan_events* events, velox_catalog_scan_report* report, Work work) {
  if (report) *report = {};
  return guarded(operation, [&] {
    require(catalog && path && *path && report, "a catalogue, a path and a report are needed");
    const in_use open(catalog);
    open.require_writable();
    const velox_catalog_scan_events nobody = {};
    scan_run run{open.from(), events ? *events : nobody, *report};
    work(run);
  });
}

pask_status velox_catalog_scan(velox_catalog_handle catalog, const char* path, const velox_catalog_scan_events* events,
                               velox_catalog_scan_report* report) {
  return filled(__func__, catalog, path, events, report, [&](scan_run& run) {
    const std::string whole = resolved_path(path);
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
    const in_use open(catalog);
    const view all(open.from());
    for (const uint32_t kind : {VELOX_CATALOG_TRACKS, VELOX_CATALOG_ALBUMS, VELOX_CATALOG_ARTISTS}) {
      if (!(kinds & kind)) continue;
      if (!tell_found(open.from(), kind, open.from().find(kind, text, limit), on_find, context)) return;
    }
  });
}

pask_status velox_catalog_list(velox_catalog_handle catalog, const char* list_type, velox_catalog_list_fn on_element,
                               void* context) {
  return guarded(__func__, [&] {
    require(catalog && list_type && on_element, "a catalogue, a list type and a function are needed");
    const attribute_kind kind = kind_of_list(list_type);
    const in_use open(catalog);
    store& from = open.from();
    const view all(from);
    for (const int64_t id : listed(from, kind)) {
      const attribute_info& info = from.attribute(id);
      velox_list_element_handle element = nullptr;
      const pask_status status =
          velox_standin_list_element_create(list_type, static_cast<int32_t>(id), info.name.c_str(), &element);
      if (velox_failed(status)) throw failure{status, "a list element can't be made"};
      const std::unique_ptr<velox_list_element, void (*)(velox_list_element_handle)> held(
          element, velox_standin_list_element_release);
      if (on_element(context, element, info.name.c_str(), static_cast<uint64_t>(info.tracks)) != 0) return;
    }
  });
}

pask_status velox_catalog_count(velox_catalog_handle catalog, velox_catalog_counts* counts) {
  return guarded(__func__, [&] {
    require(catalog && counts, "a catalogue and an out-parameter are needed");
    const in_use open(catalog);
    store& from = open.from();
    const view all(from);
    const catalogue_counts told = from.count();
    *counts = {told.tracks,
               told.albums,
               told.artists,
               from.list(k_genre).size(),
               from.list(k_mood).size(),
               from.list(k_era).size(),
               told.invented};
  });
}

pask_status velox_catalog_stations(velox_catalog_handle catalog, velox_catalog_station_fn on_station, void* context) {
  return guarded(__func__, [&] {
    require(catalog && on_station, "a catalogue and a function are needed");
    const in_use open(catalog);
    const view all(open.from());
    for (const station_summary& each : open.from().stations()) {
      const velox_catalog_station told = {each.uid.c_str(), each.name.c_str(), each.created, each.used,
                                          each.played,      each.skipped,      each.liked,   each.disliked};
      if (on_station(context, &told) != 0) return;
    }
  });
}

pask_status velox_catalog_station_history(velox_catalog_handle catalog, const char* id,
                                          velox_catalog_station_event_fn on_event, void* context) {
  return guarded(__func__, [&] {
    require(catalog && id && on_event, "a catalogue, a station's identifier and a function are needed");
    const in_use open(catalog);
    const view all(open.from());
    const bool found = open.from().past_of(id, [&](const past_event& each) {
      const velox_catalog_station_event told = {k_event_names[each.kind], each.title.c_str(), each.artist.c_str(),
                                                each.time};
      return on_event(context, &told) == 0;
    });
    if (!found) refuse_station(id);
  });
}

/** The frame of a change of one station; `change` gives false where there is none. */
template <class Change>
static pask_status changed(const char* operation, velox_catalog_handle catalog, const char* id, Change change) {
  return guarded(operation, [&] {
    require(catalog && id, "a catalogue and a station's identifier are needed");
    const in_use open(catalog);
    open.require_writable();
    view all(open.from(), true);
    if (!change(open.from())) refuse_station(id);
    all.commit();
  });
}

pask_status velox_catalog_station_rename(velox_catalog_handle catalog, const char* id, const char* name) {
  return changed(__func__, catalog, id, [&](store& from) {
    const std::string fit = clean(name ? name : "", 200);
    require(!fit.empty(), "a name is needed");
    return from.rename(id, fit);
  });
}

pask_status velox_catalog_station_remove(velox_catalog_handle catalog, const char* id) {
  return changed(__func__, catalog, id, [&](store& from) { return from.remove(id); });
}
