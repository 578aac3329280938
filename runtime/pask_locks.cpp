#include "pask_thread_key.h"
uint32_t _thread_map_error(int){return 1;}
