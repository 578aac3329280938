// Appending without a call while the buffer has room: shared by the accumulator's operations and the format engine, who
// have checked that the accumulator isn't null.
#pragma once

#include <string.h>

#include "pask_string_accum.h"

// Makes room for `needed` bytes, text and terminator: twice as many when the buffer is too small.
uint32_t _pask_string_accum_resize(pask_string_accum* acc, uint32_t needed);

// Appends after a growth, or fails; the source may move with the buffer.
uint32_t accum_append_grown(pask_string_accum* acc, const char* bytes, size_t n);

// True when n more bytes and the terminator fit as it is.
inline bool accum_has_room(const pask_string_accum* acc, size_t n) { return acc->capacity - acc->length > n; }

// Moves n bytes as two words that may overlap, n being one to two words.
template <typename Word>
void move_ends(char* to, const char* from, size_t n) {
  Word head, tail;
  memcpy(&head, from, sizeof head);
  memcpy(&tail, from + n - sizeof tail, sizeof tail);
  memcpy(to, &head, sizeof head);
  memcpy(to + n - sizeof tail, &tail, sizeof tail);
}

// memmove, without the call for the few bytes that most pieces of a text have.
inline void move_bytes(char* to, const char* from, size_t n) {
  if (n > 16)
    memmove(to, from, n);
  else if (n >= 8)
    move_ends<uint64_t>(to, from, n);
  else if (n >= 4)
    move_ends<uint32_t>(to, from, n);
  else if (n >= 2)
    move_ends<uint16_t>(to, from, n);
  else if (n == 1)
    *to = *from;
}

inline void accum_put(pask_string_accum* acc, const char* bytes, size_t n) {
  char* end = acc->text + acc->length;
  move_bytes(end, bytes, n);
  end[n] = 0;
  acc->length += static_cast<uint32_t>(n);
}

inline uint32_t accum_append(pask_string_accum* acc, const char* bytes, size_t n) {
  if (!accum_has_room(acc, n)) [[unlikely]]
    return accum_append_grown(acc, bytes, n);
  accum_put(acc, bytes, n);
  return 0;
}

// A record and `Room` bytes of text in one block on the stack, laid out as pask_string_accum_create lays them, but
// without zeroing a block that nobody else sees.
template <uint32_t Room>
struct stack_accum {
  pask_string_accum record;
  char room[Room];

  stack_accum() : record{room, 0, Room, 0, 0} { room[0] = 0; }
  stack_accum(const stack_accum&) = delete;
  stack_accum& operator=(const stack_accum&) = delete;
  ~stack_accum() {
    if (record.owns_text) pask_string_accum_delete(&record);
  }
};
