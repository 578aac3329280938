// Folders and audio files. What the catalogue knows of the place is read first, in order of paths, so that each file met is
// found by a binary search and what is left over at the end is gone.
#include "intake/scan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "intake/tags.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

struct known_file {
  uint64_t path_hash;
  int64_t id; /* of the track, or of the duplicate */
  int64_t size, stamp;
  bool duplicate, seen;
};

/** The files that the catalogue has at or below a path. */
class known_files {
 public:
  known_files(database& db, const std::string& path, bool folder) {
    // '0' follows '/': the range holds all that begins with "path/".
    const std::string from = folder ? path + "/" : path;
    const std::string to = folder ? path + "0" : path + std::string("\0", 1);
    read(db.prepared("SELECT id, path, size, stamp FROM track WHERE path>=? AND path<? AND source=0"), from, to, false);
    read(db.prepared("SELECT id, path, size, stamp FROM duplicate WHERE path>=? AND path<?"), from, to, true);
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
  void read(statement row, const std::string& from, const std::string& to, bool duplicate) {
    row.bind(std::string_view(from), std::string_view(to));
    while (row.step())
      files_.push_back({hashed(row.text(1)), row.integer(0), row.integer(2), row.integer(3), duplicate, false});
  }
  std::vector<known_file> files_;
};

/** Looks at a file: a song of its path, size and time of change. False with errno when that can't be done. */
bool look_at(const std::string& path, song& file, mode_t& mode) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return false;
  file.path = path;
  file.size = static_cast<uint64_t>(status.st_size);
  file.stamp = static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
  mode = status.st_mode;
  return true;
}

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
    known_file* known = known_.find(path);
    if (known) known->seen = true;
    song track;
    mode_t mode = 0;
    if (!look_at(path, track, mode)) {
      if (known && errno == ENOENT) known->seen = false;
      run_.problem(path, std::string("can't be read: ") + std::strerror(errno));
    } else if (known && known->size == static_cast<int64_t>(track.size) && known->stamp == track.stamp) {
      ++run_.report.unchanged;
    } else {
      take_in(track, mode, known);
    }
    run_.step(path);
  }

  /** Takes in a new or a changed file. */
  void take_in(song& track, mode_t mode, const known_file* known) {
    const std::string why = S_ISREG(mode) ? read_tags(track) : std::string("isn't a file");
    if (!why.empty()) return run_.problem(track.path, why);
    track.digest = digest(track.path);
    if (known && known->duplicate) {
      run_.changes.remove_duplicate(known->id);
      known = nullptr;
    }
    if (known) {
      inherit(known->id, 0);  // its former content may be there elsewhere
      run_.changes.put(track, known->id);
      ++run_.report.updated;
    } else if (!recognised(track)) {
      run_.changes.put(track, 0);
      ++run_.report.added;
    }
  }

  std::optional<int64_t> digest(const std::string& path) const {
    uint8_t bytes[16] = {};
    if (!run_.events.digest || run_.events.digest(run_.events.context, path.c_str(), bytes) != 0) return std::nullopt;
    int64_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  /** Whether a new file is one that the catalogue has, moved or once more; it is then seen to. */
  bool recognised(const song& track) {
    if (!track.digest) return false;
    int64_t same = 0;
    std::string path;
    {
      statement row = run_.db.prepared("SELECT id, path FROM track WHERE digest=? AND size=? AND source=0");
      if (!row.bind(track.digest, track.size).step()) return false;
      same = row.integer(0);
      path = row.text(1);
    }
    song there;
    mode_t mode = 0;
    if (look_at(path, there, mode)) {
      run_.changes.put_duplicate(track, same);
      ++run_.report.duplicates;
      return true;
    }
    if (known_file* former = known_.find(path)) former->seen = true;
    run_.changes.put(track, same);
    ++run_.report.moved;
    return true;
  }

  /** Makes a track of the first file that has the content of a track's, under its number or, with 0, a new one. False when
   *  there is no such file. */
  bool inherit(int64_t of, int64_t under) {
    struct heir {
      int64_t id, size, stamp;
      std::string path;
    };
    std::vector<heir> heirs;
    {
      statement row = run_.db.prepared("SELECT id, size, stamp, path FROM duplicate WHERE track=? ORDER BY path");
      row.bind(of);
      while (row.step()) heirs.push_back({row.integer(0), row.integer(1), row.integer(2), std::string(row.text(3))});
    }
    for (const heir& each : heirs) {
      run_.changes.remove_duplicate(each.id);
      song track;
      mode_t mode = 0;
      const bool as_it_was = look_at(each.path, track, mode) && S_ISREG(mode) &&
                             static_cast<int64_t>(track.size) == each.size && track.stamp == each.stamp;
      if (!as_it_was || !read_tags(track).empty()) continue;
      track.digest = digest(each.path);
      run_.changes.hand_duplicates(of, run_.changes.put(track, under));
      if (known_file* former = known_.find(each.path)) former->seen = true;
      return true;
    }
    return false;
  }

  /** Takes out what wasn't met, except below folders that couldn't be read. */
  void remove_gone() {
    for (const known_file& each : known_.all()) {
      if (each.seen) continue;
      std::string path;
      {
        statement row = run_.db.prepared(each.duplicate ? "SELECT path FROM duplicate WHERE id=?"
                                                        : "SELECT path FROM track WHERE id=?");
        if (row.bind(each.id).step()) path = row.text(0);
      }
      const bool unknown = std::any_of(hidden_.begin(), hidden_.end(), [&](const std::string& folder) {
        return path.compare(0, folder.size(), folder) == 0;
      });
      if (unknown || path.empty()) continue;
      if (each.duplicate) {
        run_.changes.remove_duplicate(each.id);
      } else if (inherit(each.id, each.id)) {
        ++run_.report.moved;
      } else {
        run_.changes.remove(each.id);
        ++run_.report.removed;
      }
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
