/* cadenz scan: fills the catalogue, then listens to what is in it. What can't be read is told and skipped; Ctrl-C ends the scan after the running
 * transaction, with the catalogue sound and the rest left for the next time. */
#include <filesystem>

#include "cli/commands.h"
#include "cli/files.h"
#include "cli/listening.h"
#include "core/session.h"
#include "core/text_safe.h"
#include "terminal/interrupts.h"
#include "terminal/terminal.h"

namespace app {

namespace {

bool is_folder(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

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
  total.moved += one.moved;
  total.duplicates += one.duplicates;
}

std::string several(uint64_t count, const char* one, const char* many) {
  return counted(count, count == 1 ? one : many);
}

std::string summary(const velox_catalog_scan_report& report, const velox_catalog_counts& counts,
                    const std::string& path) {
  std::string text = counted(report.seen, "seen: ") + counted(report.added, "new, ") +
                     counted(report.updated, "changed, ") + counted(report.unchanged, "unchanged, ") +
                     counted(report.removed, "gone, ") + counted(report.failed, "failed");
  if (report.moved > 0) text += ", " + counted(report.moved, "moved");
  if (report.duplicates > 0) text += ", " + several(report.duplicates, "copy", "copies");
  return text + "\nThe catalogue holds " + several(counts.tracks, "track", "tracks") + " of " +
         several(counts.artists, "artist", "artists") + ": " + safe(path) + '\n' +
         (counts.invented ? "It is the demonstration catalogue: its artists are invented.\n" : "");
}

/** What is known of sounds, where there is something to tell. */
std::string summary_of_sounds(velox_catalog_handle catalog) {
  velox_catalog_sound_counts counts = {};
  check(velox_catalog_sound_count(catalog, &counts));
  std::string text;
  if (counts.heard > 0) text += "It knows what " + several(counts.heard, "track sounds", "tracks sound") + " like.\n";
  if (counts.failed > 0) text += several(counts.failed, "file", "files") + " can't be listened to.\n";
  if (counts.brief > 0)
    text += several(counts.brief, "track is", "tracks are") + " too short to be recommended (see --shortest).\n";
  return text;
}

/** Standard input stands in the catalogue as a file in the present folder. */
pask_status take_in(velox_catalog_handle catalog, const std::string& place, const velox_catalog_scan_events& events,
                    velox_catalog_scan_report& report) {
  const bool standard_input = place == "-";
  if (!standard_input && (place.size() < 4 || place.compare(place.size() - 4, 4, ".tsv") != 0 || is_folder(place)))
    return velox_catalog_scan(catalog, place.c_str(), &events, &report);
  const stream_owner text = open_text(standard_input ? PASK_FS_STDIN : place);
  const char* name = standard_input ? "standard input" : place.c_str();
  return velox_catalog_import(catalog, name, read_text, text.get(), &events, &report);
}

}  // namespace

int scan(const std::string& path, const scan_request& request) {
  const session running;
  const file_layer files;
  const catalog_owner catalog = open_catalog_for_scan(path);
  watch_interrupts();

  if (request.shortest) check(velox_catalog_shortest_set(catalog.get(), *request.shortest));

  velox_catalog_scan_report total = {};
  bool all_scanned = true;
  for (const std::string& place : request.places) {
    progress_line line;
    const velox_catalog_scan_events events{&line, on_problem, on_progress, digest_of};
    velox_catalog_scan_report report = {};
    try {
      check(take_in(catalog.get(), place, events, report));
    } catch (const failure& failed) {
      all_scanned = false;
      line.clear();
      if (!interrupted()) tell(failed.what());
    }
    line.clear();
    add(total, report);
    if (interrupted()) break;
  }

  if (total.seen > 0 || all_scanned) {
    velox_catalog_counts counts = {};
    check(velox_catalog_count(catalog.get(), &counts));
    write_result(summary(total, counts, path));
  }
  uint64_t unheard = 0;
  if (!request.no_sound && !interrupted()) unheard = listen(catalog.get(), request.jobs);
  if (total.seen > 0 || all_scanned) write_result(summary_of_sounds(catalog.get()));
  if (interrupted())
    throw failure("interrupted; what was read and heard is in the catalogue",
                  "run the same command again: it goes on from there");
  return all_scanned && total.failed == 0 && unheard == 0 ? exit_fine : exit_failed;
}

}  // namespace app
