/* The accumulator: a growing, terminated text, built by appending.
 *
 * It can start in a block of the caller's, usually on the stack, and moves to the heap only when the text outgrows that
 * block; a growth takes twice the bytes that are needed, so a long run of appends reallocates rarely. The text may hold
 * zero bytes: lengths count bytes. Reading the record's fields is allowed; changing them is not.
 *
 *   char* text; pask_string_accum* acc;
 *   union { pask_string_accum record; char room[300]; } block;      - 284 on 32 bits are the text's
 *   pask_string_accum_create(&acc, &block, sizeof block);
 *   pask_string_accum_append_format(acc, "%s-%u", name, number);
 *   pask_string_accum_detach(acc, &text, NULL);                     - the caller's, for pask_string_free
 *   pask_string_accum_delete(acc);                                  - always, the text may have moved to the heap
 *
 * Units     bytes, without the terminator, unless told otherwise; append_chars counts characters.
 * Status    0; 0x90050001 when acc or another required argument is null; 0x90050002 when memory is refused or a size
 *           would pass 32 bits. A failed growth leaves text, length and capacity as they were, and an operation that
 *           fails changes no out-parameter. Nothing is logged.
 * Threads   no lock: one thread uses an accumulator at a time. */
#ifndef PASK_STRING_ACCUM_H
#define PASK_STRING_ACCUM_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_string_accum {
  char* text;          /* the buffer; null until one exists. Once text was appended, text[length] is 0 */
  uint32_t length;     /* bytes of text */
  uint32_t capacity;   /* bytes of the buffer, its terminator included */
  uint8_t owns_record; /* the record came from the heap: pask_string_accum_delete frees it */
  uint8_t owns_text;   /* the buffer came from the heap */
} pask_string_accum;

/* ---- Life -------------------------------------------------------------------------------------------------------- */

/** Makes an empty accumulator. With `storage` of more bytes than the record, aligned for a pointer, record and text lie
 *  in it: the whole block is zeroed, and must outlive the accumulator. Otherwise both come from the heap, the buffer
 *  with `size` bytes, or none for 0. */
VELOX_API pask_status pask_string_accum_create(pask_string_accum** acc, void* storage, uint32_t size);
/** Frees what came from the heap; null gives 0. Required for records in the caller's storage too. */
VELOX_API pask_status pask_string_accum_delete(pask_string_accum* acc);

/* ---- Appending --------------------------------------------------------------------------------------------------- */
/* text_out, which may be null, receives the buffer on success, borrowed: it is valid until the next change. Null text
 * appends nothing and gives 0. The source may lie in the accumulator's own text. */

/** Appends a terminated text. */
VELOX_API pask_status pask_string_accum_append(pask_string_accum* acc, const char* s, const char** text_out);
/** Appends another's text by its length, zero bytes included. An accumulator appended to itself doubles its text. */
VELOX_API pask_status pask_string_accum_append_accum(pask_string_accum* acc, const pask_string_accum* other,
                                                     const char** text_out);
/** Appends the first n characters, or those in front of the terminator or an invalid sequence. With n of 0 it returns 0
 *  and leaves text_out alone. */
VELOX_API pask_status pask_string_accum_append_chars(pask_string_accum* acc, const char* s, uint32_t n,
                                                     const char** text_out);
/** Appends n bytes, whatever they are. With n of 0 it returns 0 and leaves text_out alone. */
VELOX_API pask_status pask_string_accum_append_bytes(pask_string_accum* acc, const void* bytes, uint32_t n,
                                                     const char** text_out);
/** Formats behind the text, in the language of pask_format.h. Null format does nothing. Refused memory shortens the
 *  text and is no failure. Neither the format nor a text argument may lie in the accumulator's own text. */
VELOX_API pask_status pask_string_accum_append_format(pask_string_accum* acc, const char* format, ...);
VELOX_API pask_status pask_string_accum_append_vformat(pask_string_accum* acc, const char* format, va_list args);

/* ---- Reading ----------------------------------------------------------------------------------------------------- */

/** Gives the length plus 1, or 0 for an empty text. A null size is 0x90050001. */
VELOX_API pask_status pask_string_accum_bytelen(const pask_string_accum* acc, uint32_t* size);
/** Gives the buffer, borrowed until the next change, null when there is none; and the size as above. Either may be
 *  null. */
VELOX_API pask_status pask_string_accum_get_string(const pask_string_accum* acc, const char** text, uint32_t* size);

/* ---- Changing ---------------------------------------------------------------------------------------------------- */

/** Hands the text over: a heap string of its own, an empty one for an empty text, which the caller frees with
 *  pask_string_free. `size`, which may be null, receives the size as above; a null text is 0x90050001. The accumulator
 *  is then empty, without a buffer, and takes new text. */
VELOX_API pask_status pask_string_accum_detach(pask_string_accum* acc, char** text, uint32_t* size);
/** Takes out bytes from `start` on, as far as there are any; `removed`, which may be null, receives how many. */
VELOX_API pask_status pask_string_accum_remove_range(pask_string_accum* acc, uint32_t start, uint32_t count,
                                                     uint32_t* removed);
/** Empties the text; the buffer stays. */
VELOX_API pask_status pask_string_accum_clear(pask_string_accum* acc);
/** Empties the text, then appends s. */
VELOX_API pask_status pask_string_accum_set(pask_string_accum* acc, const char* s);
/** Empties the text, then formats as append_format. */
VELOX_API pask_status pask_string_accum_set_format(pask_string_accum* acc, const char* format, ...);

VELOX_END_DECLS

#endif
