/* cadenz scan: fills the catalogue. What can't be read is told and skipped; Ctrl-C ends the scan after the running
 * transaction, with the catalogue sound and the rest left for the next time. */
#include "commands.h"
#include "session.h"
#include "terminal.h"
#include "text_safe.h"

namespace app {

namespace {

std::string counted(uint64_t count, const char* what) { return std::to_string(count) + ' ' + what; }

void on_problem(void* context, const char* where, const char* message) noexcept {
  static_cast<progress_line*>(context)->clear();
  tell(std::string(where) + ": " + message);
}

int on_progress(void* context, const velox_catalog_scan_report* so_far, const char* where) noexcept {
  progress_line& line = *static_cast<progress_line*>(context);
  if (line.due())
    line.show("scanning: " + counted(so_far->seen, "seen, ") + counted(so_far->added + so_far->updated, "taken in, ") +
              counted(so_far->failed, "failed  ") + (where ? where : ""));
  return interrupted();
}

void add(velox_catalog_scan_report& total, const velox_catalog_scan_report& one) {
  total.seen += one.seen;
  total.added += one.added;
  total.updated += one.updated;
  total.unchanged += one.unchanged;
  total.removed += one.removed;
  total.failed += one.failed;
}

std::string several(uint64_t count, const char* what) { return counted(count, what) + (count == 1 ? "" : "s"); }

std::string summary(const velox_catalog_scan_report& report, const velox_catalog_counts& counts,
                    const std::string& path) {
  return counted(report.seen, "seen: ") + counted(report.added, "new, ") + counted(report.updated, "changed, ") +
         counted(report.unchanged, "unchanged, ") + counted(report.removed, "gone, ") +
         counted(report.failed, "failed\n") + "The catalogue holds " + several(counts.tracks, "track") + " of " +
         several(counts.artists, "artist") + ": " + safe(path) + '\n' +
         (counts.invented ? "It is the demonstration catalogue: its artists are invented.\n" : "");
}

}  // namespace

int scan(const std::string& path, const scan_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog_for_scan(path);
  watch_interrupts();

  velox_catalog_scan_report total = {};
  bool all_scanned = true;
  for (const std::string& place : request.places) {
    progress_line line;
    const velox_catalog_scan_events events{&line, on_problem, on_progress, nullptr};
    velox_catalog_scan_report report = {};
    const pask_status status = velox_catalog_scan(catalog.get(), place.c_str(), &events, &report);
    line.clear();
    add(total, report);
    if (interrupted()) break;
    if (status == 0) continue;
    tell(last_error(status));
    all_scanned = false;
  }

  if (total.seen > 0 || all_scanned) {
    velox_catalog_counts counts = {};
    check(velox_catalog_count(catalog.get(), &counts));
    write_result(summary(total, counts, path));
  }
  if (interrupted())
    throw failure("interrupted; what was read is in the catalogue",
                  "run the same command again: it goes on from there");
  return all_scanned && total.failed == 0 ? exit_fine : exit_failed;
}

}  // namespace app
