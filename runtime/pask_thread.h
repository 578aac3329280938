/* Threads, locks and events: a recursive critical section, a read-write lock that prefers writers, and an event with a timed wait.
 *
 * They work without pask_thread_initialize. Each is a heap object behind an opaque handle; its memory comes from the memory
 * service. Unless told otherwise an operation returns 0, or
 *   0x90020001  a null handle or out-parameter; delete takes null as success
 *   0x90020002  out of memory, in create, which then leaves its out-parameter as it was
 *   0x9002....  a failure of the POSIX call beneath, which the objects' own use doesn't cause
 * Every operation may be called from any thread; only create's result must be handed over, and delete called once nobody
 * else uses the object. Nothing here is logged. */
#ifndef PASK_THREAD_H
#define PASK_THREAD_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define PASK_THREAD_ERR_BUSY     0x90020006u /* a critical section that is in use can't be deleted */
#define PASK_THREAD_INFO_TIMEOUT 0x10020084u /* the wait's time has passed; an information word, no failure */
#define PASK_THREAD_NO_LIMIT     0xffffffffu /* a timeout that never comes */

/* ---- Critical section ----------------------------------------------------------------------------------------------
 * A thread that holds it may enter again any number of times and leaves as often. Held across long blocking work it costs
 * other threads nothing but their wait. */

typedef struct pask_critsec* pask_critsec_handle;

/** Makes a section that nobody holds. */
VELOX_API pask_status pask_thread_critsec_create(pask_critsec_handle* critsec);
/** Ends a section. 0x90020006, and the section stays usable, while another thread holds it or any thread waits in enter;
 *  the thread that holds it may delete it. */
VELOX_API pask_status pask_thread_critsec_delete(pask_critsec_handle critsec);
/** Blocks until the calling thread holds the section. After a failure it doesn't hold it. */
VELOX_API pask_status pask_thread_critsec_enter(pask_critsec_handle critsec);
/** Drops one level of the calling thread's hold. On a thread that doesn't hold the section it does nothing, and returns 0. */
VELOX_API pask_status pask_thread_critsec_leave(pask_critsec_handle critsec);

/* ---- Read-write lock -----------------------------------------------------------------------------------------------
 * Any number of readers or one writer. A waiting writer holds back readers that come after it, and goes before waiting
 * readers: a thread takes a read lock once, since a second one behind a waiting writer would block for ever. */

typedef struct pask_rwlock* pask_rwlock_handle;

/** Makes a lock that nobody holds. */
VELOX_API pask_status pask_thread_rwlock_create(pask_rwlock_handle* rwlock);
/** Ends a lock; always 0. No test is made for users. */
VELOX_API pask_status pask_thread_rwlock_delete(pask_rwlock_handle rwlock);
/** Blocks until a read lock is held. */
VELOX_API pask_status pask_thread_rwlock_readlock(pask_rwlock_handle rwlock);
/** Blocks until the write lock is held. */
VELOX_API pask_status pask_thread_rwlock_writelock(pask_rwlock_handle rwlock);
/** Releases the write lock if it is held, else one read lock. 0x90020001 when nobody holds the lock. */
VELOX_API pask_status pask_thread_rwlock_unlock(pask_rwlock_handle rwlock);

/* ---- Event ---------------------------------------------------------------------------------------------------------
 * With automatic reset a signal lets one wait through, with manual reset every wait until the event is reset. */

typedef struct pask_event* pask_event_handle;

/** Makes an event; both flags are read as 0 or not 0. */
VELOX_API pask_status pask_thread_event_create(pask_event_handle* event, uint8_t signalled, uint8_t manual_reset);
/** Ends an event; always 0. No test is made for users. */
VELOX_API pask_status pask_thread_event_delete(pask_event_handle event);
/** Waits for a signal, at most so many milliseconds of the wall clock; 0 tests only, PASK_THREAD_NO_LIMIT waits for ever.
 *  0 when signalled, which clears an event with automatic reset; PASK_THREAD_INFO_TIMEOUT when the time has passed. A waiter
 *  on an event with manual reset that a signal has woken returns 0 even if the event is reset before it runs. */
VELOX_API pask_status pask_thread_event_wait(pask_event_handle event, uint32_t timeout_ms);
/** Sets the event and wakes one waiter, with manual reset all of them. */
VELOX_API pask_status pask_thread_event_signal(pask_event_handle event);
/** Clears the event. */
VELOX_API pask_status pask_thread_event_reset(pask_event_handle event);

/* ---- Threads ------------------------------------------------------------------------------------------------------- */

typedef struct pask_thread* pask_thread_handle;
/** The system's identifier of a thread. */
typedef uintptr_t pask_thread_id;

/** Gives a thread's identifier; a null handle means the calling thread. 0x90020007 when pask_thread isn't started. */
VELOX_API pask_status pask_thread_get_id(pask_thread_handle thread, pask_thread_id* id);

VELOX_END_DECLS

#endif
