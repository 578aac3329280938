// The rows of the module graph. It has no cycle, and crosses the floors where includes don't: the file layer gives a step of its
// own.
#include "pask_module_graph.h"

#include "pask_modules.h"
#include "pask_thread_key.h"

extern "C" VELOX_API uint32_t _pask_fs_mgr_init(void);
extern "C" VELOX_API uint32_t _pask_fs_mgr_shutdown(void);

constinit const pask_step_row g_pask_steps[STEP_COUNT] = {
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
    {_pask_atomic_mutex_start, _pask_atomic_mutex_stop},
};

static constexpr char DATE_18[] = "2016-08-22 10:18-0700";
static constexpr char DATE_19[] = "2016-08-22 10:19-0700";
static constexpr char DATE_20[] = "2016-08-22 10:20-0700";

// clang-format off
constinit const pask_module_row g_pask_modules[MODULE_COUNT] = {
    {"pask_thread", DATE_20, FAILURE_SILENT, false,
     {{{STEP_MEMORY, STEP_THREAD_KEY}},
      {{STEP_MEMORY}},
      {{STEP_THREAD_KEY, STEP_MEMORY}}},
     {_thread_record_take, _thread_record_release}},
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

const pask_module_steps g_cadenz_modules = {
    {{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_HDO, STEP_DATATYPES, STEP_UTILS}},
    {{STEP_MEMORY, STEP_THREAD, STEP_STRING, STEP_HDO, STEP_DATATYPES, STEP_UTILS}},
    {{STEP_UTILS, STEP_DATATYPES, STEP_HDO, STEP_STRING, STEP_THREAD, STEP_MEMORY}}};
