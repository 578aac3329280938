// What stands behind a thread's handle: a record with a count of references, for threads that the library has started
// and for others once they ask for a name or a store. Each thread finds its own as the value of the family's key.
#pragma once

#include <cstddef>

#include "pask_mutex.h"
#include "pask_status.h"
#include "pask_thread.h"
#include "pask_thread_store.h"

constexpr uint32_t THREAD_MAGIC = 0x33442255;
constexpr uint32_t THREAD_ERR_BAD_HANDLE = status_error(PKG_THREAD, 0x0321);

struct pask_thread {
  uint32_t magic;
  uint32_t refcount;      // one each for the function that runs, the key's value, and the application's handle
  pask_mutex state_lock;  // holds a new thread back until its creator is done
  pthread_t thread_id;    // doesn't change once the thread runs
  char* name PASK_GUARDED_BY(state_lock);  // or null
  uint8_t finished PASK_GUARDED_BY(state_lock);
  uint8_t completion_ready;  // done_lock and done_cond are there
  pask_thread_fn entry;      // null where no library of the family has started the thread
  void* argument;
  thread_local_store_handle store;          // null until something is stored
  pask_mutex done_lock;                     // never nested with state_lock
  uint8_t done PASK_GUARDED_BY(done_lock);  // the thread is about to exit
  pthread_cond_t done_cond;
};
static_assert(offsetof(pask_thread, refcount) == 4 && offsetof(pask_thread, state_lock) == 8);
static_assert(sizeof(void*) != 4 || (offsetof(pask_thread, entry) == 44 && offsetof(pask_thread, done) == 80));

inline uint32_t thread_check(const pask_thread* thread) {
  return thread->magic == THREAD_MAGIC ? 0 : uint32_t{THREAD_ERR_BAD_HANDLE};
}

// The key of the records, or 0. Who sees it finds what its maker did before.
inline pthread_key_t thread_key() { return __atomic_load_n(&g_pask_thread_store_key, __ATOMIC_ACQUIRE); }

// The calling thread's record, or null while it has none or the key isn't there.
inline pask_thread* thread_current() {
  const pthread_key_t key = thread_key();
  return key != 0 ? static_cast<pask_thread*>(pthread_getspecific(key)) : nullptr;
}
// Makes a record, or null, the calling thread's own. Gives an error number.
int thread_current_set(pask_thread* thread);

// The record that an operation means: the handle's, or for a null handle the calling thread's, which may be null too.
inline uint32_t thread_find(pask_thread_handle handle, pask_thread** thread) {
  *thread = handle ? handle : thread_current();
  return handle ? thread_check(handle) : 0;
}
// The same, and makes a record for a calling thread without one.
uint32_t thread_find_or_add(pask_thread_handle handle, pask_thread** thread);

// A record with one reference and nothing else, or null.
pask_thread* thread_record_create();
// Makes the calling thread's record, whose one reference belongs to the key's value.
uint32_t _thread_add_specific(pask_thread** thread);
// Tells whoever waits that the thread's function has returned, and drops the function's reference.
void thread_finish(pask_thread* thread);
// Drops a reference; the last one frees the record with its name and its store.
void _free_thread_t(pask_thread* thread);
// The key's destructor, at thread exit.
void _free_thread_specific(void* thread);
