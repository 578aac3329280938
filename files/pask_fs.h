/* The file layer's pool of descriptors: more logical files stay open than descriptors are spent on them. */
#ifndef PASK_FS_H
#define PASK_FS_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/** Descriptors that the pool may hold; 0, the start value, means no limit. */
extern VELOX_API uint32_t g_fs_max_file_handles;
/** Descriptors that the pool holds. Read without the pool's lock it is a snapshot. */
extern VELOX_API uint32_t g_fs_num_file_handles;

VELOX_END_DECLS

#endif
