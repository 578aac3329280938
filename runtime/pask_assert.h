// What must be true whatever a caller does: checked in debug and sanitizer builds, compiled away with NDEBUG.
#pragma once

#include <stdio.h>
#include <stdlib.h>

#ifdef NDEBUG
#define PASK_ASSERT(condition) ((void)sizeof(!(condition)))
#else
#define PASK_ASSERT(condition)                                                          \
  do {                                                                                  \
    if (!(condition)) {                                                                 \
      fprintf(stderr, "%s:%d: assertion failed: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                          \
    }                                                                                   \
  } while (0)
#endif
