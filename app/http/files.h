/* Files of music. Only what lies below a folder that has been scanned is ever opened, and no link is
 * followed out of one. */
#ifndef CADENZ_APP_FILES_OF_MUSIC_H
#define CADENZ_APP_FILES_OF_MUSIC_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace app::http {

/** A file that is open for reading. */
class open_file {
 public:
  explicit open_file(int descriptor) : descriptor_(descriptor) {}
  ~open_file();
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;

  int descriptor() const { return descriptor_; }
  uint64_t size = 0;
  int64_t changed = 0;               // seconds since 1970
  std::string changed_text() const;  // as HTTP writes it
  std::string validator;             // of what it holds, for ETag
  const char* type = nullptr;

 private:
  const int descriptor_;
};

class music_files {
 public:
  explicit music_files(std::vector<std::string> folders);
  ~music_files();
  music_files(const music_files&) = delete;
  music_files& operator=(const music_files&) = delete;

  bool any() const { return !roots_.empty(); }
  /** Null for what isn't there or may not be opened. */
  std::shared_ptr<open_file> open(const std::string& path) const;

 private:
  struct root {
    std::string path;  // ends with a slash
    int descriptor;
  };
  std::vector<root> roots_;
};

}  // namespace app::http

#endif
