// The list of readers, and the digest, which the scan's caller takes.
#include "intake/readers.h"

#include <sys/stat.h>

#include <cstring>

#include "intake/tags.h"

namespace velox::catalog {
namespace {

constexpr std::string (*k_readers[])(const scan_run&, song&) = {read_tags_of, read_digest};

}  // namespace

bool look_at(const std::string& path, song& file, bool* regular) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return false;
  file.path = path;
  file.size = static_cast<uint64_t>(status.st_size);
  file.stamp = static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
  *regular = S_ISREG(status.st_mode);
  return true;
}

std::string read_file(const scan_run& run, song& track) {
  for (const auto& reader : k_readers) {
    if (std::string why = reader(run, track); !why.empty()) return why;
  }
  return {};
}

std::string read_tags_of(const scan_run&, song& track) { return read_tags(track); }

std::string read_digest(const scan_run& run, song& track) {
  uint8_t bytes[16] = {};
  if (!run.events.digest || run.events.digest(run.events.context, track.path.c_str(), bytes) != 0) return {};
  int64_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  track.digest = value;
  return {};
}

}  // namespace velox::catalog
