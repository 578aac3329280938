// The in-place sort of the vectors, and the reading of hexadecimal text.
//
// The sort promises its exact sequence of exchanges, and so the order of equal elements: quicksort with a Lomuto partition
// around the middle element, down to ranges of two. Only the order in which disjoint ranges are worked on is free.
#include "pask_utils.h"

#include <stdlib.h>
#include <string.h>

#include <type_traits>

#include "pask_status.h"

static constexpr uint32_t UTILS_ERR_INVALID_ARG = status_error(PKG_UTILS, CODE_INVALID_ARG);

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_utils", line);
  return status;
}

namespace {

// A pending range of at least two elements, both ends inclusive.
struct range {
  uint32_t low;
  uint32_t high;
};

constexpr uint32_t STACK_RANGES = 1024;
// Once the smaller part goes first, at most one range waits for each halving of a 32-bit count.
constexpr uint32_t HALVINGS = 32;

struct range_stack {
  uint32_t count = 0;
  range ranges[STACK_RANGES];
};

template <class Word>
void exchange_word(char* a, char* b) {
  Word x;
  Word y;
  memcpy(&x, a, sizeof(Word));
  memcpy(&y, b, sizeof(Word));
  memcpy(a, &y, sizeof(Word));
  memcpy(b, &x, sizeof(Word));
}

// Sizes known to the compiler, those of the vector's words, take one exchange of registers.
template <uint32_t Size>
using known_size = std::integral_constant<uint32_t, Size>;

void exchange(char* a, char* b, known_size<4>) { exchange_word<uint32_t>(a, b); }
void exchange(char* a, char* b, known_size<8>) { exchange_word<uint64_t>(a, b); }

void exchange(char* a, char* b, uint32_t size) {
  constexpr uint32_t WORD = sizeof(uintptr_t);
  if (a == b) return;
  for (; size >= WORD; size -= WORD, a += WORD, b += WORD) exchange_word<uintptr_t>(a, b);
  for (; size > 0; --size) exchange_word<char>(a++, b++);
}

// Brings the elements below the middle one to the front of the range, and the middle one behind them. Its index results.
template <class Size>
uint32_t partition(char* base, range r, Size size, pask_utils_compare_fn compare, void* context) {
  char* const pivot = base + size_t{r.high} * size;
  exchange(base + size_t{r.low + (r.high - r.low) / 2} * size, pivot, size);
  char* const low = base + size_t{r.low} * size;
  char* store = low;
  uint32_t below = r.low;
  for (char* at = low; at != pivot; at += size) {
    if (compare(at, pivot, context) >= 0) continue;
    exchange(store, at, size);
    store += size;
    ++below;
  }
  exchange(store, pivot, size);
  return below;
}

// Pushes what is left on both sides of the pivot; a single element is in its place. The right part is taken first, unless
// the stack runs short: then the smaller one, which bounds the depth.
void push_parts(range_stack* stack, range r, uint32_t pivot) {
  const bool has_left = pivot > r.low && pivot - r.low > 1;
  const bool has_right = pivot < r.high && r.high - pivot > 1;
  const range left = {r.low, pivot - 1};
  const range right = {pivot + 1, r.high};
  const bool short_of_room = stack->count >= STACK_RANGES - HALVINGS;
  const bool left_first = short_of_room && has_left && has_right && pivot - r.low < r.high - pivot;
  if (has_right && left_first) stack->ranges[stack->count++] = right;
  if (has_left) stack->ranges[stack->count++] = left;
  if (has_right && !left_first) stack->ranges[stack->count++] = right;
}

template <class Size>
void sort_ranges(char* base, uint32_t count, Size size, pask_utils_compare_fn compare, void* context) {
  range_stack stack;
  stack.ranges[stack.count++] = {0, count - 1};
  while (stack.count > 0) {
    const range r = stack.ranges[--stack.count];
    push_parts(&stack, r, partition(base, r, size, compare, context));
  }
}

void qsort_iterative(void* base, uint32_t count, uint32_t size, pask_utils_compare_fn compare, void* context) {
  if (count < 2) return;
  char* const first = static_cast<char*>(base);
  switch (size) {
    case 4:
      return sort_ranges(first, count, known_size<4>{}, compare, context);
    case 8:
      return sort_ranges(first, count, known_size<8>{}, compare, context);
    default:
      return sort_ranges(first, count, size, compare, context);
  }
}

// The value of a hexadecimal digit; above 15 for any other character.
uint32_t digit_value(char c) {
  const auto byte = static_cast<uint8_t>(c);
  if (static_cast<uint8_t>(byte - '0') < 10) return byte - uint32_t{'0'};
  const auto letter = static_cast<uint8_t>((byte | 0x20) - 'a');
  return letter < 6 ? letter + 10u : 16u;
}

uint8_t pair_value(const char* text) {
  const uint32_t high = digit_value(text[0]);
  const uint32_t low = digit_value(text[1]);
  if ((high | low) < 16) [[likely]]
    return static_cast<uint8_t>(high << 4 | low);
  const char pair[3] = {text[0], text[1], '\0'};
  return static_cast<uint8_t>(strtoul(pair, nullptr, 16));
}

}  // namespace

uint32_t pask_utils_qsort(void* base, uint32_t count, uint32_t size_bytes, pask_utils_compare_fn compare,
                          void* context) {
  if (!base || size_bytes == 0 || !compare) return UTILS_ERR_INVALID_ARG;
  qsort_iterative(base, count, size_bytes, compare, context);
  return 0;
}

uint32_t pask_utils_asc2bin(const char* text, uint32_t text_length, uint8_t* out, uint32_t out_size) {
  if (!text || !out || text_length == 0 || text_length / 2 < out_size) return failed(UTILS_ERR_INVALID_ARG);
  for (uint32_t i = 0; i < out_size; ++i) out[i] = pair_value(text + size_t{2} * i);
  return 0;
}
