// The log hook and its level words. Until a sink is set the hook drops what it gets.
#include "velox_manager.h"
#include "velox_standin.h"

static void drop_line(int32_t, const char*, uint32_t, uint32_t, const char*, ...) {}

pask_log_fn g_pask_log_callback = drop_line;
uint32_t g_pask_log_enabled_pkgs[256];
uint32_t g_pask_thread_store_key;

void velox_standin_log_set(pask_log_fn hook) { g_pask_log_callback = hook ? hook : drop_line; }

void velox_standin_log_enable(uint32_t package, uint32_t levels) {
  if (package < 256) g_pask_log_enabled_pkgs[package] = levels;
}

pask_status pask_fs_marker_end(void*) { return 0; }
