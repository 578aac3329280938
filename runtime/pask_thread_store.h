/* Thread stores: a small array of values for each thread, by slot number, each with an optional function that frees it.
 *
 * Slots are handed out once for the whole process; what is stored in one belongs to one thread. A store comes with the
 * first value and goes with its thread's record: at the thread's exit, or, for a thread with a handle, in
 * pask_thread_wait_and_cleanup, and then the free functions run on the thread that waited. A look-up is one
 * pthread_getspecific and an index.
 *
 * A free function gets a value that isn't 0, once, when it is replaced, cleared, or its store goes. Its slot is empty
 * by then, and it may call any of these operations. What it stores in the slot that is being emptied, or in a store
 * that is going, is released in turn, four times at most, as with the destructors of POSIX keys; what is stored in the
 * last of them is dropped. It may start and stop the thread module, in the last stop too; where that is a part of another
 * module's stop, not that other one.
 *
 * A store has no lock: it is meant for its own thread, and an operation on another thread's handle must not overlap
 * with that thread's own. Handing out slots may overlap with anything. Nothing here is logged. */
#ifndef PASK_THREAD_STORE_H
#define PASK_THREAD_STORE_H

#include "pask_thread.h"

VELOX_BEGIN_DECLS

#define PASK_THREAD_ERR_NOT_FOUND 0x90020003u /* nothing is stored there */

typedef void (*pask_thread_store_free_fn)(uintptr_t value);

/* ---- By thread -----------------------------------------------------------------------------------------------------
 * A null handle means the calling thread, whoever has started it. Without pask_thread_initialize nothing is stored: set
 * and clear then do nothing and return 0. 0x90020321 for what is no thread's handle; 0x90020001 for a negative slot or
 * a null out-parameter. */

/** Gives the next unused slot; the first is 0. After 2^31 of them always 0. */
VELOX_API pask_status pask_thread_store_get_next_slot(int32_t* slot);
/** Stores a value, which may be 0, with its free function, which may be null, and releases the value that was there.
 *  0x90020002 when memory runs out, and all is as it was. */
VELOX_API pask_status pask_thread_store_set(pask_thread_handle thread, int32_t slot, uintptr_t value,
                                            pask_thread_store_free_fn free_value);
/** Gives the value. PASK_THREAD_ERR_NOT_FOUND when the slot is empty. */
VELOX_API pask_status pask_thread_store_get(pask_thread_handle thread, int32_t slot, uintptr_t* value);
/** Releases the value and empties the slot; 0 for a slot that is empty, negative or beyond all that was stored. */
VELOX_API pask_status pask_thread_store_clear(pask_thread_handle thread, int32_t slot);

/* ---- By store ------------------------------------------------------------------------------------------------------
 * The same on a store of the caller's own, with the same words, and 0x90020001 for a null store. The slots are those of
 * the whole process. */

typedef struct thread_local_store* thread_local_store_handle;

/** Leaves the out-parameter alone after 2^31 slots. */
VELOX_API pask_status thread_local_store_data_get_next_slot(int32_t* slot);
VELOX_API pask_status thread_local_store_create(thread_local_store_handle* store);
/** Releases all values, then the store; null is accepted. Always 0. */
VELOX_API pask_status thread_local_store_delete(thread_local_store_handle store);
/** Room comes in steps of 16 slots, up to the one that is set. */
VELOX_API pask_status thread_local_store_data_set(thread_local_store_handle store, int32_t slot, uintptr_t value,
                                                  pask_thread_store_free_fn free_value);
VELOX_API pask_status thread_local_store_data_get(thread_local_store_handle store, int32_t slot, uintptr_t* value);
/** Always 0, for a null store too. */
VELOX_API pask_status thread_local_store_data_clear(thread_local_store_handle store, int32_t slot);

VELOX_END_DECLS

#endif
