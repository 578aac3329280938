// System calls that fail when they are told to: the program's own open, read, fsync and so on stand in front of libc's, and pass on what
// isn't to fail. Only the calls of the thread that armed them are counted.
#pragma once

#include <cstdint>

namespace failing_calls {

/** The n-th call from now on, counted from 0, gives this errno; with 0 it is a transfer, and moves less than it was asked to. */
void arm(int error, uint32_t nth);
/** The name of the call that failed; null when none did. */
const char* disarm();

}  // namespace failing_calls
