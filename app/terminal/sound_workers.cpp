/* A worker gets a file as a descriptor over a socket, and can open nothing itself; what it answers is checked like the file. */
#include "terminal/sound_workers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "core/handles.h"
#include "wire.h"

namespace app {

using velox::sound::answer;
using clock = std::chrono::steady_clock;

namespace {

/** A descriptor, closed at the end of the scope. */
struct descriptor {
  int number;
  ~descriptor() {
    if (number >= 0) ::close(number);
  }
};

/** A regular file, opened without waiting for anything; -1 with errno. */
int open_file(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  struct stat status = {};
  if (file < 0 || (::fstat(file, &status) == 0 && S_ISREG(status.st_mode))) return file;
  ::close(file);
  errno = EINVAL;
  return -1;
}

/** What a process begins with: nothing but its end of the socket. */
class beginnings {
 public:
  explicit beginnings(int socket) {
    posix_spawn_file_actions_init(&files_);
    for (int standard = 0; standard < 3; ++standard)
      posix_spawn_file_actions_addopen(&files_, standard, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files_, socket, velox::sound::k_socket);
    posix_spawn_file_actions_addclosefrom_np(&files_, velox::sound::k_socket + 1);
    sigset_t usual, none;
    sigfillset(&usual);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigdefault(&attributes_, &usual);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setpgroup(&attributes_, 0);  // Ctrl-C is the scan's
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  }
  ~beginnings() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&files_);
  }
  beginnings(const beginnings&) = delete;
  beginnings& operator=(const beginnings&) = delete;
  int spawn(const std::string& program, pid_t* process) const {
    char* words[] = {const_cast<char*>(program.c_str()), nullptr};
    char language[] = "LC_ALL=C";
    char* variables[] = {language, nullptr};
    return posix_spawn(process, program.c_str(), &files_, &attributes_, words, variables);
  }

 private:
  posix_spawn_file_actions_t files_;
  posix_spawnattr_t attributes_;
};

/** Whether a process ended by what it did itself: a signal that a person, a shutdown or a system without memory sends says nothing
 *  of the file that it had. */
bool ended_itself(int status) {
  if (!WIFSIGNALED(status)) return true;
  constexpr int of_others[] = {SIGKILL, SIGTERM, SIGINT, SIGHUP, SIGQUIT};
  return std::ranges::find(of_others, WTERMSIG(status)) == std::end(of_others);
}

std::string words_of(int status) {
  return WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

sound_workers::sound_workers(std::string program, size_t jobs, std::chrono::milliseconds patience)
    : program_(std::move(program)), patience_(patience), workers_(std::max<size_t>(jobs, 1)) {}

sound_workers::~sound_workers() {
  for (worker& each : workers_) end(each);
}

bool sound_workers::has_room() const {
  return std::ranges::any_of(workers_, [](const worker& each) { return !each.busy; });
}

bool sound_workers::is_busy() const {
  return !ready_.empty() || std::ranges::any_of(workers_, [](const worker& each) { return each.busy; });
}

void sound_workers::start(worker& of) const {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
    throw failure(std::string("listening: ") + std::strerror(errno));
  const descriptor theirs{ends[1]};
  const int error = beginnings(ends[1]).spawn(program_, &of.process);
  if (error != 0) {
    ::close(ends[0]);
    of.process = 0;
    fail(std::string("can't be started: ") + std::strerror(error));
  }
  of.socket = ends[0];
  of.ready = false;
}

void sound_workers::fail(const std::string& what) const {
  throw failure(program_ + ' ' + what, "scan with --no-sound, or install it again");
}

/** Ends a process, and tells its status, which is that of its own end if it had come to one. */
int sound_workers::end(worker& of) {
  if (of.process == 0) return 0;
  ::close(std::exchange(of.socket, -1));
  ::kill(of.process, SIGKILL);
  int status = 0;
  while (::waitpid(of.process, &status, 0) < 0 && errno == EINTR) continue;
  of.process = 0;
  of.busy = false;
  return status;
}

void sound_workers::give(sound_task task) {
  const descriptor file{open_file(task.path)};
  if (file.number < 0) {
    ready_.push_back({std::move(task), {}, std::string("can't be listened to: ") + std::strerror(errno), true});
    return;
  }
  worker& to = *std::ranges::find_if(workers_, [](const worker& each) { return !each.busy; });
  if (to.process == 0) start(to);
  if (!velox::sound::file_message().send(to.socket, file.number)) {  // it had done its share, and ended
    end(to);
    start(to);
    if (!velox::sound::file_message().send(to.socket, file.number)) fail("doesn't listen: " + words_of(end(to)));
  }
  to.busy = true;
  to.task = std::move(task);
  to.since = clock::now();
}

std::vector<sound_outcome> sound_workers::wait(std::chrono::milliseconds most) {
  if (!ready_.empty()) return std::exchange(ready_, {});
  std::vector<pollfd> places;
  std::vector<worker*> busy;
  auto until = clock::now() + most;
  for (worker& each : workers_) {
    if (!each.busy) continue;
    places.push_back({each.socket, POLLIN, 0});
    busy.push_back(&each);
    until = std::min(until, each.since + patience_);
  }
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - clock::now()).count() + 1;
  std::vector<sound_outcome> outcomes;
  if (::poll(places.data(), places.size(), static_cast<int>(std::max<int64_t>(left, 0))) < 0) return outcomes;
  for (size_t i = 0; i < busy.size(); ++i) {
    if (places[i].revents != 0) {
      if (std::optional<sound_outcome> outcome = take(*busy[i])) outcomes.push_back(std::move(*outcome));
    } else if (clock::now() - busy[i]->since >= patience_) {
      outcomes.push_back(give_up(*busy[i]));
    }
  }
  return outcomes;
}

/** Nothing when all that it said is that it is ready. */
std::optional<sound_outcome> sound_workers::take(worker& from) const {
  answer got = {};
  const ssize_t size = ::recv(from.socket, &got, sizeof got, MSG_DONTWAIT);
  const bool untaken = size < 0 && errno == ECONNRESET;
  if (size == 1 && !from.ready) {
    from.ready = true;
    return std::nullopt;
  }
  if (!from.ready) fail("ends before it listens: " + words_of(end(from)));
  sound_outcome outcome{std::move(from.task), {}, {}};
  from.busy = false;
  if (size == sizeof got) {
    outcome.sound = got.sound;
    outcome.why = std::string(got.why, strnlen(got.why, sizeof got.why));
    if (got.last) end(from);
    return outcome;
  }
  const int status = end(from);
  outcome.why = size > 0 ? "can't be listened to: the decoder goes astray"
                         : "can't be listened to: it crashes the decoder (" + words_of(status) + ")";
  outcome.may_change = untaken || (size <= 0 && !ended_itself(status));
  return outcome;
}

sound_outcome sound_workers::give_up(worker& of) const {
  end(of);
  const auto patience = std::chrono::ceil<std::chrono::seconds>(patience_).count();
  if (!of.ready) fail("doesn't begin to listen within " + std::to_string(patience) + " s");
  return {std::move(of.task),
          {},
          "can't be listened to: the decoder didn't come to an end within " + std::to_string(patience) + " s"};
}

std::string sound_program() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  if (error) return {};
  for (const char* place : {"cadenz-analyse", "../" CADENZ_LIBEXEC "/cadenz-analyse"}) {
    const std::string program = (folder / place).lexically_normal().string();
    if (::access(program.c_str(), X_OK) == 0) return program;
  }
  return {};
}

}  // namespace app
