/* Formatted text. The one format engine behind every operation that takes a printf-like format.
 *
 * A conversion is "%", flags, width, precision, length and a letter.
 *
 *   flags      blank ! # + - 0, in any order and number
 *   width      digits, or "*": an int argument; a negative one sets "-" and counts by its absolute value
 *   precision  "." and digits (none: 0), or ".*": an int argument, by its absolute value. At most 310, but for s, w, N
 *   length     h hh l ll z. l is a long and z a size_t, so both have 32 bits on a 32-bit system
 *
 *   d i        signed. With z the value is taken as unsigned. h and hh cut the magnitude to 16 and 8 bits
 *   u o x X b  unsigned, base 10, 8, 16, 16, 2; no sign. "#" puts 0, 0x or 0X in front of a value other than 0
 *   p          a pointer in hexadecimal capitals; "#" puts 0x in front
 *   f F e E g G  a double, with at most 16 significant digits; zeros follow. "NaN", "Inf", "+Inf", "-Inf". "#" keeps
 *              the point, and with g the zeros at the end; "!" keeps one digit behind the point. Precision at most 165.
 *              The results are the same to the last bit on every system
 *   s          text, null prints "(null)". The precision limits its bytes; without one a width from "*" does the same
 *   w          the first word of a text, behind leading bytes 1 to 32, up to a byte of 32 or below; limits as for s,
 *              but with a width from "*" alone the text is cut there and may hold blanks
 *   c          a character, as UTF-8. With a precision: as many bytes, all but the first the low 8 bits of the argument
 *   %          "%"
 *   N          one zero byte; takes no argument
 *   n          prints nothing; stores the bytes that the accumulator holds through a pointer, to 32 bits or as the
 *              length says; null is skipped
 *
 * Every conversion is padded with blanks to its width, behind it with "-". "0" fills numbers with zeros to the width
 * instead: floats without "-", integers always, the prefix not counted. The width of numbers is at most 340. Any other
 * letter prints itself behind a "%". The format is UTF-8: an invalid sequence ends it, as the terminator does. A format
 * that ends inside a conversion prints a "%" for it. Since this language isn't quite C's, compilers aren't told to
 * check it.
 *
 * Refused memory shortens the text: what could not be appended is left out. Nothing is logged. Any thread may call. */
#ifndef PASK_FORMAT_H
#define PASK_FORMAT_H

#include "pask_string_accum.h"

VELOX_BEGIN_DECLS

/** Formats into dst of `size` bytes, terminator included: a text that doesn't fit is cut at a byte, and dst is
 *  terminated. A short text takes nothing from the heap.
 *  Returns  the length of the whole text plus 1, also when it was cut; 0 for an empty text, for a null format, which
 *           empties dst, and for a null dst or a size of 0, which writes nothing */
VELOX_API uint32_t pask_string_snprintf(char* dst, uint32_t size, const char* format, ...);
VELOX_API uint32_t pask_string_vsnprintf(char* dst, uint32_t size, const char* format, va_list args);

/** Gives the text as a new string, which the caller frees with pask_string_free; null for a null format and when memory
 *  is refused. */
VELOX_API char* pask_string_mprintf(const char* format, ...);
VELOX_API char* pask_string_vmprintf(const char* format, va_list args);

/** The same with the count: stores the new string in result and returns its bytes, terminator included, or 0 for an
 *  empty text. -1 and nothing stored when memory is refused or result is null. */
VELOX_API int32_t _pask_string_mvprintf(char** result, const char* format, va_list args);

/** The engine: formats behind the text of an accumulator. Always 0; null accumulator or format does nothing. */
VELOX_API pask_status _pask_string_printf(pask_string_accum* acc, const char* format, va_list args);

VELOX_END_DECLS

#endif
