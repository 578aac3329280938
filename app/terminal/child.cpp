/* Starting by posix_spawn: it tells at once when a program can't be started. The radio ignores SIGPIPE and catches signals; its
 * children begin with the usual settings. The watcher is a fork of the radio, which has one thread: it is found by nothing but its
 * two pipes. */
#include "terminal/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace app {

namespace {

constexpr int patience_steps = 100;  // of ten milliseconds

/** What the watcher writes, twice: after the start, and after the end. */
struct report {
  pid_t group;
  int error;   // of the start
  int status;  // of the end, as waitpid() has it
};

void sleep_a_moment() {
  const timespec moment{0, 10'000'000};
  nanosleep(&moment, nullptr);
}

/** What posix_spawn is told, with its two ends. */
struct spawn_settings {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;

  spawn_settings() {
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);

    sigset_t usual, none;
    sigfillset(&usual);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  }
  ~spawn_settings() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
  }
};

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> list;
  for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
  return list;
}

child_end read_end(int status) {
  if (WIFEXITED(status)) return {WEXITSTATUS(status) == 0, "exit status " + std::to_string(WEXITSTATUS(status))};
  const int signal = WTERMSIG(status);
  return {false, "signal " + std::to_string(signal) + " (" + strsignal(signal) + ')'};
}

// ---- The watcher

/** Ends a group in whatever state it is: asked first, then made. The leader's own end is taken up on the way. */
void end_group(pid_t group) {
  kill(-group, SIGTERM);
  kill(-group, SIGCONT);  // a paused one hears it only so
  for (int step = 0; step < patience_steps; ++step) {
    waitpid(group, nullptr, WNOHANG);
    if (kill(-group, 0) != 0) return;
    sleep_a_moment();
  }
  kill(-group, SIGKILL);
  waitpid(group, nullptr, WNOHANG);
}

extern "C" void on_child(int) {}

/** Of what the radio has open only the two pipes and standard error are the watcher's too: nobody waits for it to close them. */
void keep_only(int life, int report_end) {
  const unsigned first = static_cast<unsigned>(std::min(life, report_end)),
                 second = static_cast<unsigned>(std::max(life, report_end));
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
  if (first > 3) close_range(3, first - 1, 0);
  if (second > first + 1) close_range(first + 1, second - 1, 0);
  close_range(second + 1, ~0u, 0);
}

/** What a terminal or a person sends to end or stop the radio isn't for the watcher, which ends when its work is done. */
void set_signals() {
  struct sigaction action = {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = SIG_IGN;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGTTOU, SIGPIPE})
    sigaction(signal, &action, nullptr);
  action.sa_handler = on_child;
  sigaction(SIGCHLD, &action, nullptr);
}

/** Waits for the end of the program or of the radio, whichever comes first. */
[[noreturn]] void watch(pid_t program, int life, int report_end) {
  sigset_t waiting;
  sigprocmask(SIG_SETMASK, nullptr, &waiting);
  sigdelset(&waiting, SIGCHLD);
  for (report told{program, 0, 0};;) {
    if (waitpid(program, &told.status, WNOHANG) == program) {
      end_group(program);  // what it started and left
      [[maybe_unused]] const ssize_t written = write(report_end, &told, sizeof told);
      break;
    }
    pollfd alive{life, POLLIN, 0};
    if (ppoll(&alive, 1, nullptr, &waiting) > 0) {
      end_group(program);
      break;
    }
  }
  _exit(0);
}

}  // namespace

std::optional<std::vector<std::string>> split_words(const std::string& command) {
  std::vector<std::string> words;
  bool inside = false;  // of a word
  char quote = 0;
  for (size_t at = 0; at < command.size(); ++at) {
    const char c = command[at];
    const bool blank = c == ' ' || c == '\t' || c == '\n';
    if (!quote && blank) {
      inside = false;
      continue;
    }
    if (!inside) words.emplace_back();
    inside = true;

    if (c == quote) {
      quote = 0;
    } else if (!quote && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == '\\' && quote != '\'') {
      if (++at == command.size()) return std::nullopt;
      if (quote && std::string_view("\"\\$`").find(command[at]) == std::string_view::npos) words.back() += '\\';
      words.back() += command[at];
    } else {
      words.back() += c;
    }
  }
  if (quote || words.empty() || words.front().empty()) return std::nullopt;
  return words;
}

int child::start(const std::vector<std::string>& words, const std::vector<std::string>& variables) {
  std::vector<char*> arguments = pointers(words), environment = pointers(variables);
  for (char** one = environ; *one; ++one) {
    const size_t name = std::strcspn(*one, "=") + 1;
    bool ours = false;
    for (const std::string& variable : variables) ours = ours || variable.compare(0, name, *one, name) == 0;
    if (!ours) environment.push_back(*one);
  }
  arguments.push_back(nullptr);
  environment.push_back(nullptr);

  int life[2] = {-1, -1}, reports[2] = {-1, -1};
  if (pipe2(life, O_CLOEXEC) != 0) return errno;
  const pid_t watcher = pipe2(reports, O_CLOEXEC) == 0 ? fork() : -1;
  if (watcher == 0) {
    sigset_t children;
    sigemptyset(&children);
    sigaddset(&children, SIGCHLD);
    sigprocmask(SIG_BLOCK, &children, nullptr);  // but while it waits
    setpgid(0, 0);                               // who kills the radio's group is to find the radio's alone
    keep_only(life[0], reports[1]);
    set_signals();
    report started{};
    {
      const spawn_settings settings;
      started.error = posix_spawnp(&started.group, arguments[0], &settings.files, &settings.attributes,
                                   arguments.data(), environment.data());
    }
    if (write(reports[1], &started, sizeof started) != sizeof started || started.error != 0) _exit(0);
    watch(started.group, life[0], reports[1]);
  }
  const int error = watcher < 0 ? errno : 0;
  for (const int end : {life[0], reports[1]})
    if (end >= 0) close(end);
  watcher_ = std::max(watcher, 0), life_ = life[1], report_ = reports[0];
  report started{0, error, 0};
  if (error == 0 && !read_report(&started)) started.error = ECHILD;
  group_ = started.group;
  if (started.error != 0) let_go();
  return started.error;
}

bool child::read_report(void* to) const {
  ssize_t got = 0;
  do got = read(report_, to, sizeof(report));
  while (got < 0 && errno == EINTR);
  return got == sizeof(report);
}

/** The watcher ends the program when it finds itself alone. */
void child::let_go() {
  for (int* end : {&life_, &report_})
    if (*end >= 0) close(std::exchange(*end, -1));
  while (watcher_ > 0 && waitpid(watcher_, nullptr, 0) < 0 && errno == EINTR) continue;
  watcher_ = group_ = 0;
}

std::optional<child_end> child::ended() {
  pollfd told{report_, POLLIN, 0};
  if (!running() || poll(&told, 1, 0) <= 0) return std::nullopt;
  report end{};
  const bool known = read_report(&end);
  let_go();
  return known ? read_end(end.status) : child_end{false, "nobody knows what"};
}

void child::stop() {
  if (running()) let_go();
}

void child::pause() {
  if (running()) kill(-group_, SIGSTOP);
}

void child::resume() {
  if (running()) kill(-group_, SIGCONT);
}

}  // namespace app
