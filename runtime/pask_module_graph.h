// The module graph as data: what each step does, and what each module starts, lets go after a failed step, and stops.
#pragma once

#include "pask_lifecycle.h"

struct pask_step_row {
  uint32_t (*start)();
  uint32_t (*stop)();
};
extern const pask_step_row g_pask_steps[STEP_COUNT];

// What becomes of a step's failure.
enum failure_rule : uint8_t {
  FAILURE_SILENT,    // ends the start, untold
  FAILURE_REPORTED,  // ends the start, reported under the module's label
  FAILURE_IGNORED,   // the module comes up all the same
};

// What must be gone before the last stop, and whose end runs functions of the program's: taken under the module's lock, released
// outside of it, until nothing is left to take.
struct pask_before_stop {
  void* (*take)();
  void (*release)(void* taken);
};

struct pask_module_row {
  const char* label;
  const char* build_date;
  failure_rule on_failure;
  bool stop_can_fail;
  pask_module_steps steps;
  pask_before_stop before_stop = {};
};

enum module_id : uint8_t {
  MODULE_thread,
  MODULE_fs,
  MODULE_string,
  MODULE_md5,
  MODULE_datatypes,
  MODULE_utils,
  MODULE_time,
  MODULE_iostream,
  MODULE_random,
  MODULE_hdo,
  MODULE_xml,
  MODULE_atomic,
  MODULE_COUNT
};

extern const pask_module_row g_pask_modules[MODULE_COUNT];

// The atomic module's one step (pask_atomic_mutex.cpp).
uint32_t _pask_atomic_mutex_start();
uint32_t _pask_atomic_mutex_stop();
