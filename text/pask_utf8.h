/* The codec: UTF-8 of one to three bytes a character, and UCS-2.
 *
 * A character is a code point below 0x10000. Decoding checks the form of a sequence and nothing else: a lead byte 0xxxxxxx,
 * 110xxxxx or 1110xxxx and as many bytes 10xxxxxx as it asks for. So overlong forms (0xC0 0x80 is 0), surrogates and
 * non-characters decode; four-byte sequences don't. UCS-2 text is 16-bit units in host order, ended by a zero unit; its sizes are
 * in bytes.
 *
 * Status words: 0x900503a0 invalid sequence, 0x90050008 no room, 0x900503a1 odd number of bytes of UCS-2, 0x90050002 no
 * memory. Nothing is logged. Pure functions of their arguments, for any thread. Arguments must not be null but where it is
 * said. */
#ifndef PASK_UTF8_H
#define PASK_UTF8_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define PASK_UTF8_NO_LIMIT 0xffffffffu /* for max_chars */

/** By the number of bytes less one: the fixed bits of a lead byte, and the mask of its payload bits. */
extern VELOX_API const uint8_t utfmarktab[3];
extern VELOX_API const uint8_t utflmasktab[3];

/** 2 or 3 in *size for the lead byte at p of a longer sequence. 0x900503a0 for every other byte, those below 0x80 included,
 *  which callers deal with first. */
VELOX_API pask_status _utf8_get_next_char_size(const char* p, uint32_t* size);
/** Decodes at *pp into *c and moves *pp behind the character. At the terminator that gives 0 and moves too. 0x900503a0:
 *  invalid, nothing changed; nothing behind a terminator is read. */
VELOX_API pask_status _utf8_get_next_char(const char** pp, uint32_t* c);
/** Decodes the character that ends at *pp into *c and moves *pp to its start, found up to three bytes back: those in front of
 *  *pp must belong to the string. 0x900503a0: invalid, nothing changed. */
VELOX_API pask_status _utf8_get_prev_char(const char** pp, uint32_t* c);
/** Encodes c at dst, without a terminator but always leaving at least one of the room bytes for it. *written, which may be
 *  null, gets the bytes. 0x90050008: no room, nothing written. A c of 0x10000 and up takes 4 to 6 bytes of the same scheme, which
 *  don't decode here. */
VELOX_API pask_status _utf8_set_next_char(char* dst, uint32_t room, uint32_t c, uint32_t* written);

/** Compares at most max_chars characters of a and b. *diff gets the difference of the first two that differ (both as lower-case
 *  ASCII unless the flag exact is set); else, with the limit not reached, 1 when a goes on, -1 when b does; else 0. *count gets
 *  the characters that match, *a_end and *b_end the positions behind the last ones read. 0x900503a0: the comparison met an
 *  invalid sequence, where it ended without a difference and that text's position stands; the rule for a text going on applies.
 *  Every out-parameter may be null; all are written, whatever the status. */
VELOX_API pask_status _pask_string_utf8_compare(const char* a, const char* b, uint32_t max_chars, uint32_t exact,
                                                int32_t* diff, uint32_t* count, const char** a_end, const char** b_end);
/** Copies at most max_chars characters of src into the size bytes at dst, whole characters only, and terminates them; a
 *  size of 0 still gets the terminator. A character's bytes are counted by its lead byte and not looked at, but for a
 *  terminator. 0x900503a0: an invalid lead byte, or a character that the terminator cuts, ended the copy. The two must not
 *  overlap. */
VELOX_API pask_status _pask_string_utf8_copy(char* dst, uint32_t size, const char* src, uint32_t max_chars);

/** Converts src_bytes bytes, zero bytes like others, to units at dst, which must hold 2 bytes for each character (at most
 *  2 * src_bytes). No terminator is added. *written gets the bytes at dst, also on failure. With the flag swap the two bytes of
 *  each unit change places. 0x900503a0. */
VELOX_API pask_status pask_string_utf8_to_ucs2_buf(const char* src, uint32_t src_bytes, uint16_t* dst,
                                                   uint32_t* written, uint32_t swap);
/** Converts src_bytes bytes of units, zero units like others and each by itself, to UTF-8 at dst. *size: in, the room, of which
 *  one byte always stays free; out, the bytes written, also on failure. No terminator is added. swap: the units of src are in
 *  the other order. 0x900503a1; 0x90050008. */
VELOX_API pask_status pask_string_ucs2_to_utf8_buf(const uint16_t* src, uint32_t src_bytes, char* dst, uint32_t* size,
                                                   uint32_t swap);
/** The same for a whole text, into a terminated block of the memory service in *result; the caller gives it to
 *  pask_string_free(). A null src gives an empty text. On failure *result stays. 0x90050002; the words of the forms above. */
VELOX_API pask_status pask_string_utf8_to_ucs2(const char* src, uint16_t** result, uint32_t swap);
VELOX_API pask_status pask_string_ucs2_to_utf8(const uint16_t* src, char** result, uint32_t swap);

/** Bytes of UCS-2 text with the terminator; units without it. Null: 0. */
VELOX_API uint32_t pask_string_bytelen_uni(const uint16_t* s);
VELOX_API uint32_t pask_string_charlen_uni(const uint16_t* s);

VELOX_END_DECLS

#endif
