/* MD5 digests (RFC 1321), of memory or of what passes through a stream. For recognising content; no protection against
 * those who mean to deceive.
 *
 *   pask_md5_start, pask_md5_compute any number of times, pask_md5_end; then read `digest` or `hex`
 *   pask_md5_hash_stream, reading or writing through the new stream, pask_md5_end; then read `digest` or `hex`
 *
 * The record is the caller's, and nothing in it needs to be released. Sizes are in bytes; data needs no alignment. An
 * operation returns 0 or, reported to the log under "pask_md5" by each operation that it passes,
 *   0x90060001  a null record or another required null argument
 *   0x90060002  out of memory
 * No operation needs the module to be started. Threads: one record is for one thread at a time. */
#ifndef PASK_MD5_H
#define PASK_MD5_H

#include "pask_iostream.h"

VELOX_BEGIN_DECLS

typedef struct pask_md5_ctx {
  uint32_t count[2];  /* message length so far in bits, the low word first */
  uint32_t state[4];  /* the chaining values A, B, C and D */
  uint8_t buffer[64]; /* the block being filled */
  uint8_t digest[16]; /* the result */
  char hex[33];       /* the result as 32 lower-case digits and a terminator */
} pask_md5_ctx;

/** Begins a message. Leaves an older result in `digest` and `hex` alone. */
VELOX_API pask_status pask_md5_start(pask_md5_ctx* ctx);
/** Adds bytes to the message; null data with a size of 0 is a success. */
VELOX_API pask_status pask_md5_compute(pask_md5_ctx* ctx, const void* data, uint32_t size);
/** Ends the message and writes `digest` and `hex`. The record then needs a start before it takes a message again. */
VELOX_API pask_status pask_md5_end(pask_md5_ctx* ctx);

/** 1 when a text has the form of a hash: 1 to 32 hexadecimal digits of either case, with any number of bytes of the
 *  range 1 to 32 before and behind them. Else 0, also for null. */
VELOX_API uint8_t pask_md5_isvalidhash(const char* text);

/** Starts the caller's record and makes a stream that reads from and writes to `inner` and hashes what passes. It
 *  holds a reference on `inner`, and none on the record, which has to outlive it. A null `inner` or one that is no
 *  stream shows at the first read or write.
 *
 *  Reading is buffered: the digest covers what the stream has pulled from `inner`, so read to the end to hash all of
 *  it. Writing isn't: the digest covers exactly what `inner` took. Where `inner` fails its word comes back unchanged,
 *  nothing is hashed, and a failure is reported. A flush doesn't reach `inner`; a reset starts the record again and
 *  leaves `inner` where it is. pask_md5_end may come before or after the stream's release.
 *
 *  0x9022.... when the stream can't be made (pask_iostream.h), 0x90220007 among them when pask_iostream isn't
 *  initialised. */
VELOX_API pask_status pask_md5_hash_stream(pask_iostream_handle inner, pask_iostream_handle* stream, pask_md5_ctx* ctx);

/* The working functions: no argument is tested. */

/** Counts bytes and hashes every block that they fill. `data` may be null for a size of 0. */
VELOX_API void _pask_md5_update(pask_md5_ctx* ctx, const void* data, uint32_t size);
/** Takes one block, 16 words, into the four chaining values. */
VELOX_API void _pask_md5_transform(uint32_t* state, const uint32_t* words);

VELOX_END_DECLS

#endif
