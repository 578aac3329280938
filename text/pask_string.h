/* Strings: comparison, copying, duplication, lengths, characters, searching, changing text in place.
 *
 * A string is a pointer to bytes that end in a zero byte. Its text is UTF-8 of one to three bytes a character
 * (pask_utf8.h tells exactly what decodes); a character is a decoded code point in a uint32_t. What an operation counts in
 * is told each time:
 *
 *   bytes        the operation doesn't decode, and takes any bytes but the terminator
 *   characters   the operation decodes; an invalid sequence ends it, as told
 *
 * Sizes of a destination are in bytes and include the terminator. The n of strncpy, strncat, strndup, strncmp and strnicmp
 * is in characters. A position is a pointer into the string that was given; as in libc, it may be written through if that
 * string may. A flag is off at 0 and on at anything else. Nothing depends on what lies behind a terminator or
 * behind what a limit in bytes or characters asks for, and no page that begins there is touched.
 *
 * Nothing here holds state, needs the module to be started or reports a failure: bad input gives the result told here. The
 * operations may be called from any thread; a text that one thread changes must not be used by another meanwhile. */
#ifndef PASK_STRING_H
#define PASK_STRING_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/* --- Comparison. "Same" is the same address, two nulls included. Case is ignored for the 26 ASCII letters only. */

/** 1 when both have the same bytes, else 0. Same: 1; one null: 0. */
VELOX_API uint8_t pask_string_equal(const char* a, const char* b, uint32_t ignore_case);
/** 1 when s begins with the bytes of prefix, else 0. Null s or prefix: 0; an empty prefix: 0, even of itself. */
VELOX_API uint8_t pask_string_startswith(const char* s, const char* prefix, uint32_t ignore_case);

/** -1, 0 or 1: the order of a and b. Same: 0; else a null: -1, b null: 1.
 *  strcmp compares unsigned bytes. The others compare characters by code point, letters as lower case in the two "i" forms;
 *  where one text ends first it comes first; strncmp and strnicmp look at no more than n characters. An invalid sequence
 *  ends the comparison; both texts going on there, a counts as the greater. */
VELOX_API int16_t pask_string_strcmp(const char* a, const char* b);
VELOX_API int16_t pask_string_stricmp(const char* a, const char* b);
VELOX_API int16_t pask_string_strncmp(const char* a, const char* b, uint32_t n);
VELOX_API int16_t pask_string_strnicmp(const char* a, const char* b, uint32_t n);

/** The number of leading characters that match, exactly or with ASCII case ignored. a_end and b_end, each of which may be
 *  null, get the positions behind the last character that was read, a differing one included. Null a or b: 0, nothing stored.
 *  Same: the characters of a, both ends at the terminator. */
VELOX_API uint32_t pask_string_strcmp_len(const char* a, const char* b, const char** a_end, const char** b_end);
VELOX_API uint32_t pask_string_stricmp_len(const char* a, const char* b, const char** a_end, const char** b_end);

/* --- Copying and joining. Whole characters only, always terminated when anything is written; what doesn't fit is left
 *     away. An invalid lead byte in src ends the copy. Returns dst. dst or src null, or a size of 0: nothing is written. The two
 *     texts must not overlap. */

/** Copies src, or at most its first n characters, into the size bytes at dst. */
VELOX_API char* pask_string_strcpy(char* dst, uint32_t size, const char* src);
VELOX_API char* pask_string_strncpy(char* dst, uint32_t size, const char* src, uint32_t n);
/** Appends src, or at most its first n characters, to the text in the size bytes at dst. A dst without a terminator in its
 *  size bytes is left alone. */
VELOX_API char* pask_string_strcat(char* dst, uint32_t size, const char* src);
VELOX_API char* pask_string_strncat(char* dst, uint32_t size, const char* src, uint32_t n);

/* --- Duplication. The result comes from the memory service and belongs to the caller, who gives it to pask_string_free().
 *     Null when memory is refused. Each form ending in 2 stores the string in *out and returns 0, or returns 0x90050002 and
 *     leaves *out alone wherever the plain form gives null. */

/** All bytes of s, unchecked; null for null. */
VELOX_API char* pask_string_strdup(const char* s);
VELOX_API pask_status pask_string_strdup2(const char* s, char** out);
/** At most the first n characters of s, as pask_string_strncpy() copies them; null for null. The block holds the bytes of s with
 *  its terminator, or 4 * n, whichever is less, and one more: s is looked at so far. */
VELOX_API char* pask_string_strndup(const char* s, uint32_t n);
VELOX_API pask_status pask_string_strndup2(const char* s, uint32_t n, char** out);
/** A block of size bytes: up to size - 1 bytes of s, then the byte fill, then one terminator as the last byte. Null for a
 *  null s and for a size of 0. May cut a character. */
VELOX_API char* pask_string_strdupn(const char* s, uint32_t size, uint8_t fill);
VELOX_API pask_status pask_string_strdupn2(const char* s, uint32_t size, uint8_t fill, char** out);
/** The first word of s: behind leading characters up to 32, in front of the next such character or of an invalid
 *  sequence. Null for null and where there is no word. */
VELOX_API char* pask_string_worddup(const char* s);
VELOX_API pask_status pask_string_worddup2(const char* s, char** out);
/** Gives a string back to the memory service; null is ignored. */
VELOX_API void pask_string_free(char* s);

/* --- Lengths and tests. Lengths of null are 0. Texts from 4 GB up have the highest one. */

/** Bytes of s with the terminator; the second counts and reads at most n. */
VELOX_API uint32_t pask_string_bytelen(const char* s);
VELOX_API uint32_t pask_string_bytenlen(const char* s, uint32_t n);
/** Bytes of s without the terminator; the second counts and reads at most n. */
VELOX_API uint32_t pask_string_bytelen_nonull(const char* s);
VELOX_API uint32_t pask_string_bytenlen_nonull(const char* s, uint32_t n);
/** Bytes that the first n characters of s take, up to the terminator or an invalid sequence. */
VELOX_API uint32_t pask_string_byteclen(const char* s, uint32_t n);
/** Characters of s, without the terminator; the second, whole characters within the first maxbytes bytes. An invalid sequence
 *  counts as one and ends the count. */
VELOX_API uint32_t pask_string_charlen(const char* s);
VELOX_API uint32_t pask_string_charnlen(const char* s, uint32_t maxbytes);
/** 1 for null, for an empty s, and where the first character is invalid or decodes to 0; else 0. */
VELOX_API uint8_t pask_string_isempty(const char* s);
/** 1 when every character of s decodes, and for null; else 0. */
VELOX_API uint8_t pask_string_isvalid(const char* s);

/* --- Stepping through characters. */

/** The character at *pp; *pp moves behind it and *size, which may be null, gets its bytes. 0 and nothing changed when pp or *pp
 *  is null or the sequence is invalid. At the terminator 0 too, but *pp moves behind it: stop at a result of 0. */
VELOX_API uint32_t pask_string_charnext(const char** pp, uint32_t* size);
/** The character in front of *pp; *pp moves back to its start. *size, which may be null, gets the bytes stepped over, 0
 *  where the result is 0 for want of a character. s is the start of the string, in front of which nothing is read. Null *pp:
 *  begins at the terminator of s. 0: null pp; null or empty s, *pp then becomes s; *pp at or before s; an invalid sequence, *pp
 *  then stays. */
VELOX_API uint32_t pask_string_charprev(const char* s, const char** pp, uint32_t* size);
/** Encodes c at dst without a terminator, when it leaves at least one of the size bytes free, and returns dst. *written,
 *  which may be null, gets the bytes written, 0 when it doesn't fit. Null dst: null, nothing stored. */
VELOX_API char* pask_string_setchar(char* dst, uint32_t size, uint32_t c, uint32_t* written);
/** The bytes of the character at s by its lead byte alone: 1, 2 or 3, and 1 for an invalid lead byte. Null: 0. */
VELOX_API uint32_t pask_string_nextcharsize(const char* s);

/* --- Searching. Texts are walked by characters up to the first invalid sequence; null where nothing is found and for null
 *     arguments. */

/** The first, or last, character of s equal to c; strnchr wants it to end within the first maxbytes bytes. Null for
 *  a c of 0 in strchr and strnchr. */
VELOX_API char* pask_string_strchr(const char* s, uint32_t c);
VELOX_API char* pask_string_strnchr(const char* s, uint32_t c, uint32_t maxbytes);
VELOX_API char* pask_string_strrchr(const char* s, uint32_t c);
/** The number of leading bytes of s, of the first n at most, that aren't in reject. By bytes. Null: 0. */
VELOX_API uint32_t pask_string_strcspn(const char* s, const char* reject);
VELOX_API uint32_t pask_string_strcnspn(const char* s, const char* reject, uint32_t n);
/** The first occurrence of needle. An empty needle (pask_string_isempty()) is found at once. */
VELOX_API char* pask_string_strstr(const char* haystack, const char* needle);
/** The position just behind the *first* occurrence of needle; null for an empty needle. */
VELOX_API char* pask_string_strrstr(const char* haystack, const char* needle);
/** The first occurrence of needle, exact or with ASCII case ignored. end and chars, each of which may be null, get the
 *  position behind it and the characters matched; null and 0 where nothing is found or needle is empty. Ignoring case, the first
 *  character also has to agree under pask_string_char_tolower(). The last form is the routine behind all. */
VELOX_API char* pask_string_substring(const char* haystack, const char* needle, const char** end, uint32_t* chars);
VELOX_API char* pask_string_subistring(const char* haystack, const char* needle, const char** end, uint32_t* chars);
VELOX_API char* _pask_string_substring(const char* haystack, const char* needle, const char** end, uint32_t* chars,
                                       uint32_t exact);
/** Takes one token a call from s and, with a null s, from where *save stands; the delimiter behind it becomes a
 *  terminator. The bytes of the text are looked up among the characters of delimiters, so only ASCII ones work as such; leading
 *  ones are skipped. *found gets the delimiter that ended the token, 0 at the end of the text. Null with *found 0 and *save
 *  null when no token is left; null with nothing stored when s is null and save or *save is. save and found may be null. */
VELOX_API char* pask_string_strtok(char* s, const char* delimiters, char** save, uint8_t* found);
/** Matches the pattern_bytes bytes at pattern, up to a terminator among them, against the beginning of text and returns the
 *  bytes of text that it takes, or -1. By bytes, case ignored through pask_string_char_tolower(). Elements:
 *    |   separates alternatives; the first that takes more than 0 bytes is the answer, else the last one's result
 *    ?   any one byte           *   bytes up to the next "/" or the end        **  bytes up to the end
 *    $   the end of text; the rest of the pattern isn't looked at
 *  Stars take as much as they can. An empty pattern gives 0; a null pattern counts as empty, a null text as "".
 *  Takes at most a step for each pair of a byte of the pattern and one of the text. A star behind the first 256 bytes of the pattern
 *  takes a block of the memory service; refused: -1. */
VELOX_API int32_t pask_string_match_prefix(const char* pattern, uint32_t pattern_bytes, const char* text);

/* --- Changing text in place. Null is ignored. */

/** Reverses the order of the characters and returns s. An invalid or cut lead byte, or refused memory (wanted from 256 bytes
 *  of text up), leaves s as it was. */
VELOX_API char* pask_string_reverse(char* s);
/** Removes leading and trailing bytes below 33. */
VELOX_API void pask_string_trim(char* s);
/** Maps the ASCII letters; other bytes stay. */
VELOX_API void pask_string_tolower(char* s);
VELOX_API void pask_string_toupper(char* s);
/** Writes at most n bytes of src, mapped, to dst, and a terminator behind them, so that dst must hold n + 1 bytes. Returns
 *  dst. src or dst null, or n of 0: writes nothing. dst may be src. */
VELOX_API char* pask_string_tolower_buf(const char* src, char* dst, uint32_t n);
VELOX_API char* pask_string_toupper_buf(const char* src, char* dst, uint32_t n);

/* --- Single characters. 1 or 0, ASCII only. */

VELOX_API uint8_t pask_string_isalpha(uint32_t c);
VELOX_API uint8_t pask_string_isdigit(uint32_t c);
VELOX_API uint8_t pask_string_isalnum(uint32_t c);
VELOX_API uint8_t pask_string_isspace(uint32_t c); /* 32, and 9 to 13 */
VELOX_API uint8_t pask_string_isxdigit(uint32_t c);
VELOX_API uint8_t pask_string_isprint(uint32_t c); /* 32 to 126 */
VELOX_API uint8_t pask_string_islower(uint32_t c);
VELOX_API uint8_t pask_string_isupper(uint32_t c);
/** For c from -128 to 254 the entry of the calling thread's locale (as libc's tolower and toupper), else c. */
VELOX_API uint32_t pask_string_char_tolower(uint32_t c);
VELOX_API uint32_t pask_string_char_toupper(uint32_t c);

VELOX_END_DECLS

#endif
