// The key under which each thread finds its own record, made by whichever library of the family starts first.
#include "pask_thread_key.h"

#include "pask_thread_error.h"
#include "pask_thread_record.h"

static_assert(sizeof(pthread_key_t) == sizeof(g_pask_thread_store_key));

static bool sb_my_thread_store_key;  // this library made the key; guarded by the thread module's lock

// The family reads a key of 0 as "not made", yet 0 is the first key that a process gets. Such a key is held until the
// next one is there, and then given back.
static int key_create_nonzero(pthread_key_t* key) {
  if (const int error = pthread_key_create(key, _free_thread_specific)) return error;
  if (*key != 0) return 0;
  const int error = pthread_key_create(key, _free_thread_specific);
  pthread_key_delete(0);
  return error;
}

static void key_publish(pthread_key_t key) { __atomic_store_n(&g_pask_thread_store_key, key, __ATOMIC_RELEASE); }

uint32_t _thread_key_start() {
  if (g_pask_thread_store_key != 0) return 0;
  pthread_key_t key = 0;
  if (const int error = key_create_nonzero(&key)) return _thread_map_error(error);
  key_publish(key);
  sb_my_thread_store_key = true;
  return 0;
}

void* _thread_record_take() {
  pask_thread* const thread = sb_my_thread_store_key ? thread_current() : nullptr;
  if (thread) thread_current_set(nullptr);
  return thread;
}

void _thread_record_release(void* record) { _free_thread_t(static_cast<pask_thread*>(record)); }

uint32_t _thread_key_stop() {
  if (sb_my_thread_store_key && g_pask_thread_store_key != 0) {
    pthread_key_delete(g_pask_thread_store_key);
    key_publish(0);
  }
  sb_my_thread_store_key = false;
  return 0;
}
