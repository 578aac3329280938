// placeholder of the ground
#include "pask_fs_pool.h"
uint32_t _pask_fs_mgr_init() { return 0; }
uint32_t _pask_fs_mgr_shutdown() { return 0; }
