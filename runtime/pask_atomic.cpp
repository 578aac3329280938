// Atomic words and pointers on the processor's own instructions.
#include "pask_atomic.h"

#include "pask_status.h"

static constexpr uint32_t ATOMIC_ERR_INVALID_ARG = status_error(PKG_ATOMIC, CODE_INVALID_ARG);
static constexpr int ORDER = __ATOMIC_SEQ_CST;

uint32_t pask_atomic_set(uint32_t* word, uint32_t value) {
  if (!word) return ATOMIC_ERR_INVALID_ARG;
  __atomic_store_n(word, value, ORDER);
  return 0;
}

uint32_t pask_atomic_add(uint32_t* word, uint32_t amount) {
  if (!word) return ATOMIC_ERR_INVALID_ARG;
  __atomic_fetch_add(word, amount, ORDER);
  return 0;
}

uint32_t pask_atomic_read(const uint32_t* word, uint32_t* value) {
  if (!word) return ATOMIC_ERR_INVALID_ARG;
  const uint32_t read = __atomic_load_n(word, ORDER);
  if (value) *value = read;
  return 0;
}

uint32_t pask_atomic_inc(uint32_t* word, uint32_t* value) {
  if (!word) return ATOMIC_ERR_INVALID_ARG;
  const uint32_t changed = __atomic_add_fetch(word, 1, ORDER);
  if (value) *value = changed;
  return 0;
}

uint32_t pask_atomic_dec(uint32_t* word, uint32_t* value) {
  if (!word) return ATOMIC_ERR_INVALID_ARG;
  const uint32_t changed = __atomic_sub_fetch(word, 1, ORDER);
  if (value) *value = changed;
  return 0;
}

uint32_t pask_atomic_cas(uint32_t* word, uint32_t expected, uint32_t desired, uint8_t* swapped) {
  if (!word || !swapped) return ATOMIC_ERR_INVALID_ARG;
  *swapped = __atomic_compare_exchange_n(word, &expected, desired, false, ORDER, ORDER);
  return 0;
}

uint32_t pask_atomicPtr_read(void* const* pointer, void** value) {
  if (!pointer) return ATOMIC_ERR_INVALID_ARG;
  void* const read = __atomic_load_n(pointer, ORDER);
  if (value) *value = read;
  return 0;
}

uint32_t pask_atomicPtr_exchange(void** pointer, void* desired, void** old) {
  if (!pointer) return ATOMIC_ERR_INVALID_ARG;
  void* const before = __atomic_exchange_n(pointer, desired, ORDER);
  if (old) *old = before;
  return 0;
}
