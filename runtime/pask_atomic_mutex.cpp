// The mutex of the atomic module. Atomic words need none on this platform; the module makes it when it starts and ends it when it
// stops, and a failure of either is the module's.
#include <pthread.h>

#include "pask_module_graph.h"

static pthread_mutex_t s_atomic_mutex = PTHREAD_MUTEX_INITIALIZER;
static constexpr uint32_t ATOMIC_ERR_MUTEX = status_error(PKG_ATOMIC, 0x003c);

uint32_t _pask_atomic_mutex_start() { return pthread_mutex_init(&s_atomic_mutex, nullptr) ? ATOMIC_ERR_MUTEX : 0; }
uint32_t _pask_atomic_mutex_stop() { return pthread_mutex_destroy(&s_atomic_mutex) ? ATOMIC_ERR_MUTEX : 0; }
