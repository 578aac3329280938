/* Opening goes from the scanned folder's own descriptor, and the kernel sees to it that the way stays below. */
#include "http/files.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <attachedpictureframe.h>
#include <flacfile.h>
#include <id3v2tag.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <opusfile.h>
#include <tfilestream.h>
#include <vorbisfile.h>
#include <xiphcomment.h>

#include "core/text.h"

namespace app::http {

namespace {

constexpr uint64_t largest_picture = 16u << 20;

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

/** A picture's type by how it begins; null for what isn't one that a browser shows. */
const char* type_of_picture(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (bytes.starts_with("\xff\xd8\xff"sv)) return "image/jpeg";
  if (bytes.starts_with("\x89PNG\r\n\x1a\n"sv)) return "image/png";
  if (bytes.starts_with("GIF8"sv)) return "image/gif";
  if (bytes.starts_with("RIFF"sv) && bytes.substr(0, 12).ends_with("WEBP"sv)) return "image/webp";
  return nullptr;
}

std::optional<picture> picture_of(std::string bytes) {
  const char* type = bytes.size() <= largest_picture ? type_of_picture(bytes) : nullptr;
  if (!type) return std::nullopt;
  return picture{std::move(bytes), type};
}

std::optional<picture> picture_of(const TagLib::ByteVector& bytes) {
  return picture_of(std::string(bytes.data(), bytes.size()));
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

template <class File>
std::optional<picture> first_of(File& file) {
  if (!file.isValid()) return std::nullopt;
  const auto pictures = file.pictureList();
  if (pictures.isEmpty()) return std::nullopt;
  return picture_of(pictures.front()->data());
}

template <class File>
std::optional<picture> first_of_comment(File& file) {
  if (!file.isValid() || !file.tag()) return std::nullopt;
  const auto pictures = file.tag()->pictureList();
  if (pictures.isEmpty()) return std::nullopt;
  return picture_of(pictures.front()->data());
}

std::optional<picture> embedded(const std::string& path, int descriptor) {
  TagLib::FileStream stream(dup(descriptor), true);
  if (!stream.isOpen()) return std::nullopt;
  const std::string name = lower(path);
  if (name.ends_with(".flac")) {
    TagLib::FLAC::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
    return first_of(file);
  }
  if (name.ends_with(".mp3")) {
    TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
    if (!file.isValid() || !file.ID3v2Tag()) return std::nullopt;
    const auto frames = file.ID3v2Tag()->frameList("APIC");
    if (frames.isEmpty()) return std::nullopt;
    const auto* frame = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(frames.front());
    return frame ? picture_of(frame->picture()) : std::nullopt;
  }
  if (name.ends_with(".m4a") || name.ends_with(".mp4")) {
    TagLib::MP4::File file(&stream, false);
    if (!file.isValid() || !file.tag() || !file.tag()->contains("covr")) return std::nullopt;
    const auto covers = file.tag()->item("covr").toCoverArtList();
    return covers.isEmpty() ? std::nullopt : picture_of(covers.front().data());
  }
  if (name.ends_with(".opus")) {
    TagLib::Ogg::Opus::File file(&stream, false);
    return first_of_comment(file);
  }
  if (name.ends_with(".ogg") || name.ends_with(".oga")) {
    TagLib::Ogg::Vorbis::File file(&stream, false);
    return first_of_comment(file);
  }
  return std::nullopt;
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

std::optional<picture> music_files::cover(const std::string& path) const {
  const std::shared_ptr<open_file> audio = open(path);
  if (!audio) return std::nullopt;
  if (std::optional<picture> found = embedded(path, audio->descriptor())) return found;

  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (const char* name : {"cover.jpg", "folder.jpg", "cover.png", "folder.png", "front.jpg"}) {
    const std::shared_ptr<open_file> beside = open(folder + name);
    if (!beside || beside->size > largest_picture) continue;
    std::string bytes(beside->size, '\0');
    const ssize_t got = pread(beside->descriptor(), bytes.data(), bytes.size(), 0);
    if (got != static_cast<ssize_t>(bytes.size())) continue;
    if (std::optional<picture> found = picture_of(std::move(bytes))) return found;
  }
  return std::nullopt;
}

}  // namespace app::http
