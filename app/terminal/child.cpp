/* Starting by posix_spawn: it tells at once when a program can't be started. The radio ignores SIGPIPE and catches signals; its
 * children begin with the usual settings. */
#include "terminal/child.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace app {

namespace {

constexpr int patience_steps = 100;  // of ten milliseconds

/** What posix_spawn is told, with its two ends. */
struct spawn_settings {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;

  spawn_settings() {
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);

    sigset_t usual;
    sigfillset(&usual);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
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

  const spawn_settings settings;
  pid_t started = 0;
  const int error =
      posix_spawnp(&started, arguments[0], &settings.files, &settings.attributes, arguments.data(), environment.data());
  if (error == 0) process_ = started;
  return error;
}

std::optional<child_end> child::ended() {
  int status = 0;
  if (!running() || waitpid(process_, &status, WNOHANG) != process_) return std::nullopt;
  process_ = 0;
  return read_end(status);
}

void child::stop() {
  if (!running()) return;
  kill(-process_, SIGTERM);
  kill(-process_, SIGCONT);  // a paused one hears it only so
  for (int step = 0; step < patience_steps; ++step) {
    if (ended()) return;
    const timespec moment{0, 10'000'000};
    nanosleep(&moment, nullptr);
  }
  kill(-process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
}

void child::pause() {
  if (running()) kill(-process_, SIGSTOP);
}

void child::resume() {
  if (running()) kill(-process_, SIGCONT);
}

}  // namespace app
