/* Keys come without waiting for Enter and without echo; output and the keys that send signals stay as they are. */
#include "terminal/radio_input.h"

#include <unistd.h>

#include <cerrno>

#include "core/text.h"

namespace app {

constexpr action_name action_names[12] = {
    {action::next, 'n', "next", "the next track; one that a player is playing counts as skipped"},
    {action::skip, 'k', "skip", "the next track; this one counts as skipped"},
    {action::love, '+', "love", "more like this track"},
    {action::ban, '-', "ban", "never this track again, and the next one"},
    {action::love_artist, 'a', "love artist", "more of this artist"},
    {action::ban_artist, 'A', "ban artist", "never this artist again, and the next track"},
    {action::explain, 'e', "explain", "why this track is there"},
    {action::upcoming, 'u', "upcoming", "what comes next"},
    {action::settings, 's', "settings", "show the settings; change one: "},
    {action::pause, 'p', "pause", "pause or go on, with a player; also the space bar"},
    {action::help, '?', "help", "these keys"},
    {action::quit, 'q', "quit", "report what isn't reported yet, and end"},
};

std::string help_of(const action_name& one) {
  if (one.what != action::settings) return one.help;
  return one.help + number_settings() + ", " + switch_settings({}, " on or off");
}

namespace {

constexpr size_t longest_line = 4096;
constexpr char escape = 0x1b;

order order_of_key(char key) {
  if (key == ' ') return {action::pause};
  for (const action_name& one : action_names)
    if (one.key == key) return {one.what};
  return {action::unknown, std::string(1, key)};
}

/** The words with one blank between them. */
std::string squeezed(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    if (!blank) result += c;
    if (blank && !result.empty() && result.back() != ' ') result += ' ';
  }
  if (!result.empty() && result.back() == ' ') result.pop_back();
  return result;
}

}  // namespace

std::optional<order> read_order(std::string_view line) {
  const std::string text = squeezed(line);
  if (text.empty()) return std::nullopt;
  if (text.size() == 1) return order_of_key(text.front());

  const std::string words = lower(text);
  for (const action_name& one : action_names)
    if (words == one.word) return order{one.what};
  for (const std::string_view settings : {"settings ", "s "})
    if (words.starts_with(settings)) return order{action::settings, words.substr(settings.size())};
  return order{action::unknown, text};
}

radio_input::radio_input() : terminal_(isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &usual_) == 0) { resume(); }

radio_input::~radio_input() { suspend(); }

int radio_input::descriptor() const { return STDIN_FILENO; }

void radio_input::suspend() {
  if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &usual_);
}

void radio_input::resume() {
  if (!terminal_) return;
  termios keys = usual_;
  if (!asking_) {
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
  }
  tcsetattr(STDIN_FILENO, TCSANOW, &keys);
}

void radio_input::ask_for_setting() {
  if (!terminal_) return;
  asking_ = true;
  line_.clear();
  resume();
}

bool radio_input::read(std::deque<order>& orders) {
  char block[1024];
  const ssize_t got = ::read(STDIN_FILENO, block, sizeof block);
  if (got < 0) return errno == EINTR || errno == EAGAIN;
  if (got == 0) return end_of_input(orders);

  for (ssize_t i = 0; i < got; ++i) {
    if (terminal_ && !asking_) {
      take_key(block[i], orders);
    } else if (block[i] == '\n') {
      take_line(orders);
    } else if (line_.size() < longest_line) {
      line_ += block[i];
    } else {
      too_long_ = true;
    }
  }
  if (keys_ == escaped) keys_ = plain;  // the escape key itself: what a sequence has follows at once
  return true;
}

/** What is asked for is given up by Ctrl-D; the last line of a file may lack its end. */
bool radio_input::end_of_input(std::deque<order>& orders) {
  const bool given_up = asking_;
  if (given_up) line_.clear();
  if (given_up || !line_.empty()) take_line(orders);
  return given_up;
}

/** The arrow keys and their like send sequences of several characters, none of which is meant. */
void radio_input::take_key(char key, std::deque<order>& orders) {
  if (keys_ == sequence) {
    if (key >= '@' && key <= '~') keys_ = plain;
  } else if (keys_ == escaped) {
    keys_ = key == '[' || key == 'O' ? sequence : plain;
  } else if (key == escape) {
    keys_ = escaped;
  } else if (key == 4) {  // Ctrl-D
    orders.push_back({action::quit});
  } else if ((key & 0xc0) == 0x80) {  // goes on with a character that no key stands for
    if (!orders.empty() && orders.back().what == action::unknown) orders.back().text += key;
  } else if (key != '\n' && key != '\r') {
    orders.push_back(order_of_key(key));
  }
}

void radio_input::take_line(std::deque<order>& orders) {
  if (asking_) {
    const std::string setting = lower(squeezed(line_));
    if (!setting.empty()) orders.push_back({action::settings, setting});
    asking_ = false;
    resume();
  } else if (too_long_) {
    orders.push_back({action::unknown, "a line of more than 4096 characters"});
  } else if (std::optional<order> said = read_order(line_)) {
    orders.push_back(std::move(*said));
  }
  too_long_ = false;
  line_.clear();
}

}  // namespace app
