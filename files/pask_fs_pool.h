// The file-handle manager: the pool of real descriptors under logical files.
#pragma once

#include "velox_types.h"

VELOX_BEGIN_DECLS

/** Creates the pool's section and event; the last step of pask_fs_initialize. */
VELOX_API pask_status _pask_fs_mgr_init(void);
/** Ends the marker lists and the pool's section and event; the first step of pask_fs_shutdown. Always 0. */
VELOX_API pask_status _pask_fs_mgr_shutdown(void);

VELOX_END_DECLS
