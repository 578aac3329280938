/* The pictures in audio files and beside them. */
#ifndef CADENZ_APP_PICTURES_H
#define CADENZ_APP_PICTURES_H

#include <optional>

#include "http/files.h"

namespace app::http {

struct picture {
  std::string bytes;
  const char* type;
};

/** The picture in an audio file, or cover.jpg and the like beside it. */
std::optional<picture> cover_of(const music_files& files, const std::string& path);

}  // namespace app::http

#endif
