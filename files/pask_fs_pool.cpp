// The file-handle manager's state and its start and stop. The section guards all of the pool; threads that need a descriptor
// wait on the event.
#include "pask_fs_pool.h"

#include "pask_fs.h"
#include "pask_status.h"
#include "pask_thread.h"

uint32_t g_fs_max_file_handles;
uint32_t g_fs_num_file_handles;

static pask_critsec_handle s_fs_mgr_cs;
static pask_event_handle s_fs_mgr_event;
static void* s_fs_marker_lists;   // head of the markers of single threads
static void* s_fs_global_marker;  // the marker that sees the files of all threads

// A platform without events answers so; the pool then works without one.
static constexpr uint32_t THREAD_ERR_UNSUPPORTED = status_error(PKG_THREAD, 0x000b);

uint32_t _pask_fs_mgr_init() {
  PASK_TRY(pask_thread_critsec_create(&s_fs_mgr_cs));
  const uint32_t status = pask_thread_event_create(&s_fs_mgr_event, 0, 0);
  if (!status || status == THREAD_ERR_UNSUPPORTED) return 0;
  pask_thread_critsec_delete(s_fs_mgr_cs);
  s_fs_mgr_cs = nullptr;
  return status;
}

uint32_t _pask_fs_mgr_shutdown() {
  pask_fs_marker_end(s_fs_global_marker);
  s_fs_global_marker = nullptr;
  pask_fs_marker_end(s_fs_marker_lists);
  s_fs_marker_lists = nullptr;
  pask_thread_critsec_delete(s_fs_mgr_cs);
  s_fs_mgr_cs = nullptr;
  pask_thread_event_delete(s_fs_mgr_event);
  s_fs_mgr_event = nullptr;
  return 0;
}
