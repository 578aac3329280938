// The sort behind pask_utils_qsort and the vectors' own, over anything that has elements by index.
//
// It promises its exact sequence of exchanges, and so the order of equal elements: quicksort with a Lomuto partition around the
// middle element, down to ranges of two. Only the order in which disjoint ranges are worked on is free.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

// A pending range of at least two elements, both ends inclusive.
struct sort_range {
  uint32_t low;
  uint32_t high;
};

constexpr uint32_t SORT_STACK_RANGES = 1024;
// Once the smaller part goes first, at most one range waits for each halving of a 32-bit count.
constexpr uint32_t SORT_HALVINGS = 32;

struct sort_stack {
  uint32_t count = 0;
  sort_range ranges[SORT_STACK_RANGES];
};

// ---- Exchanging elements

template <class Word>
void exchange_word(char* a, char* b) {
  Word x;
  Word y;
  memcpy(&x, a, sizeof(Word));
  memcpy(&y, b, sizeof(Word));
  memcpy(a, &y, sizeof(Word));
  memcpy(b, &x, sizeof(Word));
}

inline void exchange_bytes(char* a, char* b, uint32_t size) {
  constexpr uint32_t WORD = sizeof(uintptr_t);
  if (a == b) return;
  for (; size >= WORD; size -= WORD, a += WORD, b += WORD) exchange_word<uintptr_t>(a, b);
  for (; size > 0; --size) exchange_word<char>(a++, b++);
}

// ---- The sort
//
// An Array has is_below(i, j), which compares, exchange(i, j), and holds(i). A comparison may move the elements, so they are
// named by index, and may take some away: what doesn't hold the end of the range any more is left as it is.

// Brings the elements below the middle one to the front of the range, and the middle one behind them. False when the array
// has become too short; else its index is in `pivot`.
template <class Array>
bool sort_partition(Array& array, sort_range r, uint32_t* pivot) {
  array.exchange(r.low + (r.high - r.low) / 2, r.high);
  uint32_t store = r.low;
  for (uint32_t i = r.low; i != r.high; ++i) {
    const bool below = array.is_below(i, r.high);
    if (!array.holds(r.high)) [[unlikely]]
      return false;
    if (below) array.exchange(store++, i);
  }
  array.exchange(store, r.high);
  *pivot = store;
  return true;
}

// Pushes what is left on both sides of the pivot; a single element is in its place. The right part is taken first, unless
// the stack runs short: then the smaller one, which bounds the depth.
inline void sort_push_parts(sort_stack* stack, sort_range r, uint32_t pivot) {
  const bool has_left = pivot > r.low && pivot - r.low > 1;
  const bool has_right = pivot < r.high && r.high - pivot > 1;
  const sort_range left = {r.low, pivot - 1};
  const sort_range right = {pivot + 1, r.high};
  const bool short_of_room = stack->count >= SORT_STACK_RANGES - SORT_HALVINGS;
  const bool left_first = short_of_room && has_left && has_right && pivot - r.low < r.high - pivot;
  if (has_right && left_first) stack->ranges[stack->count++] = right;
  if (has_left) stack->ranges[stack->count++] = left;
  if (has_right && !left_first) stack->ranges[stack->count++] = right;
}

template <class Array>
void sort_elements(Array array, uint32_t count) {
  if (count < 2) return;
  sort_stack stack;
  stack.ranges[stack.count++] = {0, count - 1};
  while (stack.count > 0) {
    const sort_range r = stack.ranges[--stack.count];
    uint32_t pivot;
    if (!array.holds(r.high) || !sort_partition(array, r, &pivot)) return;
    sort_push_parts(&stack, r, pivot);
  }
}
