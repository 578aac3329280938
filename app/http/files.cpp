/* Opening goes from the scanned folder's own descriptor, and the kernel sees to it that the way stays below. */
#include "http/files.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "core/text.h"

namespace app::http {

namespace {

struct ending {
  std::string_view text;
  const char* type;
};
constexpr ending endings[] = {{".flac", "audio/flac"}, {".mp3", "audio/mpeg"}, {".ogg", "audio/ogg"},
                              {".oga", "audio/ogg"},   {".opus", "audio/ogg"}, {".m4a", "audio/mp4"},
                              {".mp4", "audio/mp4"}};

const char* type_of(const std::string& path) {
  const std::string name = lower(path);
  for (const ending& one : endings)
    if (name.ends_with(one.text)) return one.type;
  return "application/octet-stream";
}

/** Without links that lead out, and without waiting for a pipe. */
int open_beneath(int folder, const std::string& path) {
  open_how how = {};
  how.flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  const long opened = syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how);
  if (opened >= 0 || errno != ENOSYS) return static_cast<int>(opened);

  // An older kernel, or one that hides the call: without any link on the way.
  int at = dup(folder);
  for (size_t begin = 0; at >= 0 && begin < path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    const std::string part = path.substr(begin, end - begin);
    const bool last = end == path.size();
    const int next = part == ".." ? -1
                                  : openat(at, part.c_str(),
                                           O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | (last ? 0 : O_DIRECTORY));
    ::close(at);
    at = next;
    begin = end + 1;
  }
  return at;
}

}  // namespace

open_file::~open_file() { ::close(descriptor_); }

std::string open_file::changed_text() const {
  const auto seconds = static_cast<time_t>(changed);
  tm parts = {};
  gmtime_r(&seconds, &parts);
  char text[64];
  return {text, strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts)};
}

music_files::music_files(std::vector<std::string> folders) {
  for (std::string& folder : folders) {
    const int descriptor = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) continue;  // not there now, a drive that isn't mounted
    if (!folder.ends_with('/')) folder += '/';
    roots_.push_back({std::move(folder), descriptor});
  }
}

music_files::~music_files() {
  for (const root& one : roots_) ::close(one.descriptor);
}

std::shared_ptr<open_file> music_files::open(const std::string& path) const {
  const auto below = std::ranges::find_if(roots_, [&](const root& one) { return path.starts_with(one.path); });
  if (below == roots_.end() || path.find('\0') != path.npos) return nullptr;
  const int descriptor = open_beneath(below->descriptor, path.substr(below->path.size()));
  if (descriptor < 0) return nullptr;
  auto file = std::make_shared<open_file>(descriptor);
  struct stat info = {};
  if (fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
  file->size = static_cast<uint64_t>(info.st_size);
  file->changed = info.st_mtim.tv_sec;
  file->validator = '"' + std::to_string(info.st_ino) + '-' + std::to_string(info.st_size) + '-' +
                    std::to_string(info.st_mtim.tv_sec) + '.' + std::to_string(info.st_mtim.tv_nsec) + '"';
  file->type = type_of(path);
  return file;
}

}  // namespace app::http
