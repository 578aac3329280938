// A station's playlist: brought in step with the service under the station's lock, and handed out with a reference.
#include "cadenz_objects.h"

static uint32_t playlist_give(cadenz_station* station, velox_mdo_handle* playlist) {
  const cadenz_hold held(station);
  PASK_TRY(_cadenz_station_lookup(station));
  *playlist = station->playlist;
  g_cadenz_mdo_interface->mdo_addref(station->playlist);
  return 0;
}

uint32_t velox_cadenz_station_generate_playlist(cadenz_station* station, velox_mdo_handle* playlist) {
  static constexpr char OPERATION[] = "velox_cadenz_station_generate_playlist";
  cadenz_trace("velox_cadenz_station_generate_playlist( %p, %p )", station, playlist);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  if (!playlist) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, playlist_give(station, playlist));
}
