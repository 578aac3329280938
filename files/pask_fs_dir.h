/* Directories: making, removing and listing them. They take no descriptor from the pool of files, and work without a start.
 *
 * Paths are zero-terminated. An operation returns 0, or
 *   0x90030001  a null or empty path, another argument that must not be null, or a path that the system holds for invalid
 *   0x90030002  out of memory
 *   what the system call's failure stands for: 0x90030040 access denied, 0x90030041 not found, 0x90030042 exists already,
 *   0x90030043 no space, 0x90030044 too many open files, 0x90030046 is a directory, 0x90030047 not a directory,
 *   0x10030050 not empty (an information word), 0x9003003e all others
 * Out-parameters are written on success only, unless told otherwise. Nothing is logged. A handle belongs to one thread at a
 * time; all else may be called from any thread. */
#ifndef PASK_FS_DIR_H
#define PASK_FS_DIR_H

#include "pask_fs.h"

VELOX_BEGIN_DECLS

#define PASK_FS_ENTRY_OTHER     0u
#define PASK_FS_ENTRY_DIRECTORY 4u
#define PASK_FS_ENTRY_FILE      8u

typedef struct pask_fs_dir* pask_fs_dir_handle;

/** Makes one directory, of mode 0775 before the umask; that it exists already is no failure. With a dir that isn't null, opens
 *  it too. */
VELOX_API pask_status pask_fs_dir_create(const char* path, pask_fs_dir_handle* dir);
/** Removes an empty directory. With a remove_parents that isn't 0, then also those above it in the path, the lowest first: the
 *  first that can't go gives the result, those below it are gone. "/" and "\" separate levels, one at the end of the path
 *  doesn't. One among the first two bytes isn't looked at: of "a/b" only "b" goes, of "aa/b" both. */
VELOX_API pask_status pask_fs_dir_delete(const char* path, uint32_t remove_parents);
/** Stores 1 when the path leads to a directory, else 0, whatever the reason. A socket and a block device, whose modes
 *  hold a directory's bit, count as directories. */
VELOX_API pask_status pask_fs_dir_exists(const char* path, uint8_t* exists);
/** Gives the process's directory as a new string, which the caller frees with pask_string_free(). At most 1023 bytes. */
VELOX_API pask_status pask_fs_dir_current(char** path);
/** Sets the process's directory, for all of its threads. */
VELOX_API pask_status pask_fs_dir_set_current(const char* path);

/** Opens a listing, which runs forward once. Close it with pask_fs_dir_close(). */
VELOX_API pask_status pask_fs_dir_open(const char* path, pask_fs_dir_handle* dir);
/** The next entry, "." and ".." among them, in the system's order; 0x90030041 behind the last. The name belongs to the
 *  listing and is valid until the next call on it. type, which may be null, gets one of the values above; a link reports what it
 *  points to. The type is looked up by the path given at opening, "/" and the name, cut to 259 bytes: where that fails
 *  the failure is the result, the name is stored all the same, and type is 0. */
VELOX_API pask_status pask_fs_dir_next_entry(pask_fs_dir_handle dir, const char** name, uint32_t* type);
/** Closes a listing, which is gone also after a failure. Null: 0. */
VELOX_API pask_status pask_fs_dir_close(pask_fs_dir_handle dir);

VELOX_END_DECLS

#endif
