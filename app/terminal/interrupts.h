/* Ctrl-C and SIGTERM, for commands that look at them from time to time. */
#ifndef CADENZ_APP_INTERRUPTS_H
#define CADENZ_APP_INTERRUPTS_H

namespace app {

/** Asks to be told of Ctrl-C and of SIGTERM instead of being ended by the first of them. Whatever waits then fails with EINTR. */
void watch_interrupts();
bool interrupted();

}  // namespace app

#endif
