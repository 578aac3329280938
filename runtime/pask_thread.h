/* Threads, locks and events: a recursive critical section, a read-write lock that prefers writers, and an event with a
 * timed wait. Threads come last.
 *
 * Locks and events work without pask_thread_initialize. Each is a heap object behind an opaque handle; its memory comes
 * from the memory service. Unless told otherwise an operation returns 0, or
 *   0x90020001  a null handle or out-parameter; delete takes null as success
 *   0x90020002  out of memory, in create, which then leaves its out-parameter as it was
 *   0x9002....  a failure of the POSIX call beneath, which the objects' own use doesn't cause
 * Every operation may be called from any thread; only create's result must be handed over, and delete called once nobody
 * else uses the object. A thread that is cancelled in a wait leaves the object as if it hadn't come. Nothing here is
 * logged. */
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

/* ---- Threads -------------------------------------------------------------------------------------------------------
 * These need pask_thread_initialize, unless told otherwise, and return 0x90020007 without it; 0x90020321 for what is no
 * thread's handle. A null handle means the calling thread where that is told, whoever has started it.
 *
 * A thread that is created with a handle is ended by pask_thread_wait_and_cleanup, once; one without cleans up after
 * itself, and can't be reached from outside. The operations on a handle may overlap, only not two waits.
 *
 * The last pask_thread_shutdown comes when the threads created here have ended and their handles are cleaned up: after
 * it neither a handle nor the memory service that their records go back to can be relied on. A thread that the library
 * hasn't created may live on: what it had named or stored is then lost and its free functions don't run, for nothing is
 * called at its exit any more. Only an exit that is under way at that very moment isn't guarded against. */

typedef struct pask_thread* pask_thread_handle;
/** The system's identifier of a thread. */
typedef uintptr_t pask_thread_id;
/** A thread's function; its result is ignored. Leaving by pthread_exit or a cancellation counts as a return. */
typedef void* (*pask_thread_fn)(void* argument);

/** Starts a thread. A stack size, in bytes, of 0 means the system's default; one that the system refuses gives its
 *  error, mostly 0x90020001. `thread` receives the handle before the function runs; null for none. */
VELOX_API pask_status pask_thread_create(pask_thread_fn function, uint32_t stack_size, void* argument,
                                         pask_thread_handle* thread);
/** Waits for the function to return, as long as pask_thread_event_wait would, then ends thread and handle and returns
 *  0. After any other result, such as PASK_THREAD_INFO_TIMEOUT, the handle stays valid. */
VELOX_API pask_status pask_thread_wait_and_cleanup(pask_thread_handle thread, uint32_t timeout_ms);
/** Sets the priority within what the thread's scheduling policy allows: -5 lowest, 5 highest, else 0x90020001. The
 *  ordinary policy has one priority only. A thread whose function has returned is left alone, with 0. */
VELOX_API pask_status pask_thread_set_priority(pask_thread_handle thread, int32_t priority);
/** Gives a thread's identifier; a null handle means the calling thread. */
VELOX_API pask_status pask_thread_get_id(pask_thread_handle thread, pask_thread_id* id);
/** Names a thread; a null handle means the calling thread. The text is copied. 0x90020002 leaves it without a name. */
VELOX_API pask_status pask_thread_set_name(pask_thread_handle thread, const char* name);
/** Gives the name, with its terminator if that fits in so many bytes, else cut without one; an empty text without a
 *  name. A null handle means the calling thread, and then 0x90020003 when the library has nothing on it. */
VELOX_API pask_status pask_thread_get_name(pask_thread_handle thread, char* buffer, uint32_t size);

/** Gives the number of processors that are online, or 0xffffffff when the system can't tell. Needs no start. */
VELOX_API pask_status pask_thread_core_count(uint32_t* count);
/** Sleeps; the microseconds are counted in 32 bits, so that 4294968 ms and more wrap. A signal ends it: 0x9002003e. */
VELOX_API pask_status pask_thread_sleep(uint32_t milliseconds);

VELOX_END_DECLS

#endif
