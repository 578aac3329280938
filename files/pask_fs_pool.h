// The file-handle manager: the pool of real descriptors under logical files, the records that it links, and what it and the
// file layer ask of each other.
//
// A file is active (it has a descriptor and is in use), idle (it has one and lies on the live list) or parked (it has none and
// lies on the open list). Whoever touches a descriptor acquires it first and releases it after, so that only idle files lose
// theirs. Promises that the pool keeps under all failures: a file has at most one descriptor and is charged for it once; a slot
// that comes free, by a failed close or reopen too, is given back and wakes a thread that waits for one.
#pragma once

#include <stddef.h>

#include "pask_fs.h"
#include "pask_fs_error.h"
#include "pask_thread.h"

VELOX_BEGIN_DECLS

typedef struct pask_fs_marker pask_fs_marker;
typedef struct pask_fs_marker_entry pask_fs_marker_entry;

// What a descriptor is; unseen until the first transfer at the position.
enum fs_kind { FS_OTHER = 0, FS_REGULAR = 1, FS_UNSEEN = 2 };

// A logical file and its name, in one block. Fields up to prev belong to the manager and are guarded by its section.
typedef struct pask_fs_file {
  struct pask_fs_file* file;  // the record itself: the way from the manager to the file layer
  pask_thread_id thread_id;   // the thread that opened it
  uint32_t use_count;         // acquisitions not yet released
  pask_fs_marker_entry* entries;
  uint8_t has_fd;  // has a descriptor and is charged for it
  struct pask_fs_file *next, *prev;
  int32_t fd;  // -1 for none
  uint8_t eof;
  uint32_t flags;
  uint32_t permissions;
  uint64_t position;
  uint8_t is_std;  // a standard stream: its descriptor is never closed
  uint8_t
      is_regular;  // an fs_kind; transfers give a regular file's position to the system, others have their own or none
  char name[];
} pask_fs_file;

// Somebody who wants figures on the files that a thread, or any thread, opens.
struct pask_fs_marker {
  uint32_t id;
  pask_thread_id thread_id;
  pask_fs_marker_entry* entries;
  pask_fs_marker* next;
};

// The figures on one file for one marker, who owns the entry.
struct pask_fs_marker_entry {
  uint32_t id;
  pask_thread_id thread_id;  // the file's
  char* name;
  uint32_t bytes_read, largest_read, read_count;
  uint32_t bytes_written, largest_write, write_count;
  uint32_t seek_count;
  uint8_t opened, closed, touched;
  pask_fs_file* file;  // null once it has closed
  pask_fs_marker* marker;
  pask_fs_marker_entry *marker_prev, *marker_next;
  pask_fs_marker_entry *file_next, *file_prev;
};

/** Creates the pool's section and event; the last step of pask_fs_initialize. */
VELOX_API pask_status _pask_fs_mgr_init(void);
/** Ends the marker lists and the pool's section and event; the first step of pask_fs_shutdown. Always 0. Files that are still
 *  open stay open, and can be closed. */
VELOX_API pask_status _pask_fs_mgr_shutdown(void);

/** Makes a new file active, before it has its descriptor, waiting for a slot if need be. A failed eviction leaves it out of the
 *  pool. */
VELOX_API pask_status _pask_fs_mgr_new_fd(pask_fs_file* file);
/** Makes a file active that the pool knows, with its descriptor opened again if it was parked. After a failure it is what it
 *  was. */
VELOX_API pask_status _pask_fs_mgr_acquire_fd(pask_fs_file* file);
/** Ends one use; after the last one the file is idle. Always 0. */
VELOX_API pask_status _pask_fs_mgr_release_fd(pask_fs_file* file);
/** Takes a file out of the pool, in whatever state it is, and gives its slot back; after a stop no count changes before the next
 *  start. Its descriptor is the caller's. Always 0. */
VELOX_API pask_status _pask_fs_mgr_close_fd(pask_fs_file* file);
/** Adds to the figures of the file's entries if the calling thread is the one that opened it. */
VELOX_API pask_status _pask_fs_mgr_update_metrics(pask_fs_file* file, uint32_t bytes_read, uint32_t bytes_written,
                                                  uint32_t seeks);

// The file layer, as the manager calls it.

/** Closes the descriptor, unless there is none or it is a standard stream's; there is none after, whatever the result. */
VELOX_API pask_status _pask_fs_close_internal(pask_fs_file* file);
/** Opens the file again by its name, without creating or truncating it, and without waiting for the other end of a pipe. After a
 *  failure it has no descriptor. */
VELOX_API pask_status _pask_fs_reopen_internal(pask_fs_file* file);
VELOX_API const char* _pask_fs_filename_internal(pask_fs_file* file);

VELOX_END_DECLS

// Keeps a file that has a descriptor active until _pask_fs_mgr_close_fd, so that its descriptor can be closed in peace and
// before its slot passes on. Nothing happens to a parked file.
void _fs_mgr_retain_fd(pask_fs_file* file);

// The descriptor that a reserved name stands for, else -1.
int32_t _fs_std_descriptor(const char* name);
// The attributes of a file by its mode.
uint32_t _fs_mode_attributes(uint32_t mode);
