/* Clocks, dates in one word, ISO 8601 text to numbers, and instants and spans to text.
 *
 * Times are unsigned and of 64 bits: seconds, milliseconds ("ms") or microseconds ("us") since 1970, with years far beyond
 * 2038 on every target. Texts are zero-terminated; buffer sizes are in bytes and count the terminator.
 *
 * Status words, out-parameters being written on success only:
 *   0x901c0001  a null argument, a value out of range, or a time that libc can't break down
 *   0x901c0007  the module isn't started (pask_time_get_current() alone)
 *   0x901c0009  strftime() gave no text: the buffer is too small, or the text would be empty; the buffer's bytes are undefined
 * Nothing is logged. There is no state: any thread may call at any time; the local time zone is libc's. */
#ifndef PASK_TIME_H
#define PASK_TIME_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define PASK_TIME_ERR_INVALID_ARG 0x901c0001u
#define PASK_TIME_ERR_NOT_INITED  0x901c0007u
#define PASK_TIME_ERR_NO_TEXT     0x901c0009u

/* ---- A date in a word ----------------------------------------------------------------------------------------------
 * From the highest bit down: 12 bits of year, 4 of month (0 is January), 5 of day (0 is the first), 5 of hour, 6 of minute.
 * Words order as their dates do. The day isn't held against the length of its month. The year counts elapsed years,
 * so that the calendar year 1970 is 1969, and a leap day counts from the year after its own. */

typedef uint32_t pask_vxtime;

/** Packs the fields, each counted as told above. 0x901c0001: year above 4095, month above 11, day above 30, hour above 23 or
 *  minute above 59. */
VELOX_API pask_status pask_time_vxtime_create(uint32_t year, uint32_t month, uint32_t day, uint32_t hour,
                                              uint32_t minute, pask_vxtime* time);
/** The date that lies so many seconds behind the word 0; a begun minute is dropped. 0x901c0001: the year is above 4095. */
VELOX_API pask_status pask_time_vxtime_create_from_seconds(uint64_t seconds, pask_vxtime* time);
/** The seconds from a to b, as two's complement where b is the earlier. */
VELOX_API pask_status pask_time_vxtime_delta(pask_vxtime a, pask_vxtime b, uint64_t* seconds);
/** The date so many seconds later; a two's complement goes back. */
VELOX_API pask_status pask_time_vxtime_add(pask_vxtime time, uint64_t seconds, pask_vxtime* sum);
/** The local date and time now. The year is the calendar's own here: one above that of the same date read from text. */
VELOX_API pask_status pask_time_vxtime_current(pask_vxtime* time);

/* ---- ISO 8601 text -------------------------------------------------------------------------------------------------
 * YYYY-MM-DDTHH:MM:SS, numbers as pask_string_atou32() reads them, each from behind the first separator that follows the one
 * before. Whatever stands behind the seconds is ignored, a zone too. 0x901c0001: no text, a separator missing or at the end,
 * or a field that pask_time_vxtime_create() refuses; seconds may be any number. The leap day rule of the words holds: 29
 * February and 1 March of a leap year are the same number, and the rest of that year lies one day low. */

/** Seconds since 1970. */
VELOX_API pask_status pask_time_iso8601_to_epoch(const char* text, uint64_t* seconds);
/** Microseconds since 1970, with the fraction behind the first "," or else "." that follows the seconds. All bytes to
 *  the end of the text count as its digits: ".5" is 500000, ".5Z" is 50000; digits behind the sixth are dropped. */
VELOX_API pask_status pask_time_iso8601_to_epoch_us(const char* text, uint64_t* us);

/* ---- Clocks. The wall clock, which can be set back. */

/** Microseconds since 1970; 0 if the clock fails. */
VELOX_API uint64_t pask_time_get_microseconds(void);
/** The same, rounded to the nearest millisecond; to the nearest second. */
VELOX_API uint64_t pask_time_get_milliseconds(void);
VELOX_API uint64_t pask_time_get_seconds(void);
/** A tick is a microsecond. */
VELOX_API uint64_t pask_time_get_ticks(void);

/* ---- Instants as text. Formats are strftime()'s. */

/** The local time now. 0x901c0001 also for a size of 0. */
VELOX_API pask_status pask_time_get_current(const char* format, char* buffer, uint32_t size);

/** An instant, local if the flag isn't 0, else UTC. Behind strftime()'s text follows, as far as it fits the buffer:
 *    "%Y-%m-%dT%H:%M:%S"         ".", milliseconds of at least two digits; "Z", or the local offset as +hh:mm
 *    "%a, %d %b %Y %H:%M:%S"     ".", milliseconds of at least three digits; " GMT" unless local
 *    any other format            ".", milliseconds of at least three digits
 *  pask_time_format_s() leaves the milliseconds and their "." away. They are rounded, to 1000 too, which doesn't carry.
 *  The format "s.u" stands for the number itself: seconds, ".", six digits; cut to the buffer, always 0.
 *  pask_time_format_ms() and _s() multiply to microseconds in 64 bits. */
VELOX_API pask_status pask_time_format_us(uint64_t us, uint32_t use_local_time, const char* format, char* buffer,
                                          uint32_t size);
VELOX_API pask_status pask_time_format_ms(uint64_t ms, uint32_t use_local_time, const char* format, char* buffer,
                                          uint32_t size);
VELOX_API pask_status pask_time_format_s(uint64_t s, uint32_t use_local_time, const char* format, char* buffer,
                                         uint32_t size);

/* ---- Spans as text, 0 where the end lies before the start. Cut to the buffer; always 0; a null buffer is left alone. */

/** "H:MM:SS.mmm"; hours don't wrap. */
VELOX_API pask_status pask_time_format_ms_elapsed(uint64_t start, uint64_t end, char* buffer, uint32_t size);
/** "N days HH:MM:SS", and "1 day HH:MM:SS". */
VELOX_API pask_status pask_time_format_s_elapsed(uint64_t start, uint64_t end, char* buffer, uint32_t size);

VELOX_END_DECLS

#endif
