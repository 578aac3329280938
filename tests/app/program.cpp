/* Processes, pseudo terminals and the home folder of the tests. */
#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

namespace fs = std::filesystem;

namespace {

std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

int status_of(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

[[noreturn]] void become_program(const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& environment) {
  std::vector<char*> words{const_cast<char*>("cadenz")}, variables;
  for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
  for (const std::string& variable : environment) variables.push_back(const_cast<char*>(variable.c_str()));
  words.push_back(nullptr);
  variables.push_back(nullptr);
  execve(CADENZ_PROGRAM, words.data(), variables.data());
  _exit(127);
}

}  // namespace

conversation::~conversation() {
  if (process_ > 0) signal(SIGKILL);
  end();
}

void conversation::say(const std::string& text) const {
  ASSERT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

bool conversation::read_more() {
  pollfd source = {output_, POLLIN, 0};
  char block[4096];
  const ssize_t got = poll(&source, 1, 20'000) == 1 ? ::read(output_, block, sizeof block) : 0;
  if (got > 0) heard.append(block, static_cast<size_t>(got));
  return got > 0;
}

bool conversation::hear(const std::string& text) {
  size_t at = 0;
  while ((at = heard.find(text, passed_)) == std::string::npos)
    if (!read_more()) return false;
  passed_ = at + text.size();
  return true;
}

void conversation::signal(int number) const { kill(process_, number); }

int conversation::end() {
  if (process_ == 0) return -1;
  if (input_ != output_) close(input_);
  while (read_more()) {
  }
  close(output_);
  return status_of(std::exchange(process_, 0));
}

Program::Program() {
  std::string name = (fs::temp_directory_path() / "cadenz-test-XXXXXX").string();
  home = mkdtemp(name.data());
  environment = {"HOME=" + home.string(), "PATH=/usr/bin:/bin", "TERM=xterm", "CADENZ_CATALOG=" + path("catalog.db")};
}

Program::~Program() { fs::remove_all(home); }

void Program::write(const std::string& name, const std::string& text) const {
  std::ofstream(path(name), std::ios::binary) << text;
}

std::string Program::read(const std::string& name) const { return contents(path(name)); }

outcome Program::run(const std::vector<std::string>& arguments, const std::string& output) const {
  const std::string out = output.empty() ? path("stdout") : output, error = path("stderr");
  const pid_t process = fork();
  if (process == 0) {
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
    dup2(open(error.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    become_program(arguments, environment);
  }
  outcome result;
  result.status = status_of(process);
  if (output.empty()) result.out = contents(out);
  result.error = contents(error);
  return result;
}

outcome Program::run_on_terminal(const std::vector<std::string>& arguments, unsigned columns,
                                 const std::function<void(const std::string&, int)>& watch) const {
  winsize size = {};
  size.ws_col = static_cast<unsigned short>(columns);
  size.ws_row = 24;
  int terminal = -1;
  const pid_t process = forkpty(&terminal, nullptr, nullptr, &size);
  if (process == 0) become_program(arguments, environment);

  outcome result;
  char block[4096];
  for (ssize_t got = 0; (got = ::read(terminal, block, sizeof block)) > 0;) {
    result.out.append(block, static_cast<size_t>(got));
    if (watch) watch(result.out, process);
  }
  close(terminal);
  result.status = status_of(process);
  return result;
}

std::unique_ptr<conversation> Program::start(const std::vector<std::string>& arguments, bool on_terminal) const {
  ::signal(SIGPIPE, SIG_IGN);  // a program that ended is seen by what it told
  int terminal = -1, input[2], output[2];
  if (on_terminal) {
    winsize size = {};
    size.ws_col = 80;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, &size);
    if (process == 0) become_program(arguments, environment);
    return std::make_unique<conversation>(process, terminal, terminal);
  }
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return nullptr;
  const pid_t process = fork();
  if (process == 0) {
    dup2(input[0], 0);
    dup2(output[1], 1);
    dup2(open(path("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    become_program(arguments, environment);
  }
  close(input[0]);
  close(output[1]);
  return std::make_unique<conversation>(process, input[1], output[0]);
}

std::string sixty_tracks() {
  std::string text = "title\tartist\talbum\tgenre\tmood\tdate\tpopularity\tpath\tduration\n";
  for (int artist = 0; artist < 6; ++artist) {
    for (int track = 0; track < 10; ++track) {
      const std::string name(1, static_cast<char>('A' + artist)), number = std::to_string(track);
      text += "Song " + name + number + "\tArtist " + name + "\tAlbum " + name + "\t" +
              (artist < 3 ? "Dream Pop; Shoegaze" : "Jazz") + "\t" +
              (track % 3 == 0   ? "Calm"
               : track % 3 == 1 ? "Bright"
                                : "Dark") +
              "\t" + (artist % 2 ? "1994" : "2003-05-01") + "\t" + std::to_string(track * 100) + "\t" +
              (track == 9 ? "" : "/music/" + name + "/100% \xc3\xa9 " + number + ".flac") + "\t" +
              std::to_string(180 + track) + "\n";
    }
  }
  return text;
}
