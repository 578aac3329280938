// Taking in folders, audio files and tab-separated files.
#ifndef VELOX_CATALOG_SCAN_H
#define VELOX_CATALOG_SCAN_H

#include "store/sqlite/writer.h"

namespace velox::catalog {

/** One scan: where it stands, and whom it tells. */
struct scan_run {
  database& db;
  const velox_catalog_scan_events& events;
  velox_catalog_scan_report& report;
  writer changes;

  void problem(const std::string& where, const std::string& message);
  /** Between two items. Throws a failure with VELOX_STANDIN_ERR_ABORTED, the work up to here written, when it is to end. */
  void step(const std::string& where);
};

/** `path` is absolute. */
void scan_files(scan_run& run, const std::string& path, bool folder);
void scan_tsv(scan_run& run, const std::string& path);
/** `name` is absolute. */
void import_tsv(scan_run& run, const std::string& name, velox_catalog_read_fn read, void* context);

}  // namespace velox::catalog

#endif
