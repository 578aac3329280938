// Tags through TagLib's property map, which gives one set of names for all formats.
#include "intake/tags.h"

#include <taglib/fileref.h>
#include <taglib/tfilestream.h>
#include <taglib/tpropertymap.h>

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "model/identity.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

/** The values of a tag; a value of several parts is divided. */
std::vector<std::string> list_of(const TagLib::PropertyMap& tags, std::initializer_list<const char*> keys) {
  std::string joined;
  for (const char* name : keys) {
    const auto found = tags.find(name);
    if (found == tags.end()) continue;
    for (const auto& value : found->second) {
      if (joined.size() > k_longest_list) break;
      joined += value.to8Bit(true) + ";";
    }
    if (!joined.empty()) break;
  }
  return divided(joined.substr(0, k_longest_list));
}

/** The first value that isn't empty, of the first tag that has one. */
std::string first_of(const TagLib::PropertyMap& tags, std::initializer_list<const char*> keys, size_t limit = 500) {
  for (const char* name : keys) {
    const auto found = tags.find(name);
    if (found == tags.end()) continue;
    for (const auto& value : found->second) {
      if (std::string text = clean(value.to8Bit(true), limit); !text.empty()) return text;
    }
  }
  return {};
}

/** A leading number, as in "3/12". */
uint32_t leading_number(const std::string& text) {
  uint32_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || value > 99) break;
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  return value;
}

/** A rating becomes a popularity: 0.0 to 1.0, 1 to 5, or up to 100. */
int popularity_of(const TagLib::PropertyMap& tags) {
  constexpr int k_unrated = 500;
  char* end = nullptr;
  if (const std::string share = first_of(tags, {"FMPS_RATING"}); !share.empty()) {
    const double value = std::strtod(share.c_str(), &end);
    if (*end == 0 && value >= 0 && value <= 1) return static_cast<int>(value * 1000);
  }
  uint64_t value = 0;
  if (number(first_of(tags, {"RATING"}), 100, &value)) return static_cast<int>(value <= 5 ? value * 200 : value * 10);
  return k_unrated;
}

/** A file of which a bounded part is read: TagLib looks for the beginning of the sound as far as the file goes, which in an
 *  unfinished download may be all of it. */
class bounded_stream : public TagLib::FileStream {
 public:
  using FileStream::FileStream;
  TagLib::ByteVector readBlock(unsigned long length) override {
    if (read_ > k_most) return {};
    read_ += length;
    return FileStream::readBlock(length);
  }

 private:
  static constexpr uint64_t k_most = 16 << 20;
  uint64_t read_ = 0;
};

std::string stem_of(const std::string& path) {
  const size_t from = path.rfind('/') + 1;
  return clean(path.substr(from, path.rfind('.') - from));
}

}  // namespace

bool is_audio(std::string_view path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos || path.size() - dot > 5) return false;
  char ending[6] = {};
  for (size_t i = 0; i + dot + 1 < path.size(); ++i) {
    const char c = path[dot + 1 + i];
    ending[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  }
  for (const char* known : {"flac", "mp3", "ogg", "oga", "opus", "m4a"}) {
    if (std::strcmp(ending, known) == 0) return true;
  }
  return false;
}

int year_of(std::string_view date) {
  uint64_t year = 0;
  return date.size() >= 4 && number(date.substr(0, 4), 2999, &year) && year >= 1000 ? static_cast<int>(year) : 0;
}

std::string read_tags(song& track) {
  const int file = ::open(track.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return std::string("can't be read: ") + std::strerror(errno);
  char byte = 0;
  const ssize_t size = ::read(file, &byte, 1);
  const int error = errno;
  ::close(file);
  if (size < 0) return std::string("can't be read: ") + std::strerror(error);
  if (size == 0) return "is empty";
  bounded_stream stream(track.path.c_str(), true);
  const TagLib::FileRef read(&stream, true, TagLib::AudioProperties::Fast);
  if (read.isNull() || !read.file()->isValid()) return "holds no sound that its name promises, or is damaged";
  const TagLib::PropertyMap tags = read.file()->properties();
  const TagLib::AudioProperties* audio = read.audioProperties();
  if ((audio == nullptr || audio->sampleRate() == 0) && tags.isEmpty())
    return "holds no sound that its name promises, or is damaged";

  track.title = first_of(tags, {"TITLE"});
  track.artist = first_of(tags, {"ARTIST"});
  track.album = first_of(tags, {"ALBUM"});
  track.album_artist = first_of(tags, {"ALBUMARTIST", "ALBUM ARTIST"});
  if (track.album_artist.empty() && first_of(tags, {"COMPILATION"}) == "1") track.album_artist = "Various Artists";
  track.genres = list_of(tags, {"GENRE"});
  track.moods = list_of(tags, {"MOOD"});
  track.year = year_of(first_of(tags, {"ORIGINALDATE"}));
  if (track.year == 0) track.year = year_of(first_of(tags, {"DATE", "YEAR"}));
  track.tui = first_of(tags, {"MUSICBRAINZ_TRACKID"}, 100);
  track.artist_id = first_of(tags, {"MUSICBRAINZ_ARTISTID"}, 100);
  track.number =
      leading_number(first_of(tags, {"DISCNUMBER"})) * 1000 + leading_number(first_of(tags, {"TRACKNUMBER"}));
  track.popularity = popularity_of(tags);
  track.duration =
      audio != nullptr && audio->lengthInSeconds() > 0 ? static_cast<uint32_t>(audio->lengthInSeconds()) : 0;
  complete(track);
  return {};
}

void complete(song& track) {
  if (track.title.empty()) track.title = track.path.empty() ? std::string("Untitled") : stem_of(track.path);
  if (track.artist.empty()) track.artist = track.album_artist.empty() ? k_no_artist : track.album_artist;
}

}  // namespace velox::catalog
