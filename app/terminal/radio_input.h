/* What a listener asks of a running radio: single keys on a terminal, a command per line from anything else. */
#ifndef CADENZ_APP_RADIO_INPUT_H
#define CADENZ_APP_RADIO_INPUT_H

#include <termios.h>

#include <deque>
#include <string>
#include <string_view>

#include "core/radio.h"

namespace app {

/** One command of the radio, as key and as word. */
struct action_name {
  action what;
  char key;
  const char* word;
  const char* help;  // its beginning, where it goes on with the settings
};
extern const action_name action_names[12];
/** What it does, in full. */
std::string help_of(const action_name& one);

/** Reads a line: a key or a word in any case, "settings" with what comes behind it. Nothing for a line of blanks. */
std::optional<order> read_order(std::string_view line);

class radio_input {
 public:
  /** A terminal gives single keys until the end of the object's life. */
  radio_input();
  ~radio_input();
  radio_input(const radio_input&) = delete;
  radio_input& operator=(const radio_input&) = delete;

  bool has_keys() const { return terminal_; }
  int descriptor() const;
  /** Reads what is there, which may be the beginning of a line only; false at the end of the input. */
  bool read(std::deque<order>& orders);
  /** On a terminal: the next input is a line again, and behind "settings". */
  void ask_for_setting();
  /** Gives the terminal back while the program is stopped, and takes it again. */
  void suspend();
  void resume();

 private:
  bool end_of_input(std::deque<order>& orders);
  void take_key(char key, std::deque<order>& orders);
  void take_line(std::deque<order>& orders);

  termios usual_ = {};
  const bool terminal_;
  bool asking_ = false;
  bool too_long_ = false;
  enum { plain, escaped, sequence } keys_ = plain;
  std::string line_;
};

}  // namespace app

#endif
