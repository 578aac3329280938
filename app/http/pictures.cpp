/* The first picture of a file's tags counts. What a picture is, its first bytes say: whatever else lies there isn't given out. */
#include "http/pictures.h"

#include <unistd.h>

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

std::optional<picture> cover_of(const music_files& files, const std::string& path) {
  const std::shared_ptr<open_file> audio = files.open(path);
  if (!audio) return std::nullopt;
  if (std::optional<picture> found = embedded(path, audio->descriptor())) return found;

  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (const char* name : {"cover.jpg", "folder.jpg", "cover.png", "folder.png", "front.jpg"}) {
    const std::shared_ptr<open_file> beside = files.open(folder + name);
    if (!beside || beside->size > largest_picture) continue;
    std::string bytes(beside->size, '\0');
    const ssize_t got = pread(beside->descriptor(), bytes.data(), bytes.size(), 0);
    if (got != static_cast<ssize_t>(bytes.size())) continue;
    if (std::optional<picture> found = picture_of(std::move(bytes))) return found;
  }
  return std::nullopt;
}

}  // namespace app::http
