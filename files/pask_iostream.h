/* Byte streams: a table of callbacks makes a source or a sink, and the stream adds a read buffer, putback, the state
 * at the end, byte counts and a reference count. A second kind reads from a block of memory, without callbacks.
 *
 * A stream is a heap object behind an opaque handle. Sizes and counts are in bytes; the two counters are cumulative
 * and wrap. Unless told otherwise an operation returns 0, or
 *   0x90220001  a null handle or another required null argument
 *   0x90220321  the handle is no stream
 *   0x90220002  out of memory, or a block that can't be asked for in 32 bits
 *   0x90220005, 0x90220052, 0x9022000b  the stream has no write, no read, no reset callback where one is needed
 *   0x10220049  the end of the stream; an information word, no failure
 * or what a callback returned, unchanged: any word but 0 ends an operation. Out-parameters are written on success only.
 * Nothing is reported to the log.
 *
 * A count that a callback gives above what it was asked for is taken as what it was asked for.
 *
 * Threads: the reference count is atomic, so any thread may hold a stream alive; all else is for one thread at a time.
 * Callbacks run on the caller's thread, and must not use the stream that they are called by. */
#ifndef PASK_IOSTREAM_H
#define PASK_IOSTREAM_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_iostream* pask_iostream_handle;

#define PASK_IOSTREAM_INFO_END 0x10220049u

/** Stores at most `size` bytes in `buffer`, which is all of the stream's, and their count in `got`. The end is a count
 *  of 0 or any word whose low 16 bits are 0x49. */
typedef pask_status (*pask_iostream_read_fn)(void* user_data, void* buffer, uint32_t size, uint32_t* got);
/** Takes bytes and stores their count, which may be less than `size`, in `written`. */
typedef pask_status (*pask_iostream_write_fn)(void* user_data, const void* data, uint32_t size, uint32_t* written);
typedef pask_status (*pask_iostream_flush_fn)(void* user_data);
typedef pask_status (*pask_iostream_reset_fn)(void* user_data);
/** The end of the stream's life. Ignored. */
typedef pask_status (*pask_iostream_release_fn)(void* user_data);

/** What a stream can do. Any entry may be null, but not both of read and write. */
typedef struct pask_iostream_callbacks {
  pask_iostream_read_fn read;
  pask_iostream_write_fn write;
  pask_iostream_flush_fn flush;
  pask_iostream_reset_fn reset;
  pask_iostream_release_fn release;
} pask_iostream_callbacks;

/* ---- Life -------------------------------------------------------------------------------------------------------- */

/** Makes a stream with one reference. The table is copied; `user_data` goes to every callback, and stays the caller's
 *  when this fails. The buffer holds `buffer_size` bytes, at least 1024 with a read callback, and lies in the stream's
 *  own allocation.
 *  0x90220007 when pask_iostream isn't initialised. */
VELOX_API pask_status pask_iostream_create(pask_iostream_handle* stream, uint32_t buffer_size,
                                           const pask_iostream_callbacks* callbacks, void* user_data);
/** Makes a stream with one reference that reads `size` bytes, at least one, from memory. With a null `release` it
 *  takes a copy; else it reads the block in place and calls `release` with `user_data` at the end of its life. Such a
 *  stream can be reset and can't be written; a putback into a block in place changes the block. 0x90220007 as above. */
VELOX_API pask_status pask_iostream_create_from_buffer(pask_iostream_handle* stream, void* data, uint32_t size,
                                                       pask_iostream_release_fn release, void* user_data);
VELOX_API pask_status pask_iostream_addref(pask_iostream_handle stream);
/** Drops a reference. The last one calls the release callback and frees the stream; nothing is flushed. Null is 0. */
VELOX_API pask_status pask_iostream_release(pask_iostream_handle stream);

/* ---- Abilities: the answer is 1 or 0 ----------------------------------------------------------------------------- */

VELOX_API pask_status pask_iostream_can_read(pask_iostream_handle stream, uint8_t* answer);
VELOX_API pask_status pask_iostream_can_write(pask_iostream_handle stream, uint8_t* answer);
VELOX_API pask_status pask_iostream_can_reset(pask_iostream_handle stream, uint8_t* answer);

/* ---- Reading ----------------------------------------------------------------------------------------------------- */

/** Reads up to `size` bytes: what was put back, then what is buffered, then what the read callback gives, which is
 *  called until there is enough. `got`, which may be null, receives less than `size` only at the end; after that each
 *  read gives 0x10220049. A source that ends by an end word where nothing was read gives that word at once; one that
 *  ends by a count of 0 gives a count of 0 first. When the callback fails the bytes of this read are lost; the stream
 *  can be read on. `buffer` may be null for a size of 0. */
VELOX_API pask_status pask_iostream_read(pask_iostream_handle stream, void* buffer, uint32_t size, uint32_t* got);
/** Gives back bytes, which needn't be those that were read, in their order, to be read before everything else, also
 *  after the end. Of any size; no memory is asked for while they fit in front of the buffer's next byte. On 0x90220002
 *  only the tail that fits there has been given back. A size of 0 does nothing; `data` is required all the same. */
VELOX_API pask_status pask_iostream_putback(pask_iostream_handle stream, const void* data, uint32_t size);
/** Calls the reset callback, drops what is buffered and put back, and clears the end. A stream from memory is back at
 *  its first byte. When the callback fails nothing changes. The counters go on. */
VELOX_API pask_status pask_iostream_reset(pask_iostream_handle stream);
/** Reads to the end, into a block that the caller frees with pask_memory_free. A zero byte stands behind the data and
 *  doesn't count in `size`. With nothing left, the text is null and the size 0. On a failure what was read is lost. */
VELOX_API pask_status pask_iostream_read_entire(pask_iostream_handle stream, char** text, uint32_t* size);

/* ---- Writing and counts ------------------------------------------------------------------------------------------ */

/** Hands bytes to the write callback, unbuffered and also those of size 0. `written`, which may be null, receives the
 *  count that it took, which may be short. `data` may be null for a size of 0. */
VELOX_API pask_status pask_iostream_write(pask_iostream_handle stream, const void* data, uint32_t size,
                                          uint32_t* written);
/** Calls the flush callback; without one a success. */
VELOX_API pask_status pask_iostream_flush(pask_iostream_handle stream);
/** Gives the bytes handed to readers, those read again once more, and the bytes taken by the write callback. Either
 *  may be null. Only of a stream that can be reset. */
VELOX_API pask_status pask_iostream_throughput(pask_iostream_handle stream, uint32_t* bytes_read,
                                               uint32_t* bytes_written);

VELOX_END_DECLS

#endif
