// Taking in folders, audio files and tab-separated files.
#ifndef VELOX_CATALOG_INTAKE_SCAN_H
#define VELOX_CATALOG_INTAKE_SCAN_H

#include "intake/batch.h"

namespace velox::catalog {

/** One scan: where it stands, and whom it tells. */
struct scan_run {
  store& into;
  const velox_catalog_scan_events& events;
  velox_catalog_scan_report& report;
  batch changes{into, report};

  void problem(const std::string& where, const std::string& message);
  /** Tells of something that is left out, which is no failure. */
  void note(const std::string& where, const std::string& message);
  /** Between two items: tells, and throws a failure with VELOX_STANDIN_ERR_ABORTED when the scan is to end. What is to be kept has
   *  been flushed then. */
  void step(const std::string& where);
  /** The same, but what was read so far is settled by `settle` before it ends. */
  template <class Settle>
  void step(const std::string& where, Settle settle) {
    if (!is_to_end(where)) return;
    settle();
    end();
  }

 private:
  bool is_to_end(const std::string& where) const;
  [[noreturn]] static void end();
};

/** `path` is absolute. */
void scan_files(scan_run& run, const std::string& path, bool folder);
void scan_tsv(scan_run& run, const std::string& path);
/** `name` is absolute. */
void import_tsv(scan_run& run, const std::string& name, velox_catalog_read_fn read, void* context);

}  // namespace velox::catalog

#endif
