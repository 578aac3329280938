/* Running the program as a person or a script does: with arguments, in a home of its own, on pipes or on a terminal. */
#ifndef TESTS_APP_PROGRAM_H
#define TESTS_APP_PROGRAM_H

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct outcome {
  int status = -1;  // exit status; 1000 and the signal when one ended it
  std::string out;  // what a terminal got is all here
  std::string error;
};

/** A running program that is spoken to, through pipes or on a terminal. It is killed with the object. */
class conversation {
 public:
  conversation(int process, int input, int output) : process_(process), input_(input), output_(output) {}
  ~conversation();

  void say(const std::string& text) const;
  /** Reads on until the text comes, and past it; false when the program ends without it, or takes more than 20 seconds. */
  bool hear(const std::string& text);
  void signal(int number) const;
  /** Ends the input, reads the rest, and gives the exit status as in an outcome. */
  int end();
  int terminal() const { return output_; }

  std::string heard;  // all that it wrote

 private:
  bool read_more();

  int process_, input_, output_;
  size_t passed_ = 0;
};

/** A home folder that goes with the test, and runs in it. */
class Program : public testing::Test {
 protected:
  Program();
  ~Program() override;

  /** Output to pipes, which is to say files. */
  outcome run(const std::vector<std::string>& arguments, const std::string& output = "") const;
  /** Standard output and error on one terminal of so many columns. `watch` is called with all that was shown so far, and
   *  the process, whenever there is more. */
  outcome run_on_terminal(const std::vector<std::string>& arguments, unsigned columns,
                          const std::function<void(const std::string&, int)>& watch = {}) const;

  /** Standard error goes to the file "stderr", or to the terminal. */
  std::unique_ptr<conversation> start(const std::vector<std::string>& arguments, bool on_terminal = false) const;

  std::string path(const std::string& name) const { return (home / name).string(); }
  void write(const std::string& name, const std::string& text) const;
  std::string read(const std::string& name) const;

  std::filesystem::path home;
  std::vector<std::string> environment;
};

/** A .tsv of sixty tracks: six artists "Artist A" to "Artist F", ten tracks each, in two genres, three moods and two eras. */
std::string sixty_tracks();

#endif
