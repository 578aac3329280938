// Pseudo-random numbers: a linear congruential generator of 32 bits, of which the caller sees bits 30 to 16.
#include "pask_random.h"

static uint32_t s_pask_random_rand_seed = 0x12345678;

uint32_t pask_random_rand(uint32_t* state) {
  if (!state) state = &s_pask_random_rand_seed;
  *state = *state * 214013 + 2531011;
  return *state >> 16 & 0x7fff;
}
