/* Numbers to decimal text and text to numbers: the rules by which option values are read.
 *
 * Nothing here allocates, holds state or gives a status word: bad input gives the value told here. For any thread. errno and
 * the locale's white space are libc's, in the strto and integer ato forms. */
#ifndef PASK_NUMBER_H
#define PASK_NUMBER_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define PASK_NUMBER_BYTES 21u /* holds every 64-bit number, sign and terminator included */

/** Writes the value in decimal into the size bytes at buf, terminator included, and returns buf. What doesn't fit is left away
 *  from the front, the minus sign first: the lowest digits stay, and nothing tells of it. buf null or size 0: nothing is
 *  written. */
VELOX_API char* pask_string_i64toa(int64_t value, char* buf, uint32_t size);
VELOX_API char* pask_string_i32toa(int32_t value, char* buf, uint32_t size);
VELOX_API char* pask_string_u64toa(uint64_t value, char* buf, uint32_t size);
VELOX_API char* pask_string_u32toa(uint32_t value, char* buf, uint32_t size);

/** libc's strtol, strtoll, strtoul and strtoull. */
VELOX_API long pask_string_strtol(const char* str, char** end, int base);
VELOX_API long long pask_string_strtoll(const char* str, char** end, int base);
VELOX_API unsigned long pask_string_strtoul(const char* str, char** end, int base);
VELOX_API unsigned long long pask_string_strtoull(const char* str, char** end, int base);

/** The decimal number at the beginning of s, behind white space and a sign, as libc reads it; 0 for null and where there is
 *  none. Out of range it is the limit of the type, 32 or 64 bits on every target. The unsigned forms negate behind a "-". */
VELOX_API int32_t pask_string_atoi32(const char* s);
VELOX_API int64_t pask_string_atoi64(const char* s);
VELOX_API uint32_t pask_string_atou32(const char* s);
VELOX_API uint64_t pask_string_atou64(const char* s);

/** 1 for "y", "yes", "true" and "on" in any ASCII case, for what begins with 1 to 9, and for what begins with 0 and isn't 0 as
 *  pask_string_atou32() reads it; 0 for all else and for null. */
VELOX_API uint8_t pask_string_atobool(const char* s);
/** 1 for "0", "1", and "true" and "false" in any ASCII case; 0 for all else and for null. */
VELOX_API uint8_t pask_string_isbool(const char* s);

/** The number at the beginning of s: bytes up to 32 skipped, a sign, digits, "." and digits, "e" or "E" with a sign and
 *  digits; every part may be missing, and the first byte that doesn't fit ends it. A plain accumulation: each digit multiplies by
 *  10.0 and adds; the exponent, kept in 32 bits, multiplies by 10.0 or by 0.1 once for each step. No correct rounding, no inf,
 *  nan or hexadecimal. Null and text without a number: 0.0, behind a "-" -0.0. Beyond the range: infinite, or zero. */
VELOX_API double pask_string_atof64(const char* s);

VELOX_END_DECLS

#endif
