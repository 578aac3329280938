// Folders and audio files. What the catalogue knows of the place is read first, in order of paths, so that each file met is
// found by a binary search and what is left over at the end is gone.
#include "scan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tags.h"
#include "text.h"

namespace velox::catalog {
namespace {

struct known_file {
  uint64_t path_hash;
  int64_t id, size, stamp;
  bool seen;
};

/** The files that the catalogue has at or below a path. */
class known_files {
 public:
  known_files(database& db, const std::string& path, bool folder) {
    // '0' follows '/': the range holds all that begins with "path/".
    const std::string from = folder ? path + "/" : path;
    const std::string to = folder ? path + "0" : path + std::string("\0", 1);
    statement row = db.prepared("SELECT id, path, size, stamp FROM track WHERE path>=? AND path<? AND source=0");
    row.bind(std::string_view(from), std::string_view(to));
    while (row.step()) files_.push_back({hashed(row.text(1)), row.integer(0), row.integer(2), row.integer(3), false});
    std::sort(files_.begin(), files_.end(), [](const auto& a, const auto& b) { return a.path_hash < b.path_hash; });
  }
  known_file* find(const std::string& path) {
    const uint64_t wanted = hashed(path);
    const auto it = std::lower_bound(files_.begin(), files_.end(), wanted,
                                     [](const known_file& file, uint64_t hash) { return file.path_hash < hash; });
    return it != files_.end() && it->path_hash == wanted ? &*it : nullptr;
  }
  std::vector<known_file>& all() { return files_; }

 private:
  std::vector<known_file> files_;
};

class walk {
 public:
  walk(scan_run& run, const std::string& root, bool folder) : run_(run), known_(run.db, root, folder) {
    if (folder) {
      this->folder(root);
    } else {
      file(root);
    }
    remove_gone();
  }

 private:
  void folder(const std::string& path) {
    DIR* open = opendir(path.c_str());
    if (open == nullptr) {
      hidden_.push_back(path + "/");
      run_.problem(path, std::string("folder can't be read: ") + std::strerror(errno));
      return;
    }
    std::vector<std::string> names;
    for (const dirent* entry; errno = 0, (entry = readdir(open)) != nullptr;) {
      if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    const int error = errno;
    closedir(open);
    if (error != 0) {
      hidden_.push_back(path + "/");
      run_.problem(path, std::string("folder can't be read to its end: ") + std::strerror(error));
    }
    std::sort(names.begin(), names.end());  // the same catalogue from the same files
    for (const std::string& name : names) {
      const std::string below = path + "/" + name;
      struct stat status = {};
      if (::lstat(below.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        folder(below);
      } else if (is_audio(name)) {
        file(below);
      }
    }
  }

  void file(const std::string& path) {
    ++run_.report.seen;
    struct stat status = {};
    known_file* known = known_.find(path);
    if (known) known->seen = true;
    if (::stat(path.c_str(), &status) != 0) {
      const bool gone = errno == ENOENT;
      run_.problem(path, std::string("can't be read: ") + std::strerror(errno));
      if (known && gone) known->seen = false;
      run_.step(path);
      return;
    }
    const int64_t stamp = static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    if (known && known->size == static_cast<int64_t>(status.st_size) && known->stamp == stamp) {
      ++run_.report.unchanged;
      run_.step(path);
      return;
    }
    song track;
    track.path = path;
    track.size = static_cast<uint64_t>(status.st_size);
    track.stamp = stamp;
    const std::string why = S_ISREG(status.st_mode) ? read_tags(track) : std::string("isn't a file");
    if (!why.empty()) {
      run_.problem(path, why);
    } else {
      run_.changes.put(track, known ? known->id : 0);
      ++(known ? run_.report.updated : run_.report.added);
    }
    run_.step(path);
  }

  /** Takes out what wasn't met, except below folders that couldn't be read. */
  void remove_gone() {
    for (const known_file& each : known_.all()) {
      if (each.seen) continue;
      std::string path;
      {
        statement row = run_.db.prepared("SELECT path FROM track WHERE id=?");
        if (row.bind(each.id).step()) path = row.text(0);
      }
      const bool unknown = std::any_of(hidden_.begin(), hidden_.end(), [&](const std::string& folder) {
        return path.compare(0, folder.size(), folder) == 0;
      });
      if (unknown || path.empty()) continue;
      run_.changes.remove(each.id);
      ++run_.report.removed;
      run_.step(path);
    }
  }

  scan_run& run_;
  known_files known_;
  std::vector<std::string> hidden_; /* folders, with a slash behind, that couldn't be read */
};

}  // namespace

void scan_run::problem(const std::string& where, const std::string& message) {
  ++report.failed;
  if (events.on_problem) events.on_problem(events.context, clean(where, 4096).c_str(), message.c_str());
}

void scan_run::step(const std::string& where) {
  changes.breathe();
  if (!events.on_progress || events.on_progress(events.context, &report, clean(where, 4096).c_str()) == 0) return;
  changes.commit();
  throw failure{VELOX_STANDIN_ERR_ABORTED, "the scan was ended; what had been read is in the catalogue"};
}

void scan_files(scan_run& run, const std::string& path, bool folder) {
  walk(run, path, folder);
  run.changes.commit();
}

}  // namespace velox::catalog
