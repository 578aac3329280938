/* The first one only sets a mark; a second one ends the program at once. */
#include "terminal/interrupts.h"

#include <csignal>

namespace app {

namespace {

volatile std::sig_atomic_t s_interrupted = 0;

extern "C" void on_interrupt(int) { s_interrupted = 1; }

}  // namespace

void watch_interrupts() {
  struct sigaction action = {};
  action.sa_handler = on_interrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() { return s_interrupted != 0; }

}  // namespace app
