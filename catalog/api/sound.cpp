// What tracks sound like: what nobody has listened to, what was heard, and who is near to whom.
#include "api/open_catalog.h"
#include "choice/objects.h"
#include "hearing/neighbourhood.h"
#include "hearing/profile.h"

using namespace velox::catalog;

/** The frame of what changes the catalogue's sounds. */
template <class Work>
static pask_status listening(const char* operation, velox_catalog_handle catalog, Work work) {
  return guarded(operation, [&] {
    require(catalog, "a catalogue is needed");
    const in_use open(catalog);
    open.require_writable();
    work(open.from());
  });
}

pask_status velox_catalog_unheard(velox_catalog_handle catalog, uint64_t after, uint32_t limit,
                                  velox_catalog_unheard_fn on_track, void* context) {
  return guarded(__func__, [&] {
    require(catalog && on_track && after <= INT64_MAX, "a catalogue, a number and a function are needed");
    const in_use open(catalog);
    std::vector<unheard_file> files;
    {
      const view all(open.from());
      files = open.from().unheard(VELOX_SOUND_METHOD, static_cast<int64_t>(after), limit);
    }
    for (const unheard_file& each : files) {
      const velox_catalog_unheard_track told = {static_cast<uint64_t>(each.track), static_cast<uint64_t>(each.content),
                                                each.path.c_str()};
      if (on_track(context, &told) != 0) return;
    }
  });
}

pask_status velox_catalog_sound_put(velox_catalog_handle catalog, uint64_t track, uint64_t content,
                                    const velox_sound* sound, const char* why) {
  return listening(__func__, catalog, [&](store& into) {
    require((sound || why) && track <= INT64_MAX, "a sound, or a reason why there is none, is needed");
    require(!sound || is_sound(*sound), "the sound has a value that can't be");
    into.put_sound(static_cast<int64_t>(track), static_cast<int64_t>(content), sound, why ? why : "");
  });
}

pask_status velox_catalog_sound_settle(velox_catalog_handle catalog, velox_catalog_settle_fn on_progress,
                                       void* context) {
  return listening(__func__, catalog, [&](store& into) {
    settle_sounds(into,
                  [&](uint64_t done, uint64_t all) { return !on_progress || on_progress(context, done, all) == 0; });
  });
}

pask_status velox_catalog_sound_count(velox_catalog_handle catalog, velox_catalog_sound_counts* counts) {
  return guarded(__func__, [&] {
    require(catalog && counts, "a catalogue and an out-parameter are needed");
    const in_use open(catalog);
    const view all(open.from());
    const sound_counts told = open.from().count_sounds(VELOX_SOUND_METHOD);
    *counts = {told.heard, told.unheard, told.failed, told.brief};
  });
}

pask_status velox_catalog_shortest_set(velox_catalog_handle catalog, uint32_t seconds) {
  return listening(__func__, catalog, [&](store& into) {
    view all(into, true);
    into.set_shortest(seconds);
    all.commit();
  });
}

pask_status velox_catalog_sound(velox_catalog_handle catalog, const char* tui, const char* tag, velox_sound* sound,
                                uint32_t limit, velox_catalog_alike_fn on_alike, void* context) {
  return guarded(__func__, [&] {
    require(catalog && tui && sound, "a catalogue, a track's identifier and an out-parameter are needed");
    const in_use open(catalog);
    store& from = open.from();
    const view all(from);
    const int64_t track = from.identify({.tui = tui, .tag = tag ? tag : ""}).track;
    std::optional<track_sound> heard = track != 0 ? from.sound_of(track) : std::nullopt;
    if (!heard) throw failure{VELOX_STANDIN_ERR_NOT_FOUND, "nobody has listened to that track yet"};
    *sound = heard->record;
    if (!on_alike) return;
    near_sounds& near = heard->nearest;
    near.resize(std::min<size_t>(near.size(), limit));
    subjects wanted;
    for (const near_sound& each : near) wanted.tracks.push_back(each.id);
    const records told = from.describe(wanted);
    object_maker make(from, told, false, true);
    for (const near_sound& each : near) {
      if (on_alike(context, make.track(each.id).get(), each.distance) != 0) return;
    }
  });
}
