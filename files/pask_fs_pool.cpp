// The file-handle manager. Its section guards everything here but the limit; the calls that open and close descriptors run
// inside it. It is left only for the wait on the event and at the end.
//
// Waiting: the event is signalled only when somebody waits, which costs the common release nothing. A thread counts as waiting
// from inside the section until it has entered again, so no signal passes it by. Signals that come close together merge into
// one: a thread that was given or refused a slot therefore signals on when it is done, whatever came of it, so that no slot
// stays in reach of a thread that waits. Every release signals as well, so each waits for uses to end and not for luck.
#include "pask_fs_pool.h"

#include <string.h>

#include "pask_assert.h"
#include "pask_guard.h"
#include "pask_number.h"
#include "pask_string.h"

static_assert(sizeof(void*) != 4 || (offsetof(pask_fs_file, fd) == 28 && offsetof(pask_fs_file, permissions) == 40 &&
                                     offsetof(pask_fs_marker_entry, opened) == 40 && sizeof(pask_fs_marker) == 16 &&
                                     sizeof(pask_fs_marker_entry) == 68));
static_assert(offsetof(pask_fs_file, name) == offsetof(pask_fs_file, position) + 10);

uint32_t g_fs_max_file_handles;
uint32_t g_fs_num_file_handles;

namespace {

struct file_list {
  pask_fs_file *head, *tail;
  uint32_t count;
};

pask_critsec_handle s_fs_mgr_cs;
pask_event_handle s_fs_mgr_event;
// Threads that wait on the event or have yet to enter the section behind it.
uint32_t s_fs_waiters PASK_GUARDED_BY(s_fs_mgr_cs);
// Slots of files that were closed while the module was stopped; the next start gives them back.
uint32_t s_fs_slots_left PASK_GUARDED_BY(s_fs_mgr_cs);
// Idle files, the one released longest ago first; parked files, in the order in which they lost their descriptors.
file_list s_fs_live_list PASK_GUARDED_BY(s_fs_mgr_cs);
file_list s_fs_open_list PASK_GUARDED_BY(s_fs_mgr_cs);
pask_fs_marker* s_fs_marker_lists PASK_GUARDED_BY(s_fs_mgr_cs);
pask_fs_marker* s_fs_global_marker
    PASK_GUARDED_BY(s_fs_mgr_cs);  // sees the files of all threads while it is on the list

// A platform without events answers so; the pool then works without one.
constexpr uint32_t THREAD_ERR_UNSUPPORTED = status_error(PKG_THREAD, 0x000b);

// ---- Lists

void list_append(file_list* list, pask_fs_file* file) {
  file->next = nullptr;
  file->prev = list->tail;
  (list->tail ? list->tail->next : list->head) = file;
  list->tail = file;
  ++list->count;
}

// Unlinks a file from the list; false when it isn't there. The links of a file that is on no list are null.
bool _fs_mgr_remove_item(file_list* list, pask_fs_file* file) {
  if ((file != list->head && !file->prev) || (file != list->tail && !file->next)) return false;
  (file == list->head ? list->head : file->prev->next) = file->next;
  (file == list->tail ? list->tail : file->next->prev) = file->prev;
  file->next = file->prev = nullptr;
  --list->count;
  return true;
}

// ---- The section and the wait

// An idle file has a descriptor, so has the one that was used last.
bool pool_sound() PASK_REQUIRES(s_fs_mgr_cs) {
  const file_list& live = s_fs_live_list;
  return (live.count == 0) == !live.head && (live.count == 0) == !live.tail && live.count <= g_fs_num_file_handles &&
         (!live.head || (live.head->has_fd && live.head->use_count == 0 && live.tail->has_fd)) &&
         (s_fs_open_list.count == 0) == !s_fs_open_list.head && (!s_fs_open_list.head || !s_fs_open_list.head->has_fd);
}

PASK_NO_THREAD_SAFETY_ANALYSIS uint32_t enter() PASK_ACQUIRE_ON_0(s_fs_mgr_cs) {
  const uint32_t status = pask_thread_critsec_enter(s_fs_mgr_cs);
  PASK_ASSERT(status != 0 || pool_sound());
  return status;
}
PASK_NO_THREAD_SAFETY_ANALYSIS uint32_t leave() PASK_RELEASE(s_fs_mgr_cs) {
  PASK_ASSERT(pool_sound());
  return pask_thread_critsec_leave(s_fs_mgr_cs);
}

// Leaves, and lets a thread that waits test again.
void leave_signalling() PASK_RELEASE(s_fs_mgr_cs) {
  const bool awaited = s_fs_waiters != 0;
  leave();
  if (awaited) pask_thread_event_signal(s_fs_mgr_event);
}

// Leaves the section until there is a signal. A section that can't be entered again counts as held: leaving it does nothing.
PASK_NO_THREAD_SAFETY_ANALYSIS uint32_t await_signal() PASK_REQUIRES(s_fs_mgr_cs) {
  ++s_fs_waiters;
  leave();
  pask_thread_event_wait(s_fs_mgr_event, PASK_THREAD_NO_LIMIT);
  PASK_TRY(enter());
  --s_fs_waiters;
  return 0;
}

// ---- Slots

// Read without the section elsewhere, hence the atomic store.
void slots_add(uint32_t count) PASK_REQUIRES(s_fs_mgr_cs) {
  __atomic_store_n(&g_fs_num_file_handles, g_fs_num_file_handles + count, __ATOMIC_RELAXED);
}
void slot_give_back() PASK_REQUIRES(s_fs_mgr_cs) { slots_add(~0u); }

bool below_limit() PASK_REQUIRES(s_fs_mgr_cs) {
  const uint32_t limit = __atomic_load_n(&g_fs_max_file_handles, __ATOMIC_RELAXED);
  return limit == 0 || g_fs_num_file_handles < limit;
}

// Parks the idle file that was released longest ago. Its slot is the caller's, or given back when its close fails.
uint32_t evict() PASK_REQUIRES(s_fs_mgr_cs) {
  pask_fs_file* idle = s_fs_live_list.head;
  _fs_mgr_remove_item(&s_fs_live_list, idle);
  const uint32_t status = _pask_fs_close_internal(idle->file);
  idle->has_fd = 0;
  list_append(&s_fs_open_list, idle);
  if (status) slot_give_back();
  return status;
}

// Takes a slot if one is in reach, a free one before that of an idle file; false when there is none. A failed eviction takes
// none, and is told in `status`.
bool slot_take(uint32_t* status) PASK_REQUIRES(s_fs_mgr_cs) {
  *status = 0;
  if (below_limit()) {
    slots_add(1);
    return true;
  }
  if (!s_fs_live_list.head) return false;
  *status = evict();
  return true;
}

void use(pask_fs_file* file) PASK_REQUIRES(s_fs_mgr_cs) {
  if (file->use_count++ == 0) _fs_mgr_remove_item(&s_fs_live_list, file);
}

// Opens a parked file in a slot that was taken for it.
uint32_t reopen(pask_fs_file* file) PASK_REQUIRES(s_fs_mgr_cs) {
  if (const uint32_t status = _pask_fs_reopen_internal(file->file)) {
    slot_give_back();
    return status;
  }
  file->has_fd = 1;
  file->use_count = 1;
  _fs_mgr_remove_item(&s_fs_open_list, file);
  return 0;
}

// The slow way of an acquire, which ends with the section left. Another thread may bring the file back during the wait.
[[gnu::noinline]] uint32_t acquire_parked(pask_fs_file* file) PASK_RELEASE(s_fs_mgr_cs) {
  uint32_t status = 0;
  while (!status && !file->has_fd) {
    if (slot_take(&status)) {
      if (!status) status = reopen(file);
      leave_signalling();
      return status;
    }
    status = await_signal();
  }
  if (!status) use(file);
  leave_signalling();
  return status;
}

// ---- Markers. Nothing makes any so far: both variables stay empty, and a file pays nothing for them.

void marker_entry_add(pask_fs_marker* marker, pask_fs_file* file) {
  auto* entry = static_cast<pask_fs_marker_entry*>(pask_memory_alloc(sizeof(pask_fs_marker_entry)));
  char* name = entry ? pask_string_strdup(_pask_fs_filename_internal(file->file)) : nullptr;
  if (!name) {
    pask_memory_free(entry);
    return;
  }
  *entry = {};
  entry->id = marker->id;
  entry->thread_id = file->thread_id;
  entry->name = name;
  entry->opened = 1;
  entry->file = file;
  entry->marker = marker;
  entry->file_next = file->entries;
  if (file->entries) file->entries->file_prev = entry;
  file->entries = entry;
  entry->marker_next = marker->entries;
  if (marker->entries) marker->entries->marker_prev = entry;
  marker->entries = entry;
}

void markers_see(pask_fs_file* file) PASK_REQUIRES(s_fs_mgr_cs) {
  for (pask_fs_marker* marker = s_fs_marker_lists; marker; marker = marker->next)
    if (marker->thread_id == file->thread_id || marker == s_fs_global_marker) marker_entry_add(marker, file);
}

void add_figure(uint32_t amount, uint32_t* sum, uint32_t* largest, uint32_t* count) {
  if (amount == 0) return;
  *sum += amount;
  ++*count;
  if (amount > *largest) *largest = amount;
}

}  // namespace

// ---- Start and stop

// The first start: nobody else is here.
PASK_NO_THREAD_SAFETY_ANALYSIS uint32_t _pask_fs_mgr_init() {
  PASK_TRY(pask_thread_critsec_create(&s_fs_mgr_cs));
  const uint32_t status = pask_thread_event_create(&s_fs_mgr_event, 0, 0);
  if (status && status != THREAD_ERR_UNSUPPORTED) {
    pask_thread_critsec_delete(s_fs_mgr_cs);
    s_fs_mgr_cs = nullptr;
    return status;
  }
  slots_add(~s_fs_slots_left + 1);
  s_fs_slots_left = 0;
  return 0;
}

// The last stop: nobody else is here.
PASK_NO_THREAD_SAFETY_ANALYSIS uint32_t _pask_fs_mgr_shutdown() {
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

// ---- The limit

static bool is_limit_option(const char* name) { return name && strcmp(name, PASK_FS_OPTION_MAX_HANDLES) == 0; }

uint32_t pask_fs_option_set(const char* name, const char* value) {
  if (!is_limit_option(name)) return PASK_FS_ERR_INVALID_ARG;
  __atomic_store_n(&g_fs_max_file_handles, pask_string_atou32(value), __ATOMIC_RELAXED);
  return 0;
}

uint32_t pask_fs_option_get(const char* name, const char** value) {
  static char s_text[32];
  if (!is_limit_option(name) || !value) return PASK_FS_ERR_INVALID_ARG;
  *value = pask_string_u32toa(__atomic_load_n(&g_fs_max_file_handles, __ATOMIC_RELAXED), s_text, sizeof s_text);
  return 0;
}

// ---- A file's way through the pool

uint32_t _pask_fs_mgr_new_fd(pask_fs_file* file) {
  PASK_TRY(enter());
  pask_thread_get_id(nullptr, &file->thread_id);
  uint32_t status = 0;
  while (!status && !slot_take(&status)) status = await_signal();
  if (!status) {
    file->has_fd = 1;
    file->use_count = 1;
    markers_see(file);
  }
  leave_signalling();
  return status;
}

uint32_t _pask_fs_mgr_acquire_fd(pask_fs_file* file) {
  PASK_TRY(enter());
  if (!file->has_fd) [[unlikely]]
    return acquire_parked(file);
  use(file);
  leave();
  return 0;
}

uint32_t _pask_fs_mgr_release_fd(pask_fs_file* file) {
  if (enter()) {
    pask_thread_event_signal(s_fs_mgr_event);
    return 0;
  }
  if (--file->use_count == 0) list_append(&s_fs_live_list, file);
  leave_signalling();
  return 0;
}

void _fs_mgr_retain_fd(pask_fs_file* file) {
  if (enter()) return;
  if (file->has_fd) use(file);
  leave();
}

// After a stop a file leaves its list, which would else lead to a record that has gone, and nothing more happens.
PASK_NO_THREAD_SAFETY_ANALYSIS static void close_stopped(pask_fs_file* file) {
  _fs_mgr_remove_item(file->has_fd ? &s_fs_live_list : &s_fs_open_list, file);
  s_fs_slots_left += file->has_fd;
}

uint32_t _pask_fs_mgr_close_fd(pask_fs_file* file) {
  if (!s_fs_mgr_cs) {
    close_stopped(file);
    return 0;
  }
  if (enter()) return 0;
  for (pask_fs_marker_entry* entry = file->entries; entry; entry = entry->file_next) {
    entry->closed = 1;
    entry->file = nullptr;
  }
  if (file->has_fd) {
    _fs_mgr_remove_item(&s_fs_live_list, file);
    slot_give_back();
    leave_signalling();
  } else {
    _fs_mgr_remove_item(&s_fs_open_list, file);
    leave();
  }
  return 0;
}

uint32_t _pask_fs_mgr_update_metrics(pask_fs_file* file, uint32_t bytes_read, uint32_t bytes_written, uint32_t seeks) {
  pask_thread_id self = 0;
  pask_thread_get_id(nullptr, &self);
  PASK_TRY(enter());
  pask_fs_marker_entry* entry = file->entries;
  if (entry && entry->thread_id != self) entry = nullptr;
  for (; entry; entry = entry->file_next) {
    if (entry->thread_id != self) continue;
    add_figure(bytes_read, &entry->bytes_read, &entry->largest_read, &entry->read_count);
    add_figure(bytes_written, &entry->bytes_written, &entry->largest_write, &entry->write_count);
    entry->seek_count += seeks;
    entry->touched = 1;
  }
  return leave();
}
