// The in-place sort of elements at an address, and the reading of hexadecimal text.
#include "pask_utils.h"

#include <stdlib.h>

#include <type_traits>

#include "pask_sort.h"
#include "pask_status.h"

static constexpr uint32_t UTILS_ERR_INVALID_ARG = status_error(PKG_UTILS, CODE_INVALID_ARG);

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_utils", line);
  return status;
}

namespace {

// Elements at an address that stays. Sizes known to the compiler, those of words, take one exchange of registers.
template <class Size>
struct elements {
  char* base;
  Size size;
  pask_utils_compare_fn compare;
  void* context;

  char* at(uint32_t index) const { return base + size_t{index} * size; }
  bool is_below(uint32_t a, uint32_t b) const { return compare(at(a), at(b), context) < 0; }
  void exchange(uint32_t a, uint32_t b) const { exchange_bytes(at(a), at(b), size); }
  static constexpr bool holds(uint32_t) { return true; }
};

template <uint32_t Size>
using known_size = std::integral_constant<uint32_t, Size>;

void qsort_iterative(void* base, uint32_t count, uint32_t size, pask_utils_compare_fn compare, void* context) {
  char* const first = static_cast<char*>(base);
  switch (size) {
    case 4:
      return sort_elements(elements<known_size<4>>{first, {}, compare, context}, count);
    case 8:
      return sort_elements(elements<known_size<8>>{first, {}, compare, context}, count);
    default:
      return sort_elements(elements<uint32_t>{first, size, compare, context}, count);
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
