/* A session tells events; what a listener is shown is gathered from them. */
#include "http/stage.h"

#include <algorithm>
#include <chrono>

#include "http/media_id.h"

namespace app::http {

namespace {

constexpr size_t most_played = 50;

bool interrupts(uint64_t) { return true; }

}  // namespace

// ---- An open station -----------------------------------------------------------------------------------------------

open_station::open_station(const session& running, const std::string& catalog, const start_request& request)
    : catalog_(open_catalog(catalog)) {
  request_watch watch(request.timeout_seconds, interrupts);
  start_point start(running, catalog_.get(), catalog, request, watch,
                    [this](const std::string& what, const std::string& next) { notices_.emplace_back(what, next); });
  station_.emplace(catalog_.get(), start);
  begin(start.from);
}

open_station::open_station(const session& running, const std::string& catalog, const std::string& id)
    : catalog_(open_catalog(catalog)) {
  station_.emplace(catalog_.get(), running, id, std::vector<std::pair<const char*, std::string>>());
  recall();
  begin({});
}

/** What was played before, as the catalogue keeps it: by title and artist. */
void open_station::recall() {
  std::string liked;
  for (history_row& row : read_history(catalog_.get(), station_->id())) {
    if (row.event == "liked") liked = row.title;
    if (row.event != "played" && row.event != "skipped" && row.event != "banned") continue;
    item track;
    track.title = std::move(row.title);
    track.artist = std::move(row.artist);
    const bool was_liked = liked == track.title;
    played_.push_front({std::move(track), row.event, was_liked});
    if (played_.size() > most_played) played_.pop_back();
  }
}

void open_station::begin(const origin& from) {
  // Milliseconds: more of them have passed since the last opening than there were orders in it.
  revision_ = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1));
  from_ = from;
  radio_.emplace(*station_, true, [this](const radio_event& event) { hear(event); });
  radio_->begin({}, from_);
  radio_->obey({action::upcoming});
}

void open_station::obey(const order& given, const std::string& about) {
  notices_.clear();
  if (radio_->over() || (!about.empty() && (!track_ || track_->id != about))) return;
  ++revision_;
  try {
    radio_->obey(given);
    radio_->obey({action::upcoming});
    if (given.what == action::settings) radio_->obey({action::settings});
  } catch (const station_gone&) {
    over_ = "station-gone";
  }
}

void open_station::hear(const radio_event& event) {
  switch (event.what) {
    case happening::station:
      settings_ = *event.settings;
      break;
    case happening::settings:
      settings_ = *event.settings;
      break;
    case happening::track:
      track_ = *event.track;
      liked_ = false;
      break;
    case happening::listened:
    case happening::unplayable: {
      const std::string name = event.name();
      if (name == "liked" || name == "artist-liked") {
        liked_ = true;
        break;
      }
      played_.push_front({*event.track, name, liked_});
      if (played_.size() > most_played) played_.pop_back();
      track_.reset();
      break;
    }
    case happening::upcoming:
      coming_.clear();
      for (const playlist_track& one : *event.coming) coming_.push_back(one.shown);
      break;
    case happening::notice:
    case happening::misunderstood:
      notices_.emplace_back(event.texts[0].second, event.texts[1].second);
      break;
    default:
      break;
  }
  if (radio_ && radio_->over() && over_.empty()) over_ = "nothing-left";
}

std::vector<item> open_station::playlist() const {
  std::vector<item> all = coming_;
  if (track_) all.insert(all.begin(), *track_);
  return all;
}

json addressed(const item& shown) {
  json object = object_of(shown, false);
  if (shown.id.empty()) return object;  // of the past
  const std::string kind = kind_name(shown.kind), id = as_address(shown.id);
  object["id"] = id;
  if (shown.kind == item_kind::track) object["cover"] = "/api/tracks/" + id + "/cover";
  if (shown.kind == item_kind::album) object["cover"] = "/api/albums/" + id + "/cover";
  put(object, "album_id", as_address(shown.album_id));
  put(object, "artist_id", as_address(shown.artist_id));
  put(object, "tracks", shown.tracks);
  return object;
}

json addressed(const std::vector<item>& items) {
  json array = json::array();
  for (const item& one : items) array.push_back(addressed(one));
  return array;
}

json open_station::state() const {
  json state = json::object();
  state["from"] = {{"seeds", addressed(from_.seeds)}, {"filters", json::array()}};
  for (const auto& [kind, name] : from_.filters) state["from"]["filters"].push_back({{"kind", kind}, {"name", name}});
  state["revision"] = revision_;
  state["track"] = track_ ? addressed(*track_) : json(nullptr);
  if (track_) state["track"]["liked"] = liked_;
  state["coming"] = addressed(coming_);
  state["played"] = json::array();
  for (const past_track& one : played_) {
    state["played"].push_back({{"track", addressed(one.track)}, {"event", one.event}});
    if (one.liked) state["played"].back()["liked"] = true;
  }
  state["settings"] = object_of(settings_);
  state["notices"] = json::array();
  for (const auto& [what, next] : notices_) {
    state["notices"].push_back({{"what", what}});
    put(state["notices"].back(), "next", next);
  }
  state["over"] = over_.empty() ? json(nullptr) : json(over_);
  return state;
}

void open_station::close() {
  radio_->end("closed");
  radio_->finish();
}

// ---- All of them ---------------------------------------------------------------------------------------------------

std::shared_ptr<stage::slot> stage::slot_of(const std::string& id) {
  const std::lock_guard held(mutex_);
  std::shared_ptr<slot>& found = slots_[id];
  if (!found) found = std::make_shared<slot>();
  found->used = ++clock_;
  return found;
}

std::string stage::create(const start_request& request, const work& with) {
  auto made = std::make_unique<open_station>(running_, catalog_, request);
  const std::string id = made->id();
  {
    const std::shared_ptr<slot> its = slot_of(id);
    const std::lock_guard held(its->lock);
    its->station = std::move(made);
    with(*its->station);
  }
  make_room();
  return id;
}

void stage::on(const std::string& id, const work& with) {
  for (bool done = false; !done;) {
    const std::shared_ptr<slot> its = slot_of(id);
    const std::lock_guard held(its->lock);
    if (its->closed) continue;  // meanwhile: another slot is its own now
    if (!its->station) its->station = std::make_unique<open_station>(running_, catalog_, id);
    with(*its->station);
    done = true;
  }
  make_room();
}

std::optional<uint64_t> stage::revision(const std::string& id) {
  std::shared_ptr<slot> its;
  {
    const std::lock_guard held(mutex_);
    const auto found = slots_.find(id);
    if (found == slots_.end()) return std::nullopt;
    its = found->second;
    its->used = ++clock_;
  }
  const std::lock_guard held(its->lock);
  return its->station ? std::optional(its->station->revision()) : std::nullopt;
}

/** Closes those that nobody has asked for longest, unless somebody does at this moment. */
void stage::make_room() {
  for (;;) {
    std::shared_ptr<slot> oldest;
    std::string its_id;
    {
      const std::lock_guard held(mutex_);
      if (slots_.size() <= most_) return;
      const auto found = std::ranges::min_element(slots_, {}, [](const auto& one) { return one.second->used; });
      its_id = found->first;
      oldest = found->second;
    }
    const std::unique_lock busy(oldest->lock, std::try_to_lock);
    if (!busy) return;
    if (oldest->station) oldest->station->close();
    oldest->station.reset();
    oldest->closed = true;
    const std::lock_guard held(mutex_);
    if (const auto found = slots_.find(its_id); found != slots_.end() && found->second == oldest) slots_.erase(found);
  }
}

void stage::drop(const std::string& id) {
  std::shared_ptr<slot> gone;
  {
    const std::lock_guard held(mutex_);
    const auto found = slots_.find(id);
    if (found == slots_.end()) return;
    gone = found->second;
    slots_.erase(found);
  }
  const std::lock_guard held(gone->lock);
  gone->station.reset();
}

void stage::close_all() {
  std::map<std::string, std::shared_ptr<slot>> all;
  {
    const std::lock_guard held(mutex_);
    all.swap(slots_);
  }
  for (auto& [id, its] : all) {
    const std::lock_guard held(its->lock);
    if (its->station) its->station->close();
    its->station.reset();
  }
}

size_t stage::open() const {
  const std::lock_guard held(mutex_);
  return slots_.size();
}

std::vector<std::string> stage::open_ids() const {
  const std::lock_guard held(mutex_);
  std::vector<std::string> ids;
  for (const auto& [id, its] : slots_) ids.push_back(id);
  return ids;
}

}  // namespace app::http
