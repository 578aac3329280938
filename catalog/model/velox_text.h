/* Text from strangers, one code point at a time: tags, file names and messages may hold anything, and what is kept of it and what
 * a terminal is given follow from this one table. Everything here is inline, keeps no state and may be called from any thread. */
#ifndef VELOX_TEXT_H
#define VELOX_TEXT_H

#include <stddef.h>
#include <stdint.h>

/** What velox_text_decode() gives for a byte that begins no code point of UTF-8. */
#define VELOX_TEXT_INVALID UINT32_C(0xffffffff)

/** Reads the first code point of a text.
 *  text, size  the text, which needs no end mark; at least one byte
 *  length      out: the bytes that the code point takes, 1 to 4; 1 with VELOX_TEXT_INVALID
 *  Overlong forms, surrogates and what lies above U+10FFFF are invalid, as is a sequence that the text cuts off. */
static inline uint32_t velox_text_decode(const char* text, size_t size, size_t* length) {
  static const uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const unsigned char* const bytes = (const unsigned char*)text;
  const uint32_t lead = bytes[0];
  size_t i, wanted;
  uint32_t code;
  *length = 1;
  if (lead < 0x80) return lead;
  if (lead < 0xc2 || lead > 0xf4) return VELOX_TEXT_INVALID;

  wanted = lead < 0xe0 ? 2u : lead < 0xf0 ? 3u : 4u;
  if (wanted > size) return VELOX_TEXT_INVALID;
  code = lead & (0x7fu >> wanted);
  for (i = 1; i < wanted; ++i) {
    if ((bytes[i] & 0xc0u) != 0x80u) return VELOX_TEXT_INVALID;
    code = code << 6 | (bytes[i] & 0x3fu);
  }
  if (code < smallest[wanted] || code > 0x10ffff || (code >= 0xd800 && code < 0xe000)) return VELOX_TEXT_INVALID;
  *length = wanted;
  return code;
}

/** Writes a code point up to U+10FFFF; returns the bytes written, 1 to 4, without an end mark. */
static inline size_t velox_text_encode(uint32_t code, char to[4]) {
  const size_t length = code < 0x80 ? 1u : code < 0x800 ? 2u : code < 0x10000 ? 3u : 4u;
  size_t i;
  for (i = length; i-- > 1; code >>= 6) to[i] = (char)(unsigned char)(0x80u | (code & 0x3fu));
  to[0] = (char)(unsigned char)(length == 1 ? code : code | (0xf00u >> length & 0xffu));
  return length;
}

/** What a code point is to whoever shows it. */
typedef enum velox_text_class {
  VELOX_TEXT_SHOWN,  /* stands for itself */
  VELOX_TEXT_BLANK,  /* the blank, a tab, an end of a line */
  VELOX_TEXT_JOINER, /* U+200C and U+200D: part of a word in Persian and the scripts of India, and of an emoji */
  VELOX_TEXT_ACTING  /* isn't shown, but acts on a terminal or on the text around it: controls, direction marks, ... */
} velox_text_class;

static inline velox_text_class velox_text_class_of(uint32_t code) {
  static const struct {
    uint32_t first, last;
  } acting[] = {
      {0x7f, 0x9f},     {0xad, 0xad},       /* delete and the upper controls, the soft hyphen */
      {0x61c, 0x61c},   {0x200b, 0x200b},   /* a direction mark, the blank without a width */
      {0x200e, 0x200f}, {0x2028, 0x202e},   /* direction marks, separators, embeddings and overrides */
      {0x2060, 0x206f}, {0xfeff, 0xfeff},   /* invisible operators, isolates, the byte order mark */
      {0xfff9, 0xfffb}, {0xe0000, 0xe0fff}, /* annotations, tags */
      {0x110000, ~0u}                       /* no code point */
  };
  size_t i;
  if (code < 0x7f) {
    if (code > 0x20) return VELOX_TEXT_SHOWN;
    return code == ' ' || code == '\t' || code == '\n' || code == '\r' ? VELOX_TEXT_BLANK : VELOX_TEXT_ACTING;
  }
  if (code == 0x200c || code == 0x200d) return VELOX_TEXT_JOINER;
  for (i = 0; i < sizeof acting / sizeof *acting && code >= acting[i].first; ++i)
    if (code <= acting[i].last) return VELOX_TEXT_ACTING;
  return VELOX_TEXT_SHOWN;
}

#endif
