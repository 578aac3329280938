// The word in which a lock keeps its state, changed by one atomic instruction while nobody contends; by plain ones while the process
// has a single thread, as libc's own locks do.
#pragma once

#include <sys/single_threaded.h>

#include <cstdint>

template <class Word>
Word word_get(const Word& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}
template <class Word>
void word_set(Word& word, Word value) {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

// Changes the word if it is what was seen; else gives what it is.
inline bool word_change(uint32_t& word, uint32_t& seen, uint32_t value, int order) {
  if (!__libc_single_threaded) return __atomic_compare_exchange_n(&word, &seen, value, false, order, __ATOMIC_RELAXED);
  const uint32_t expected = seen;
  seen = word_get(word);
  if (seen != expected) return false;
  word_set(word, value);
  return true;
}

// To hold a lock by changing its word, and to let go of it.
inline bool word_acquire(uint32_t& word, uint32_t& seen, uint32_t value) {
  return word_change(word, seen, value, __ATOMIC_ACQUIRE);
}
inline bool word_release(uint32_t& word, uint32_t& seen, uint32_t value) {
  return word_change(word, seen, value, __ATOMIC_RELEASE);
}
