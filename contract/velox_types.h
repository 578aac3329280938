/* The words that everything else is written in: the export mark, C linkage and the status word.
 *
 * A status word is 0 for success. With bit 31 set (high byte 0x90) it is an error; with the high byte 0x10 it is an
 * information word: no failure by itself, such as "not found" or "past the end". Bits 16 to 23 hold the package that
 * made the word, the low 16 bits a code. Test for success with `== 0`, for failure with velox_failed(). */
#ifndef VELOX_TYPES_H
#define VELOX_TYPES_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VELOX_API __attribute__((visibility("default")))
/* The text at argument `format` is printf-like and `first` is the first value behind it. */
#define VELOX_PRINTF(format, first) __attribute__((format(printf, format, first)))
#else
#define VELOX_API
#define VELOX_PRINTF(format, first)
#endif

#ifdef __cplusplus
#define VELOX_BEGIN_DECLS extern "C" {
#define VELOX_END_DECLS   }
#else
#define VELOX_BEGIN_DECLS
#define VELOX_END_DECLS
#endif

/** A status word, as told at the head of this file. */
typedef uint32_t pask_status;

/** 1 when the word tells of a failure, 0 for success and for an information word. */
static inline int velox_failed(pask_status word) { return (int)(word >> 31); }

/** The package number of a status word, 0 to 255. */
static inline uint32_t velox_status_package(pask_status word) { return (word >> 16) & 0xffu; }

/** The code of a status word, its low 16 bits. */
static inline uint32_t velox_status_code(pask_status word) { return word & 0xffffu; }

#endif
