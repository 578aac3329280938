/* How the modules of the support library start and stop.
 *
 * Every module counts its starts. The first initialize brings the module up with all that it depends on, the last shutdown
 * lets go of it, all others only count. All of these may be called from any thread at any time; a second caller waits
 * until the first has finished.
 *
 *   pask_<m>_initchecks      the count, read without a lock; non-zero means ready
 *   pask_<m>_initialize      0, or the plain number 10 when the module or one that it needs can't start; the count is then
 *                            what it was
 *   pask_<m>_shutdown        0; the plain number 7 when the count was 0; a status word when the module can't stop, which
 *                            then stays up
 *   pask_<m>_get_version     static text, "3.10.1"; works at any time
 *   pask_<m>_get_build_date  static text, "YYYY-MM-DD HH:MM-ZZZZ"; works at any time
 *
 * The memory service must answer before the first start (velox_manager.h). */
#ifndef PASK_MODULES_H
#define PASK_MODULES_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define PASK_DECLARE_COUNTED(m)                      \
  VELOX_API int32_t pask_##m##_initchecks(void);     \
  VELOX_API pask_status pask_##m##_initialize(void); \
  VELOX_API pask_status pask_##m##_shutdown(void);

#define PASK_DECLARE_MODULE(m)                        \
  PASK_DECLARE_COUNTED(m)                             \
  VELOX_API const char* pask_##m##_get_version(void); \
  VELOX_API const char* pask_##m##_get_build_date(void);

PASK_DECLARE_MODULE(thread)    /* threads, locks, events, thread stores */
PASK_DECLARE_MODULE(fs)        /* files, directories and their pool of descriptors */
PASK_DECLARE_MODULE(string)    /* text */
PASK_DECLARE_MODULE(md5)       /* digests */
PASK_DECLARE_MODULE(datatypes) /* vector, vector2, hash table, string map */
PASK_DECLARE_MODULE(utils)     /* sorting and byte helpers */
PASK_DECLARE_MODULE(time)      /* clocks and dates */
PASK_DECLARE_MODULE(iostream)  /* byte streams */
PASK_DECLARE_MODULE(random)    /* pseudo-random numbers; always starts */
PASK_DECLARE_MODULE(hdo)       /* a lifecycle only */
PASK_DECLARE_MODULE(xml)       /* a lifecycle only */
PASK_DECLARE_COUNTED(atomic)   /* atomics and spinlocks, which work without a start too */

#undef PASK_DECLARE_MODULE
#undef PASK_DECLARE_COUNTED

VELOX_END_DECLS

#endif
