// Folders and audio files. What the catalogue knows of the place is read first, in order of the paths' hashes, so that each file
// met is found by a binary search and what is left over at the end is gone. What can't be looked at isn't gone.
#include "intake/scan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>

#include "intake/readers.h"
#include "intake/settle.h"
#include "intake/tags.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr size_t k_gone_at_once = 500;

/** The files that the catalogue has at or below a path. */
class known_files {
 public:
  known_files(store& from, const std::string& path, bool folder) : files_(from.files_at(path, folder)) {
    std::sort(files_.begin(), files_.end(), [](const auto& a, const auto& b) { return a.path_hash < b.path_hash; });
    seen_.resize(files_.size());
  }
  const known_file* find(const std::string& path) const {
    const size_t place = place_of(path);
    return place < files_.size() ? &files_[place] : nullptr;
  }
  void see(const std::string& path) {
    if (const size_t place = place_of(path); place < files_.size()) seen_[place] = true;
  }
  bool is_seen(const std::string& path) const {
    const size_t place = place_of(path);
    return place < files_.size() && seen_[place];
  }
  std::vector<known_file> unseen() const {
    std::vector<known_file> left;
    for (size_t i = 0; i < files_.size(); ++i) {
      if (!seen_[i]) left.push_back(files_[i]);
    }
    return left;
  }

 private:
  size_t place_of(const std::string& path) const {
    const uint64_t wanted = hashed(path);
    const auto it = std::lower_bound(files_.begin(), files_.end(), wanted,
                                     [](const known_file& file, uint64_t hash) { return file.path_hash < hash; });
    return it != files_.end() && it->path_hash == wanted ? static_cast<size_t>(it - files_.begin()) : files_.size();
  }
  std::vector<known_file> files_;
  std::vector<bool> seen_;
};

class walk {
 public:
  walk(scan_run& run, const std::string& root, bool folder)
      : run_(run), known_(run.into, root, folder), found_(run, [this](const std::string& path) { known_.see(path); }) {
    if (folder) {
      this->folder(root);
    } else {
      file(root);
    }
    found_.settle();
    remove_gone();
  }

 private:
  void folder(const std::string& path) {
    DIR* open = opendir(path.c_str());
    if (open == nullptr) return hide(path, "folder can't be read: ");
    std::vector<std::string> names;
    for (const dirent* entry; errno = 0, (entry = readdir(open)) != nullptr;) {
      if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    const int error = errno;
    closedir(open);
    errno = error;
    if (error != 0) hide(path, "folder can't be read to its end: ");
    std::sort(names.begin(), names.end());  // the same catalogue from the same files
    for (const std::string& name : names) below(path + "/" + name);
  }

  void below(const std::string& path) {
    struct stat status = {};
    const bool there = ::lstat(path.c_str(), &status) == 0;
    if (there && S_ISDIR(status.st_mode)) return folder(path);
    if (is_audio(path)) return file(path);
    if (there && S_ISLNK(status.st_mode) && leads_to_folder(path))
      return run_.note(path, "is a link to a folder, which isn't followed");
    if (!there && errno != ENOENT) hide(path, "can't be looked at: ");
  }

  static bool leads_to_folder(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
  }

  /** What can't be looked at keeps its tracks, and those below it: it may be a folder, whatever its name. */
  void hide(const std::string& path, const char* what) {
    const std::string why = std::strerror(errno);
    hidden_.insert(path);
    run_.problem(path, what + why);
  }

  void file(const std::string& path) {
    ++run_.report.seen;
    const known_file* known = known_.find(path);
    song track;
    bool regular = false;
    if (!look_at(path, track, &regular)) {
      if (errno != ENOENT) {
        hide(path, "can't be read: ");
      } else {
        run_.problem(path, std::string("can't be read: ") + std::strerror(errno));
      }
    } else {
      known_.see(path);
      if (known && known->size == static_cast<int64_t>(track.size) && known->stamp == track.stamp) {
        ++run_.report.unchanged;
      } else {
        take_in(std::move(track), regular, known);
      }
    }
    step(path);
  }

  /** Takes in a new or a changed file. */
  void take_in(song track, bool regular, const known_file* known) {
    const std::string why = regular ? read_file(run_, track) : std::string("isn't a file");
    if (!why.empty()) return run_.problem(track.path, why);
    found_.add(std::move(track), known);
  }

  void step(const std::string& where) {
    if (found_.due()) found_.settle();
    run_.step(where, [&] { found_.settle(); });
  }

  /** Whether the path, or a folder that it lies in, couldn't be looked at. */
  bool is_hidden(std::string_view path) const {
    for (size_t end = path.size(); end > 0 && end != path.npos; end = path.rfind('/', end - 1)) {
      if (hidden_.contains(std::string(path.substr(0, end)))) return true;
    }
    return false;
  }

  /** Takes out what wasn't met, except what couldn't be looked at. */
  void remove_gone() {
    const std::vector<known_file> gone = known_.unseen();
    for (size_t at = 0; at < gone.size(); at += k_gone_at_once) {
      const std::span some = std::span(gone).subspan(at, std::min(k_gone_at_once, gone.size() - at));
      const std::vector<std::string> paths = run_.into.paths_of(some);
      for (size_t i = 0; i < some.size(); ++i) {
        if (!paths[i].empty() && !is_hidden(paths[i]) && !known_.is_seen(paths[i])) found_.add_gone(some[i]);
      }
      found_.settle();
      run_.step(paths.back());
    }
  }

  scan_run& run_;
  known_files known_;
  settler found_;
  std::unordered_set<std::string> hidden_; /* what couldn't be looked at */
};

}  // namespace

void scan_run::problem(const std::string& where, const std::string& message) {
  ++report.failed;
  note(where, message);
}

void scan_run::note(const std::string& where, const std::string& message) {
  if (events.on_problem) events.on_problem(events.context, clean(where, 4096).c_str(), message.c_str());
}

bool scan_run::is_to_end(const std::string& where) const {
  return events.on_progress && events.on_progress(events.context, &report, clean(where, 4096).c_str()) != 0;
}

void scan_run::end() {
  throw failure{VELOX_STANDIN_ERR_ABORTED, "the scan was ended; what had been read is in the catalogue"};
}

void scan_run::step(const std::string& where) {
  if (changes.due()) changes.flush();
  step(where, [&] { changes.flush(); });
}

void scan_files(scan_run& run, const std::string& path, bool folder) {
  run.into.enter_place(folder ? path : path.substr(0, std::max<size_t>(path.rfind('/'), 1)));
  walk(run, path, folder);
}

}  // namespace velox::catalog
