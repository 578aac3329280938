/* The service forgets events when their request fails, for instance when another process keeps the catalogue locked for long:
 * they are kept here until a request with them has succeeded. */
#include "core/station.h"

#include <algorithm>

#include "core/session.h"

namespace app {

constexpr listener_event listener_events[6] = {
    {VELOX_CADENZ_EVENT_TRACK_PLAYED, VELOX_LOOKUP_EVENT_TRACK_PLAYED, "played"},
    {VELOX_CADENZ_EVENT_TRACK_SKIPPED, VELOX_LOOKUP_EVENT_TRACK_SKIPPED, "skipped"},
    {VELOX_CADENZ_EVENT_TRACK_LIKE, VELOX_LOOKUP_EVENT_TRACK_LIKE, "liked"},
    {VELOX_CADENZ_EVENT_TRACK_DISLIKE, VELOX_LOOKUP_EVENT_TRACK_DISLIKE, "banned"},
    {VELOX_CADENZ_EVENT_ARTIST_LIKE, VELOX_LOOKUP_EVENT_ARTIST_LIKE, "artist-liked"},
    {VELOX_CADENZ_EVENT_ARTIST_DISLIKE, VELOX_LOOKUP_EVENT_ARTIST_DISLIKE, "artist-banned"},
};

namespace {

constexpr int most_failures = 3;

int collect_station(void* context, const velox_catalog_station* one) noexcept {
  static_cast<std::vector<station_row>*>(context)->push_back(
      {one->id, one->name, one->created, one->used, one->played, one->skipped, one->liked, one->disliked});
  return 0;
}

int collect_event(void* context, const velox_catalog_station_event* one) noexcept {
  const auto known = std::ranges::find(listener_events, std::string_view(one->kind), &listener_event::kind);
  const char* name = known != std::end(listener_events) ? known->name : one->kind;
  static_cast<std::vector<history_row>*>(context)->push_back({name, one->title, one->artist, one->time});
  return 0;
}

std::string id_of(velox_cadenz_station_handle handle) {
  const char* id = nullptr;
  check(velox_cadenz_station_id(handle, &id), "reading the station's identifier");
  return id;
}

velox_cadenz_station_handle made(start_point& start) {
  velox_cadenz_station_handle handle = nullptr;
  const pask_status status =
      velox_cadenz_query_generate_station(start.query.get(), start.filter.get(), nullptr, nullptr, &handle);
  if (status == CADENZ_ERR_NOT_FOUND)
    throw failure("nothing in the catalogue fits", "give fewer filters, or another --from");
  start.watch.check(status, "no station can be made");
  return handle;
}

velox_cadenz_station_handle found(const session& running, const std::string& id) {
  velox_cadenz_station_handle handle = nullptr;
  const pask_status status = velox_cadenz_station_lookup(id.c_str(), running.user(), nullptr, nullptr, &handle);
  if (status == CADENZ_ERR_NOT_FOUND)
    throw failure("the station " + id + " has nothing left to play",
                  "scan more music, come back later, or start another station");
  check(status, "the station can't be opened");
  return handle;
}

}  // namespace

std::vector<station_row> read_stations(velox_catalog_handle catalog) {
  std::vector<station_row> rows;
  check(velox_catalog_stations(catalog, collect_station, &rows));
  return rows;
}

std::vector<history_row> read_history(velox_catalog_handle catalog, const std::string& id) {
  std::vector<history_row> rows;
  check(velox_catalog_station_history(catalog, id.c_str(), collect_event, &rows));
  return rows;
}

station_row find_station(velox_catalog_handle catalog, const std::string& id) {
  std::vector<station_row> rows = read_stations(catalog);
  const auto exact = std::ranges::find(rows, id, &station_row::id);
  if (exact != rows.end()) return *exact;

  std::erase_if(rows, [&](const station_row& row) { return id.empty() || !row.id.starts_with(id); });
  if (rows.size() == 1) return rows.front();
  if (rows.empty()) throw failure("there is no station \"" + id + '"', "see: cadenz stations");
  throw failure("several stations begin with \"" + id + '"', "see: cadenz stations");
}

station::station(velox_catalog_handle catalog, start_point& start)
    : catalog_(catalog), handle_(made(start)), id_(id_of(handle_.get())), reopened_(false) {}

station::station(velox_catalog_handle catalog, const session& running, const std::string& id,
                 const std::vector<std::pair<const char*, std::string>>& options)
    : catalog_(catalog), handle_(found(running, id)), id_(id_of(handle_.get())), reopened_(true) {
  for (const auto& [option, value] : options) set(option, value);
}

bool station::record(uint32_t event, const playlist_track& track) {
  velox_mdo_handle subject = track.object.get();
  if (listener_events[event - 1].is_of_artist()) subject = velox_standin_mdo_child(subject, VELOX_CHILD_ARTIST, 1);
  if (!subject) return false;
  check(velox_cadenz_station_event(handle_.get(), event, subject), "recording an event");
  pending_.push_back({event, keep(subject)});
  return true;
}

void station::set(const char* option, const std::string& value) {
  check(velox_cadenz_station_option_set(handle_.get(), option, value.c_str()), "setting an option");
  options_changed_ = true;
}

bool station::draw() {
  const velox_mdo_handle before = playlist_.get();
  // Of one call the service sees events or changed options, whichever there are first.
  const bool twice = options_changed_ && !pending_.empty();
  exchange();
  if (twice) exchange();
  options_changed_ = false;
  return playlist_.get() != before;
}

void station::exchange() {
  velox_mdo_handle given = nullptr;
  const pask_status status = velox_cadenz_station_generate_playlist(handle_.get(), &given);
  if (status == 0) playlist_.reset(given);
  const bool nothing_yet = status == CADENZ_ERR_NOT_FOUND && !playlist_;  // that is an answer too
  if (status != 0 && !nothing_yet) {
    const failure failed("no playlist: " + last_error(status));
    record_again();
    throw failed;
  }
  // The service answers for a station that isn't there as for one without anything new.
  if (!pending_.empty() && !is_there())
    throw station_gone("the station has been removed", "start another one with: cadenz radio");
  pending_.clear();
}

bool station::is_there() const {
  const std::vector<station_row> rows = read_stations(catalog_);
  return std::ranges::find(rows, id_, &station_row::id) != rows.end();
}

void station::record_again() {
  lost_ += std::erase_if(pending_, [](pending_event& one) { return ++one.failures == most_failures; });
  for (const pending_event& one : pending_)
    check(velox_cadenz_station_event(handle_.get(), one.event, one.subject.get()), "recording an event");
}

std::vector<playlist_track> station::tracks() const {
  std::vector<playlist_track> tracks;
  for (uint32_t i = 1; const velox_mdo_handle album = velox_standin_mdo_child(playlist_.get(), VELOX_CHILD_ALBUM, i);
       ++i) {
    for (uint32_t j = 1; const velox_mdo_handle track = velox_standin_mdo_child(album, VELOX_CHILD_TRACK, j); ++j)
      tracks.push_back({keep(track), read_item(track)});
  }
  return tracks;
}

station_settings station::settings() const {
  station_settings settings;
  for (const velox_option& option : all_options) {
    if (!option.reported) continue;
    const char* value = playlist_ ? velox_standin_mdo_value(playlist_.get(), option.reported, 1) : nullptr;
    const bool told = value && (*value || option.form != VELOX_OPTION_NUMBER);  // a switch that isn't set is off
    settings.push_back({&option, told ? std::optional<std::string>(value) : std::nullopt});
  }
  return settings;
}

}  // namespace app
