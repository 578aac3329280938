/* The stations that are being listened to. Each is a session of the radio with a lock of its own; a bounded number is open, and who was
 * listened to longest ago is closed, after what happened has been reported, and reopened by its identifier when somebody comes back. */
#ifndef CADENZ_APP_STAGE_H
#define CADENZ_APP_STAGE_H

#include <deque>
#include <functional>
#include <map>
#include <mutex>

#include "core/as_json.h"
#include "core/radio.h"
#include "core/session.h"

namespace app::http {

/** An item as the interface tells it: with its address in place of its file. */
json addressed(const item& shown);
json addressed(const std::vector<item>& items);

/** A station that is open, and what a listener may know of its session. Its holder has its lock. */
class open_station {
 public:
  /** A new one, of what somebody asks for. */
  open_station(const session& running, const std::string& catalog, const start_request& request);
  /** One that there is. */
  open_station(const session& running, const std::string& catalog, const std::string& id);

  const std::string& id() const { return radio_->station_id(); }
  /** Rises with whatever a listener may see, and from one opening to the next. */
  uint64_t revision() const { return revision_; }
  void changed() { ++revision_; }
  const std::optional<item>& track() const { return track_; }
  /** The track that is on and those that come. */
  std::vector<item> playlist() const;

  /** Does what a listener orders; an order about another track than the one that is on changes nothing. */
  void obey(const order& given, const std::string& about);
  /** Everything that is known, but for what the catalogue keeps of the station. */
  json state() const;
  /** Reports what isn't reported yet. */
  void close();

 private:
  void begin(const origin& from);
  void recall();
  void hear(const radio_event& event);

  struct past_track {
    item track;
    std::string event;
    bool liked;
  };

  catalog_owner catalog_;
  std::optional<station> station_;
  std::optional<radio_session> radio_;
  origin from_;
  std::optional<item> track_;
  bool liked_ = false;
  std::vector<item> coming_;
  std::deque<past_track> played_;  // latest first
  station_settings settings_;
  std::vector<std::pair<std::string, std::string>> notices_;  // since the last order
  std::string over_;
  uint64_t revision_;
};

class stage {
 public:
  stage(const session& running, std::string catalog, size_t most_open)
      : running_(running), catalog_(std::move(catalog)), most_(most_open) {}
  ~stage() { close_all(); }

  using work = std::function<void(open_station&)>;
  /** Makes a station; gives its identifier. */
  std::string create(const start_request& request, const work& with);
  /** Works on a station, opened where it isn't. */
  void on(const std::string& id, const work& with);
  /** Of one that is open. */
  std::optional<uint64_t> revision(const std::string& id);
  /** Forgets one that has been removed. */
  void drop(const std::string& id);
  /** Reports of all, and closes them. */
  void close_all();
  size_t open() const;
  std::vector<std::string> open_ids() const;

 private:
  struct slot {
    std::mutex lock;
    std::unique_ptr<open_station> station;
    uint64_t used = 0;
    bool closed = false;  // and no longer among the slots
  };
  std::shared_ptr<slot> slot_of(const std::string& id);
  void make_room();

  const session& running_;
  const std::string catalog_;
  const size_t most_;
  mutable std::mutex mutex_;  // never held while a station works
  std::map<std::string, std::shared_ptr<slot>> slots_;
  uint64_t clock_ = 0;
};

}  // namespace app::http

#endif
