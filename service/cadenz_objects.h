// The service's objects: their records, what holds of a sound one, and the steps inside that their sources share.
#pragma once

#include "cadenz_frame.h"
#include "pask_assert.h"
#include "pask_guard.h"
#include "pask_stringmap.h"
#include "pask_thread.h"
#include "pask_vector.h"
#include "pask_vector2.h"

// ---- Records --------------------------------------------------------------------------------------------------------

constexpr uint32_t CADENZ_QUERY_MAGIC = 0xf6fff666;
constexpr uint32_t CADENZ_STATION_MAGIC = 0xf7fff777;
constexpr uint32_t CADENZ_FILTER_MAGIC = 0xf8fff888;

struct cadenz_query {
  uint32_t magic;
  pask_critsec_handle lock;  // guards options and seeds; held during a whole request
  velox_user_handle user;    // referenced for the query's whole life
  pask_stringmap_handle options;
  velox_cadenz_callback_fn callback;
  void* callback_data;
  uint32_t progress_total_1;  // written by the lookup callback only
  uint32_t progress_total_2;
  pask_vector_handle seeds PASK_GUARDED_BY(lock);  // metadata objects, one reference each
};
static_assert(sizeof(void*) != 4 || sizeof(cadenz_query) == 36);

struct cadenz_filter {
  uint32_t magic;
  pask_stringmap_handle values;  // list type -> decimal texts of the elements' numbers
};

struct cadenz_station {
  uint32_t magic;
  pask_critsec_handle lock;  // held during a whole exchange with the service
  cadenz_query* query;       // the station's own: its user, callback and options; no seeds, and its lock isn't used
  char* station_id;          // never empty
  // The latest answer with something to play, referenced; null until the first. What happened, of cadenz_event, in order of arrival.
  velox_mdo_handle playlist PASK_GUARDED_BY(lock);
  pask_vector2_handle events PASK_GUARDED_BY(lock);
};
static_assert(sizeof(void*) != 4 || sizeof(cadenz_station) == 24);

// What the listener did, until the next exchange reports it.
struct cadenz_event {
  uint32_t kind;             // VELOX_CADENZ_EVENT_
  velox_mdo_handle subject;  // the track or artist, referenced
};
static_assert(sizeof(void*) != 4 || sizeof(cadenz_event) == 8);

// ---- Soundness: asserted before and after work on a record ----------------------------------------------------------

PASK_NO_THREAD_SAFETY_ANALYSIS inline bool cadenz_sound(const cadenz_query* query) {
  uint32_t seeds = 0;
  return query->magic == CADENZ_QUERY_MAGIC && query->lock && query->options &&
         pask_vector_count(query->seeds, &seeds) == 0 && seeds <= VELOX_CADENZ_MAX_SEEDS;
}

inline bool cadenz_sound(const cadenz_filter* filter) { return filter->magic == CADENZ_FILTER_MAGIC && filter->values; }

PASK_NO_THREAD_SAFETY_ANALYSIS inline bool cadenz_sound(const cadenz_station* station) {
  uint32_t seeds = 0, events = 0;
  return station->magic == CADENZ_STATION_MAGIC && station->lock && cadenz_sound(station->query) &&
         pask_vector_count(station->query->seeds, &seeds) == 0 && seeds == 0 && station->station_id &&
         *station->station_id && pask_vector2_count(station->events, &events) == 0;
}

// Holds a query's or a station's lock to the end of the scope.
template <class Object>
struct PASK_SCOPED_CAPABILITY cadenz_hold {
  explicit cadenz_hold(const Object* of) PASK_ACQUIRE(of->lock) : held(of->lock), object(of) {
    PASK_ASSERT(cadenz_sound(object));
  }
  ~cadenz_hold() PASK_RELEASE() { PASK_ASSERT(cadenz_sound(object)); }
  cadenz_hold(const cadenz_hold&) = delete;
  cadenz_hold& operator=(const cadenz_hold&) = delete;

  const critsec_hold held;
  const Object* const object;
};

// ---- Options (cadenz_options.cpp) -----------------------------------------------------------------------------------

// Sets an option under a lock if an owner of that kind (VELOX_OPTION_OF_) has such a key; reads any that is set.
uint32_t cadenz_option_set(const cadenz_query* query, pask_critsec_handle lock, uint8_t owner, const char* key,
                           const char* value);
uint32_t cadenz_option_get(const cadenz_query* query, pask_critsec_handle lock, const char* key, const char** value);

// ---- A query's inner steps (cadenz_query.cpp) -----------------------------------------------------------------------

uint32_t _cadenz_query_create(velox_user_handle user, velox_cadenz_callback_fn callback, void* data,
                              pask_stringmap_handle options_to_copy, cadenz_query** query);
void _cadenz_query_free(cadenz_query* query);
void cadenz_seed_release(uintptr_t seed);

// The seed at an index of a seed vector.
inline uint32_t cadenz_seed_get(pask_vector_handle seeds, uint32_t index, velox_mdo_handle* seed) {
  uintptr_t value = 0;
  PASK_TRY(pask_vector_getindex(seeds, index, &value));
  *seed = reinterpret_cast<velox_mdo_handle>(value);
  return 0;
}
inline uint32_t cadenz_seed_add(pask_vector_handle seeds, velox_mdo_handle seed) {
  return pask_vector_add(seeds, reinterpret_cast<uintptr_t>(seed));
}

// ---- A station's inner steps (cadenz_station.cpp, cadenz_station_event.cpp, cadenz_station_lookup.cpp) --------------

struct cadenz_station_origin {
  const char* station_id;
  velox_mdo_handle answer;  // of the request that made the station; null for one that is reopened
  velox_user_handle user;
  velox_cadenz_callback_fn callback;
  void* callback_data;
  pask_stringmap_handle options;  // to be copied; null for none
};
uint32_t _cadenz_station_create(const cadenz_station_origin& from, cadenz_station** station);

// Brings a station in step with the service by the one request that the moment needs, or by none. 0 only with a playlist,
// be it the earlier one. The caller holds the station's lock, unless nobody else knows the station.
uint32_t _cadenz_station_lookup(cadenz_station* station) PASK_REQUIRES(station->lock);
// Adds all pending events to a request and empties the list, also when one of them fails and the request can't go out.
uint32_t cadenz_events_send(cadenz_station* station, velox_lookup_handle lookup) PASK_REQUIRES(station->lock);
void _cadenz_event_release(void* event);
