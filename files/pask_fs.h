/* Files, and the pool of descriptors under them: more logical files stay open than descriptors are spent on them.
 *
 * A file, once open, stays usable until it is closed, whether or not it has a descriptor at the moment. With a limit set
 * (the option PASK_FS_OPTION_MAX_HANDLES) a file that needs a descriptor takes one from the idle file that was used longest
 * ago, which is opened again by its name at its next use: neither created nor truncated anew, and at its old position, which
 * the file itself holds. When operations are under way on as many files as the limit allows, the next one waits, without a
 * limit of time, until one of them is done. At no time are there more descriptors than the limit. A limit takes effect for
 * files that need a descriptor from then on: a lower one is reached as files close, and a thread that waits sees a new one,
 * 0 among them, when it is next woken. Since files come back by name, a limit doesn't go with files that are renamed, deleted
 * or replaced while open, nor with relative names and a change of directory; a file that has gone gives 0x90030041 at each
 * use, one that was made without rights for the process 0x90030040, and can still be closed. What isn't a regular file, a pipe
 * say, comes back without what its descriptor knew, and without waiting for its other end: 0x9003000b where only writing is left.
 *
 * Names are zero-terminated byte strings as the system takes them. Three reserved ones, compared exactly, stand for the
 * standard streams: flags and permissions are ignored, and their descriptors are never closed.
 *
 * Sizes and counts are unsigned 32-bit numbers of bytes; offsets, positions, file sizes and times are 64-bit on every target.
 * Unless told otherwise an operation returns 0 or an error word of package 0x03, and out-parameters are written on success
 * only. A null argument that isn't allowed gives 0x90030001. System errors become
 *   0x90030001  EINVAL, EDESTADDRREQ, an offset above the signed range among them   0x90030044  EMFILE
 *   0x9003000b  ENXIO                0x90030042  EEXIST                             0x90030045  EBADF
 *   0x90030040  EPERM, EACCES        0x90030043  ENOSPC                             0x90030046  EISDIR
 *   0x90030041  ENOENT               0x10030050  ENOTEMPTY, an information word     0x90030047  ENOTDIR
 *   0x9003003e  any other; EINTR too, which no operation repeats, not even close, whose descriptor is gone all the same
 * An operation on a file may also give what its way back to a descriptor meets: a word above for opening it again, for
 * closing the file that gives way (which then can be opened again), or 0x90020001 when the module isn't started. A failure
 * leaves the file, its position and its end mark as they were. Nothing is logged.
 *
 * Threads: any thread may use any file, also several at once. What they share is guarded, but for the position and the end
 * mark: only pask_fs_file_read_at, _write_at, _get_name, _size, _attributes, _timestamps and _commit of one file may run at
 * once. Closing a file excludes all other use of it. */
#ifndef PASK_FS_H
#define PASK_FS_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_fs_file* pask_fs_file_handle;

/* The status words of files, directories and their pool. */
#define PASK_FS_ERR_INVALID_ARG     0x90030001u
#define PASK_FS_ERR_NO_MEMORY       0x90030002u
#define PASK_FS_ERR_NOT_INITED      0x90030007u
#define PASK_FS_ERR_NO_DEVICE       0x9003000bu
#define PASK_FS_ERR_OTHER           0x9003003eu /* a system error without a word of its own */
#define PASK_FS_ERR_ACCESS          0x90030040u
#define PASK_FS_ERR_NOT_FOUND       0x90030041u /* also the end of a directory's listing */
#define PASK_FS_ERR_EXISTS          0x90030042u
#define PASK_FS_ERR_NO_SPACE        0x90030043u
#define PASK_FS_ERR_TOO_MANY_OPEN   0x90030044u
#define PASK_FS_ERR_BAD_DESCRIPTOR  0x90030045u
#define PASK_FS_ERR_BAD_PATH        0x90030046u /* a directory, a reserved name or none at all */
#define PASK_FS_ERR_NOT_DIRECTORY   0x90030047u
#define PASK_FS_ERR_TOO_LARGE       0x90030048u /* for a buffer */
#define PASK_FS_ERR_END_OF_FILE     0x90030049u
#define PASK_FS_INFO_NOT_EMPTY      0x10030050u
#define PASK_FS_ERR_SEEK            0x90030051u /* beyond the end */
#define PASK_FS_ERR_APPEND_POSITION 0x90030053u /* in front of the position */

#define PASK_FS_STDIN  "pask_fsname_stdin"
#define PASK_FS_STDOUT "pask_fsname_stdout"
#define PASK_FS_STDERR "pask_fsname_stderr"

/* How a file is opened, combined by OR. One of the first three is required. */
#define PASK_FS_OPEN_READ      1u
#define PASK_FS_OPEN_WRITE     2u
#define PASK_FS_OPEN_APPEND    4u /* write access; whatever is written goes to the end */
#define PASK_FS_OPEN_CREATE    16u
#define PASK_FS_OPEN_TRUNCATE  32u
#define PASK_FS_OPEN_EXCLUSIVE 256u /* with CREATE: the file must be new */

/* The access that everybody has to a file that is created, before the process's umask; 0 for none. */
#define PASK_FS_PERMIT_READ  1u
#define PASK_FS_PERMIT_WRITE 2u

/* The owner's access to a file. */
#define PASK_FS_ATTRIBUTE_READABLE 1u
#define PASK_FS_ATTRIBUTE_WRITABLE 2u

#define PASK_FS_SEEK_START   1u
#define PASK_FS_SEEK_CURRENT 2u
#define PASK_FS_SEEK_END     3u

/* ---- The pool's limit ---------------------------------------------------------------------------------------------- */

#define PASK_FS_OPTION_MAX_HANDLES "pask_fs_max_handles"

/** Sets an option: the one above, to what pask_string_atou32() reads; 0, as null reads too, means no limit. Any other name, null
 *  too: 0x90030001. */
VELOX_API pask_status pask_fs_option_set(const char* name, const char* value);
/** Gives the same option as decimal text, in a buffer of the module's that the next call writes again. */
VELOX_API pask_status pask_fs_option_get(const char* name, const char** value);

/** Descriptors that the pool may hold; 0, the start value, means no limit. */
extern VELOX_API uint32_t g_fs_max_file_handles;
/** Descriptors that the pool holds. Read without the pool's lock it is a snapshot. */
extern VELOX_API uint32_t g_fs_num_file_handles;

/* ---- Files by path --------------------------------------------------------------------------------------------------
 * A null or empty path (pask_string_isempty) and a reserved name give 0x90030046, tested before other arguments but for
 * the size of get_size. */

/** Removes a file, or an empty directory. */
VELOX_API pask_status pask_fs_file_delete(const char* path);
/** Stores 1 when there is something other than a directory (or a block device or socket), else 0, for want of access too. */
VELOX_API pask_status pask_fs_file_exists(const char* path, uint8_t* exists);
/** Gives a file another name, in place of a file of that name. */
VELOX_API pask_status pask_fs_file_rename(const char* old_path, const char* new_path);
VELOX_API pask_status pask_fs_file_get_attributes(const char* path, uint32_t* attributes);
/** Makes the file readable by all and, with PASK_FS_ATTRIBUTE_WRITABLE, writable by all. */
VELOX_API pask_status pask_fs_file_set_attributes(const char* path, uint32_t attributes);
VELOX_API pask_status pask_fs_file_get_size(const char* path, uint64_t* size);
/** Copies a file, its attributes too, onto the disk. A target that exists gives 0x90030042 with `fail_if_exists`, else it is
 *  deleted first; 0x90030001 when that would delete the source itself, which stays. A missing source: 0x90030041. Incomplete
 *  writing: 0x90030043. What a failed copy has begun to write is deleted; a target that couldn't be opened, a directory say, isn't
 *  the copy's and stays. */
VELOX_API pask_status pask_fs_file_copy(const char* source, const char* target, uint32_t fail_if_exists);

/** Creates a file, or empties or with `append` lengthens one, and writes `size` bytes in a single write, which may be cut
 *  short unnoticed. Takes reserved names; an empty path or null data gives 0x90030001. */
VELOX_API pask_status pask_fs_file_write_to_file(const char* path, const void* data, uint32_t size, uint32_t append);
/** Reads a whole file, or a standard stream to its end, into a block of its size plus 1 bytes, which the caller frees with
 *  pask_memory_free(); with `terminate` a zero byte follows the data. `size`, which may be null, receives the bytes, that
 *  one included. A stream that gives no bytes at all: null and 0. Takes reserved names; an empty path gives 0x90030001. 0x90030048
 *  above 0xfffffffe bytes; 0x90030002 without memory. */
VELOX_API pask_status pask_fs_file_read_to_buffer(const char* path, void** buffer, uint32_t* size, uint32_t terminate);

/* ---- Open files ---------------------------------------------------------------------------------------------------- */

/** Opens a file, at position 0. Null reads as the empty name, which no file has. 0x90030001 without read and write access in
 *  the flags; 0x90030007 when pask_fs isn't started; 0x90030002 without memory. */
VELOX_API pask_status pask_fs_file_open(const char* path, uint32_t flags, uint32_t permissions,
                                        pask_fs_file_handle* file);
/** Closes a file, also after pask_fs was stopped: its slot is then given back by the next start. It is gone whatever the result, which
 *  is that of closing its descriptor. Null gives 0. */
VELOX_API pask_status pask_fs_file_close(pask_fs_file_handle file);

/** Reads up to `size` bytes at the position, and moves it behind them. Reading 0 bytes sets the end mark. The count, which is what
 *  one system call gave, goes to `read`, which may be null. */
VELOX_API pask_status pask_fs_file_read(pask_fs_file_handle file, void* buffer, uint32_t size, uint32_t* read);
/** The same at an offset, with the position left alone; for files that have offsets. */
VELOX_API pask_status pask_fs_file_read_at(pask_fs_file_handle file, uint64_t offset, void* buffer, uint32_t size,
                                           uint32_t* read);
/** Reads a line into the `size` bytes at `buffer`, terminated and without its end, which is "\n", "\r" or "\r\n". Of a line
 *  that doesn't fit, the first size - 1 bytes are given and the next call goes on there: with a size of 1 that is no
 *  progress. A "\r" as the last byte that fits leaves a "\n" behind it as an empty line. Bytes of the buffer behind the line are
 *  overwritten too. 0x90030049 at the end of the file. Size 0: 0x90030001. Leaves the end mark alone; for files that have
 *  offsets. */
VELOX_API pask_status pask_fs_file_read_line(pask_fs_file_handle file, char* buffer, uint32_t size);
/** Writes at the position, which moves behind what was written, and clears the end mark. `written`, which may be null, receives
 *  the count, which is what one system call gave. With the append flag the data goes to the end of the file, and the position
 *  counts what was written through the handle. */
VELOX_API pask_status pask_fs_file_write(pask_fs_file_handle file, const void* data, uint32_t size, uint32_t* written);
/** Writes formatted text (pask_format.h), without its terminator, and leaves the end mark alone. Text below 1024 bytes takes
 *  nothing from the heap; refused memory shortens a longer one, as formatting does everywhere. */
VELOX_API pask_status pask_fs_file_vwrite(pask_fs_file_handle file, const char* format, va_list args,
                                          uint32_t* written);
/** Writes at an offset, with position and end mark left alone; for files that have offsets. 0x90030053 with the append
 *  flag for an offset below the position. */
VELOX_API pask_status pask_fs_file_write_at(pask_fs_file_handle file, uint64_t offset, const void* data, uint32_t size,
                                            uint32_t* written);

VELOX_API pask_status pask_fs_file_get_position(pask_fs_file_handle file, uint64_t* position);
/** Moves the position: to `offset`, by it (it may be negative), or to that far in front of the end. 0x90030051, and no move,
 *  beyond the end of the file or in front of its start; 0x90030001 for another `whence`. */
VELOX_API pask_status pask_fs_file_seek(pask_fs_file_handle file, int64_t offset, uint32_t whence);
/** Stores 1 when the end mark is set, or sets it and stores 1 when the position is the size; else 0. The mark, once set, stays
 *  until the next pask_fs_file_write. Stored also when the size can't be read, which the result tells. */
VELOX_API pask_status pask_fs_file_get_eof(pask_fs_file_handle file, uint8_t* eof);
/** Cuts or lengthens the file, and moves the position to its new end. */
VELOX_API pask_status pask_fs_file_truncate(pask_fs_file_handle file, uint64_t length);
/** Gives the name that the file was opened by, valid until it is closed. */
VELOX_API pask_status pask_fs_file_get_name(pask_fs_file_handle file, const char** name);
VELOX_API pask_status pask_fs_file_size(pask_fs_file_handle file, uint64_t* size);
VELOX_API pask_status pask_fs_file_attributes(pask_fs_file_handle file, uint32_t* attributes);
/** Gives the times of the last change of status, access and change of contents, in seconds since 1970; each may be null. */
VELOX_API pask_status pask_fs_file_timestamps(pask_fs_file_handle file, uint64_t* changed, uint64_t* accessed,
                                              uint64_t* modified);
/** Returns once all that was written has reached the disk. */
VELOX_API pask_status pask_fs_file_commit(pask_fs_file_handle file);

VELOX_END_DECLS

#endif
