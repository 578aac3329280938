// A disk under SQLite that fails when it is told to. Every call of a connection's goes through it, and is counted.
#pragma once

#include <cstdint>

namespace failing_disk {

/** Stands in front of SQLite's own access to files from here on, for the life of the process. */
void install();

enum class fault {
  once,  // one call gives the error of its kind: a read's, a write's, a lock's and so on
  on,    // so do all behind it
  full,  // one write, and all behind it, find the disk full
};

void arm(fault kind, uint32_t nth);
bool disarm();

}  // namespace failing_disk
