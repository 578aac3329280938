// The catalogue's operations in a build without it: the names link, and say that there is nothing behind them.
#include "velox_catalog.h"

static pask_status unsupported(const char* operation) {
  velox_standin_error_set(VELOX_STANDIN_ERR_UNSUPPORTED, operation, "this build has no embedded music catalogue");
  return VELOX_STANDIN_ERR_UNSUPPORTED;
}

pask_status velox_catalog_open(const char*, uint32_t, velox_catalog_handle*) { return unsupported(__func__); }
void velox_catalog_close(velox_catalog_handle) {}
pask_status velox_catalog_default_set(const char*) { return unsupported(__func__); }
pask_status velox_catalog_scan(velox_catalog_handle, const char*, const velox_catalog_scan_events*,
                               velox_catalog_scan_report* report) {
  if (report) *report = {};
  return unsupported(__func__);
}
pask_status velox_catalog_import(velox_catalog_handle, const char*, velox_catalog_read_fn, void*,
                                 const velox_catalog_scan_events*, velox_catalog_scan_report* report) {
  if (report) *report = {};
  return unsupported(__func__);
}
pask_status velox_catalog_search(velox_catalog_handle, const char*, uint32_t, uint32_t, velox_catalog_find_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_list(velox_catalog_handle, const char*, velox_catalog_list_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_browse(velox_catalog_handle, const velox_catalog_browsing*, velox_catalog_find_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_chart(velox_catalog_handle, velox_catalog_chart_fn, void*) { return unsupported(__func__); }
pask_status velox_catalog_places(velox_catalog_handle, velox_catalog_place_fn, void*) { return unsupported(__func__); }
pask_status velox_catalog_count(velox_catalog_handle, velox_catalog_counts*) { return unsupported(__func__); }
pask_status velox_catalog_stations(velox_catalog_handle, velox_catalog_station_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_station_history(velox_catalog_handle, const char*, velox_catalog_station_event_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_station_rename(velox_catalog_handle, const char*, const char*) {
  return unsupported(__func__);
}
pask_status velox_catalog_station_remove(velox_catalog_handle, const char*) { return unsupported(__func__); }
pask_status velox_catalog_unheard(velox_catalog_handle, uint64_t, uint32_t, velox_catalog_unheard_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_sound_put(velox_catalog_handle, uint64_t, uint64_t, const velox_sound*, const char*) {
  return unsupported(__func__);
}
pask_status velox_catalog_sound_settle(velox_catalog_handle, velox_catalog_settle_fn, void*) {
  return unsupported(__func__);
}
pask_status velox_catalog_sound_count(velox_catalog_handle, velox_catalog_sound_counts*) {
  return unsupported(__func__);
}
pask_status velox_catalog_shortest_set(velox_catalog_handle, uint32_t) { return unsupported(__func__); }
pask_status velox_catalog_sound(velox_catalog_handle, const char*, const char*, velox_sound*, uint32_t,
                                velox_catalog_alike_fn, void*) {
  return unsupported(__func__);
}
