// The module graph as data, and the one start and stop that serves all modules.
//
// Each module has a count and a lock. The lock is held across the whole start or stop, which takes the locks of the modules
// below: they nest along the graph, which has no cycle.
#include "pask_lifecycle.h"

#include <pthread.h>

#include "pask_modules.h"
#include "pask_spinlock.h"
#include "pask_thread_key.h"

const char g_pask_version[] = "3.10.1";

static pthread_mutex_t s_atomic_mutex = PTHREAD_MUTEX_INITIALIZER;
static constexpr uint32_t ATOMIC_ERR_MUTEX = status_error(PKG_ATOMIC, 0x003c);

static uint32_t atomic_mutex_start() { return pthread_mutex_init(&s_atomic_mutex, nullptr) ? ATOMIC_ERR_MUTEX : 0; }
static uint32_t atomic_mutex_stop() { return pthread_mutex_destroy(&s_atomic_mutex) ? ATOMIC_ERR_MUTEX : 0; }

// The one action that a higher floor gives (files/): the graph crosses the floors, includes don't.
extern "C" VELOX_API uint32_t _pask_fs_mgr_init(void);
extern "C" VELOX_API uint32_t _pask_fs_mgr_shutdown(void);

namespace {

struct step_row {
  uint32_t (*start)();
  uint32_t (*stop)();
};

constexpr step_row k_steps[STEP_COUNT] = {
    {nullptr, nullptr},  // STEP_END
    {pask_memory_initialize, pask_memory_shutdown},
    {pask_thread_initialize, pask_thread_shutdown},
    {pask_fs_initialize, pask_fs_shutdown},
    {pask_string_initialize, pask_string_shutdown},
    {pask_md5_initialize, pask_md5_shutdown},
    {pask_datatypes_initialize, pask_datatypes_shutdown},
    {pask_utils_initialize, pask_utils_shutdown},
    {pask_time_initialize, pask_time_shutdown},
    {pask_iostream_initialize, pask_iostream_shutdown},
    {pask_random_initialize, pask_random_shutdown},
    {pask_hdo_initialize, pask_hdo_shutdown},
    {pask_xml_initialize, pask_xml_shutdown},
    {_thread_key_start, _thread_key_stop},
    {_pask_fs_mgr_init, _pask_fs_mgr_shutdown},
    {atomic_mutex_start, atomic_mutex_stop},
};

// What becomes of a step's failure.
enum failure_rule : uint8_t {
  FAILURE_SILENT,    // ends the start, untold
  FAILURE_REPORTED,  // ends the start, reported under the module's label
  FAILURE_IGNORED,   // the module comes up all the same
};

struct module_row {
  const char* label;
  const char* build_date;
  failure_rule on_failure;
  bool stop_can_fail;
  pask_module_steps steps;
};

constexpr char DATE_18[] = "2016-08-22 10:18-0700";
constexpr char DATE_19[] = "2016-08-22 10:19-0700";
constexpr char DATE_20[] = "2016-08-22 10:20-0700";

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

// clang-format off
constexpr module_row k_modules[MODULE_COUNT] = {
    {"pask_thread", DATE_20, FAILURE_SILENT, false,
     {{{STEP_MEMORY, STEP_THREAD_KEY}},
      {{STEP_MEMORY}},
      {{STEP_THREAD_KEY, STEP_MEMORY}}}},
    {"pask_fs", DATE_19, FAILURE_SILENT, false,
     {{{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_IOSTREAM, STEP_FS_POOL}},
      {{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_IOSTREAM}},
      {{STEP_FS_POOL, STEP_IOSTREAM, STEP_STRING, STEP_THREAD, STEP_MEMORY}}}},
    {"pask_string", DATE_20, FAILURE_SILENT, false,
     {{{STEP_MEMORY}},
      {{}},
      {{STEP_MEMORY}}}},
    {"pask_md5", DATE_19, FAILURE_SILENT, false,
     {{{STEP_MEMORY, STEP_STRING}},
      {{STEP_MEMORY}},
      {{STEP_STRING, STEP_MEMORY}}}},
    {"pask_datatypes", DATE_19, FAILURE_REPORTED, false,
     {{{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_RANDOM}},
      {{STEP_STRING, STEP_THREAD, STEP_MEMORY}},
      {{STEP_RANDOM, STEP_STRING, STEP_THREAD, STEP_MEMORY}}}},
    {"pask_utils", DATE_19, FAILURE_REPORTED, false,
     {{{STEP_MEMORY, STEP_STRING, STEP_RANDOM, STEP_MD5}},
      {{STEP_MEMORY, STEP_STRING, STEP_RANDOM}},
      {{STEP_MD5, STEP_RANDOM, STEP_STRING, STEP_MEMORY}}}},
    {"pask_time", DATE_19, FAILURE_SILENT, false,
     {{{STEP_MEMORY, STEP_STRING}},
      {{STEP_MEMORY}},
      {{STEP_STRING, STEP_MEMORY}}}},
    {"pask_iostream", DATE_20, FAILURE_SILENT, false,
     {{{STEP_MEMORY}},
      {{}},
      {{STEP_MEMORY}}}},
    {"pask_random", DATE_19, FAILURE_IGNORED, false,
     {{{STEP_FS}},
      {{}},
      {{STEP_FS}}}},
    {"pask_hdo", DATE_18, FAILURE_REPORTED, false,
     {{{STEP_MEMORY, STEP_STRING, STEP_THREAD, STEP_DATATYPES, STEP_XML}},
      {{STEP_MEMORY, STEP_STRING, STEP_THREAD, STEP_DATATYPES}},
      {{STEP_MEMORY, STEP_STRING, STEP_THREAD, STEP_DATATYPES, STEP_XML}}}},
    {"pask_xml", DATE_19, FAILURE_REPORTED, false,
     {{{STEP_MEMORY, STEP_STRING, STEP_TIME}},
      {{STEP_MEMORY, STEP_STRING}},
      {{STEP_MEMORY, STEP_STRING, STEP_TIME}}}},
    {"pask_atomic", nullptr, FAILURE_SILENT, true,
     {{{STEP_ATOMIC_MUTEX}},
      {{}},
      {{STEP_ATOMIC_MUTEX}}}},
};
// clang-format on

struct module_state {
  pask_spinlock lock;
  uint32_t count;  // guarded by the lock; read without it by initchecks
};

module_state s_modules[MODULE_COUNT];

uint32_t module_start(const module_row& row) {
  uint32_t started = 0;
  const uint32_t status = pask_steps_start(row.steps.start, &started);
  if (!status || row.on_failure == FAILURE_IGNORED) return 0;
  pask_steps_stop(row.steps.rollback, started);
  if (row.on_failure == FAILURE_REPORTED) pask_report(status, row.label, __LINE__);
  return status;
}

uint32_t module_stop(const module_row& row) {
  const uint32_t status = pask_steps_stop(row.steps.stop, PASK_ALL_STEPS);
  return row.stop_can_fail ? status : 0;
}

void count_set(module_state& module, uint32_t count) { __atomic_store_n(&module.count, count, __ATOMIC_RELAXED); }

uint32_t module_initialize(module_id id) {
  module_state& module = s_modules[id];
  pask_spinlock_lock(&module.lock);
  const uint32_t status = module.count == 0 ? module_start(k_modules[id]) : 0;
  if (!status) count_set(module, module.count + 1);
  pask_spinlock_unlock(&module.lock);
  return status ? PASK_BARE_INIT_FAILED : 0;
}

uint32_t module_shutdown(module_id id) {
  module_state& module = s_modules[id];
  pask_spinlock_lock(&module.lock);
  uint32_t status = PASK_BARE_NOT_INITED;
  if (module.count != 0) {
    status = module.count == 1 ? module_stop(k_modules[id]) : 0;
    if (!status) count_set(module, module.count - 1);
  }
  pask_spinlock_unlock(&module.lock);
  return status;
}

int32_t module_count(module_id id) {
  return static_cast<int32_t>(__atomic_load_n(&s_modules[id].count, __ATOMIC_RELAXED));
}

}  // namespace

const pask_module_steps g_cadenz_modules = {
    {{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_HDO, STEP_DATATYPES, STEP_UTILS}},
    {{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_HDO, STEP_DATATYPES, STEP_UTILS}},
    {{STEP_UTILS, STEP_DATATYPES, STEP_HDO, STEP_STRING, STEP_THREAD, STEP_MEMORY}}};

uint32_t pask_steps_start(const pask_step_list& list, uint32_t* started) {
  *started = 0;
  for (const pask_step step : list.steps) {
    if (step == STEP_END) break;
    PASK_TRY(k_steps[step].start());
    *started |= 1u << step;
  }
  return 0;
}

uint32_t pask_steps_stop(const pask_step_list& list, uint32_t started) {
  uint32_t result = 0;
  for (const pask_step step : list.steps) {
    if (step == STEP_END) break;
    if (!(started >> step & 1)) continue;
    if (const uint32_t status = k_steps[step].stop()) result = status;
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
  const char* pask_##m##_get_build_date(void) { return k_modules[MODULE_##m].build_date; }

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
