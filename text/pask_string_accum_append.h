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

// memmove, without the call for the few bytes that most pieces of a text have.
inline void move_bytes(char* to, const char* from, size_t n) {
  if (n > 16) {
    memmove(to, from, n);
  } else if (n >= 8) {
    uint64_t head, tail;
    memcpy(&head, from, 8);
    memcpy(&tail, from + n - 8, 8);
    memcpy(to, &head, 8);
    memcpy(to + n - 8, &tail, 8);
  } else if (n >= 4) {
    uint32_t head, tail;
    memcpy(&head, from, 4);
    memcpy(&tail, from + n - 4, 4);
    memcpy(to, &head, 4);
    memcpy(to + n - 4, &tail, 4);
  } else if (n > 0) {
    const char first = from[0], middle = from[n / 2], last = from[n - 1];
    to[0] = first;
    to[n / 2] = middle;
    to[n - 1] = last;
  }
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

// A record and `Room` bytes of text in one block on the stack, laid out as pask_string_accum_create lays them, but without
// zeroing a block that nobody else sees.
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
