/* Pseudo-random numbers: a linear congruential sequence, small and fast, and no source of secrets. */
#ifndef PASK_RANDOM_H
#define PASK_RANDOM_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/** The next number, 0 to 32767. The state is a word that the caller has set to any seed; null stands for the library's own,
 *  which gives the same sequence in every process and is never set back. Works without a start. One state word, the
 *  library's own too, must not be used by two threads at once. */
VELOX_API uint32_t pask_random_rand(uint32_t* state);

VELOX_END_DECLS

#endif
