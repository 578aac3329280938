/* Processes that listen to files: what a stranger's file does to a decoder stays in one of them. Each has one file at a time; one that
 * dies or takes too long is replaced, and the file is told of. */
#ifndef CADENZ_APP_SOUND_WORKERS_H
#define CADENZ_APP_SOUND_WORKERS_H

#include <sys/types.h>
#include <velox/velox_sound.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** A file that is to be listened to, by its place in the catalogue. */
struct sound_task {
  uint64_t track, content;
  std::string path;
};

struct sound_outcome {
  sound_task of;
  velox_sound sound;  // where `why` is empty
  std::string why;
  bool may_change = false;  // that isn't the file's doing: another time it may go well
};

class sound_workers {
 public:
  /** `program` is what each runs; `patience` is given to a file. */
  sound_workers(std::string program, size_t jobs, std::chrono::milliseconds patience = std::chrono::seconds(60));
  /** Files that are under way are given up. */
  ~sound_workers();
  sound_workers(const sound_workers&) = delete;
  sound_workers& operator=(const sound_workers&) = delete;

  bool has_room() const;
  bool is_busy() const;
  /** There is room. Throws when no process can be started. */
  void give(sound_task task);
  /** What has come of files that were given, as soon as there is something; nothing when a signal came first. Throws when a process
   *  ends before it has begun. */
  std::vector<sound_outcome> wait(std::chrono::milliseconds most);

 private:
  struct worker {
    pid_t process = 0;  // 0: none yet
    int socket = -1;
    bool ready = false;  // it has begun as it should; what happens from then on comes from files
    bool busy = false;
    sound_task task = {};
    std::chrono::steady_clock::time_point since = {};
  };
  void start(worker& of) const;
  static int end(worker& of);
  [[noreturn]] void fail(const std::string& what) const;
  std::optional<sound_outcome> take(worker& from) const;
  sound_outcome give_up(worker& of) const;

  const std::string program_;
  const std::chrono::milliseconds patience_;
  std::vector<worker> workers_;
  std::vector<sound_outcome> ready_;  // without a worker
};

/** The program that listens: beside this one, or in the folder for programs that others start; empty where it isn't installed. */
std::string sound_program();

}  // namespace app

#endif
