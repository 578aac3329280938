// The one start and stop that serves all modules, by the rows of the module graph.
//
// Each module has a count and a lock. The lock is held across the whole start or stop, which takes the locks of the modules
// below: they nest along the graph, which has no cycle. What runs functions of the program's runs before it.
#include "pask_lifecycle.h"

#include <limits.h>

#include "pask_guard.h"
#include "pask_module_graph.h"
#include "pask_modules.h"

const char g_pask_version[] = "3.10.1";

namespace {

struct module_state {
  guarding_spinlock lock;
  uint32_t count PASK_GUARDED_BY(lock);  // read without it by initchecks
};

module_state s_modules[MODULE_COUNT];

uint32_t module_start(const pask_module_row& row) {
  uint32_t started = 0;
  const uint32_t status = pask_steps_start(row.steps.start, &started);
  if (!status || row.on_failure == FAILURE_IGNORED) return 0;
  pask_steps_stop(row.steps.rollback, started);
  if (row.on_failure == FAILURE_REPORTED) pask_report(status, row.label, __LINE__);
  return status;
}

uint32_t module_stop(const pask_module_row& row) {
  const uint32_t status = pask_steps_stop(row.steps.stop, PASK_ALL_STEPS);
  return row.stop_can_fail ? status : 0;
}

void count_set(module_state& module, uint32_t count) PASK_REQUIRES(module.lock) {
  __atomic_store_n(&module.count, count, __ATOMIC_RELEASE);
}

uint32_t module_initialize(module_id id) {
  module_state& module = s_modules[id];
  const spinlock_hold held(module.lock);
  const uint32_t status = module.count == 0 ? module_start(g_pask_modules[id]) : 0;
  if (!status) count_set(module, module.count + 1);
  return status ? PASK_BARE_INIT_FAILED : 0;
}

uint32_t count_down(const pask_module_row& row, module_state& module) PASK_REQUIRES(module.lock) {
  if (module.count == 0) return PASK_BARE_NOT_INITED;
  const uint32_t status = module.count == 1 ? module_stop(row) : 0;
  if (!status) count_set(module, module.count - 1);
  return status;
}

// What the program's functions make anew while they release is taken in a further round, as at a thread's exit.
uint32_t module_shutdown(module_id id) {
  const pask_module_row& row = g_pask_modules[id];
  module_state& module = s_modules[id];
  for (int round = 0;; ++round) {
    void* taken = nullptr;
    {
      const spinlock_hold held(module.lock);
      if (row.before_stop.take && module.count == 1 && round < PTHREAD_DESTRUCTOR_ITERATIONS)
        taken = row.before_stop.take();
      if (!taken) return count_down(row, module);
    }
    row.before_stop.release(taken);
  }
}

int32_t module_count(module_id id) {
  return static_cast<int32_t>(__atomic_load_n(&s_modules[id].count, __ATOMIC_ACQUIRE));
}

}  // namespace

uint32_t pask_steps_start(const pask_step_list& list, uint32_t* started) {
  *started = 0;
  for (const pask_step step : list.steps) {
    if (step == STEP_END) break;
    PASK_TRY(g_pask_steps[step].start());
    *started |= 1u << step;
  }
  return 0;
}

uint32_t pask_steps_stop(const pask_step_list& list, uint32_t started) {
  uint32_t result = 0;
  for (const pask_step step : list.steps) {
    if (step == STEP_END) break;
    if (!(started >> step & 1)) continue;
    if (const uint32_t status = g_pask_steps[step].stop()) result = status;
  }
  return result;
}

#define PASK_COUNTED(m)                                                          \
  int32_t pask_##m##_initchecks(void) { return module_count(MODULE_##m); }       \
  uint32_t pask_##m##_initialize(void) { return module_initialize(MODULE_##m); } \
  uint32_t pask_##m##_shutdown(void) { return module_shutdown(MODULE_##m); }
#define PASK_MODULE(m)                                                \
  PASK_COUNTED(m)                                                     \
  const char* pask_##m##_get_version(void) { return g_pask_version; } \
  const char* pask_##m##_get_build_date(void) { return g_pask_modules[MODULE_##m].build_date; }

PASK_MODULE(thread)
PASK_MODULE(fs)
PASK_MODULE(string)
PASK_MODULE(md5)
PASK_MODULE(datatypes)
PASK_MODULE(utils)
PASK_MODULE(time)
PASK_MODULE(iostream)
PASK_MODULE(random)
PASK_MODULE(hdo)
PASK_MODULE(xml)
PASK_COUNTED(atomic)
