// The generic start and stop behind every module: an ordered list of steps, what to let go after a failed one, and in
// which order to stop. The rows stand in pask_module_graph.cpp; the service brings up its own modules with the same code.
#pragma once

#include "pask_status.h"

// Something that a module starts: another module, or an action of its own.
enum pask_step : uint8_t {
  STEP_END,  // ends a list
  STEP_MEMORY,
  STEP_THREAD,
  STEP_FS,
  STEP_STRING,
  STEP_MD5,
  STEP_DATATYPES,
  STEP_UTILS,
  STEP_TIME,
  STEP_IOSTREAM,
  STEP_RANDOM,
  STEP_HDO,
  STEP_XML,
  STEP_THREAD_KEY,  // the process-wide key of the thread store
  STEP_FS_POOL,     // the file-handle manager
  STEP_ATOMIC_MUTEX,
  STEP_COUNT
};

constexpr uint32_t PASK_MAX_STEPS = 7;

struct pask_step_list {
  pask_step steps[PASK_MAX_STEPS];
};

// Three orders, which differ by module: nothing but the reference counts depends on them, and they are promised.
struct pask_module_steps {
  pask_step_list start;
  pask_step_list rollback;  // those of the started ones, after a failed step
  pask_step_list stop;
};

extern const pask_module_steps g_cadenz_modules;
extern const char g_pask_version[];

// Runs the start list up to its first failure, whose word is the result. `started` receives a bit for each step done.
uint32_t pask_steps_start(const pask_step_list& list, uint32_t* started);
// Stops those steps of the list that are in `started`. Results aren't looked at, except that the last failure comes back.
uint32_t pask_steps_stop(const pask_step_list& list, uint32_t started);
constexpr uint32_t PASK_ALL_STEPS = ~0u;
