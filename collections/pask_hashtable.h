/* The hash table: terminated text keys, each with one or several values of arbitrary bytes. It keeps the order in which the
 * keys were first added, so that one flat index runs over all values of all keys: key by key, and under each key in the order
 * of adding. A key with one value takes one allocation. A table only grows; keys and values never move in memory.
 *
 * Values    a pointer and its bytes; null with 0 is an empty value, and only one of the two is refused. With `copy` the bytes
 *           are copied into the table, otherwise the pointer is stored and the table owns it from then on, as far as
 *           free_value does. A failed operation leaves the caller's data with the caller.
 * Keys      are copied, unless PASK_HASHTABLE_BORROW_KEYS is set. An existing key keeps the text of its first add.
 * Handed out  keys and values are borrowed. A value stays valid until it is replaced or removed; in a table with
 *           PASK_HASHTABLE_THREADSAFE and without PASK_HASHTABLE_NO_RETIRE a value that was read and then replaced is retired:
 *           it is released by clear or delete only, and stays valid until then even if its key is removed meanwhile (the
 *           memory of that key is then kept as long). Removing a value that wasn't replaced ends it in every table.
 * Status    unless told otherwise an operation with a handle returns 0, or
 *             0x900d0001  a null handle, key or required out-parameter; a null value with a size, a value with size 0
 *             0x900d0321  the handle is no hash table
 *             0x900d0002  out of memory; the table is without the new value
 *             0x9002....  its lock failed (pask_thread.h); a failure to leave the lock replaces the result of the work, and
 *                         what the work took out stays unreleased
 *             0x100d0003  the key or the value index under it is unknown; an information word, no failure
 *             0x100d0361  the flat index isn't below the count; an information word, no failure
 *           Out-parameters are written when the result is 0 only. Failures are reported to the log under "pask_hashtable".
 * Threads   with PASK_HASHTABLE_THREADSAFE any thread; find, value_count and count share a read lock, all others exclude each
 *           other, copy and index_get among them. Otherwise a table belongs to one thread at a time. */
#ifndef PASK_HASHTABLE_H
#define PASK_HASHTABLE_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_hashtable* pask_hashtable_handle;

/* Flags. Other bits are stored and ignored. */
#define PASK_HASHTABLE_THREADSAFE 0x1u
/** Keys compare byte for byte; otherwise the case of the ASCII letters is ignored. */
#define PASK_HASHTABLE_CASE_SENSITIVE 0x10u
/** Adding to a key that exists fails with 0x900d0368; goes before PASK_HASHTABLE_MULTI_VALUE. */
#define PASK_HASHTABLE_UNIQUE_KEYS 0x20u
/** Adding to a key that exists appends a value; with neither flag it replaces the key's first value. */
#define PASK_HASHTABLE_MULTI_VALUE 0x40u
/** Replaced values are released at once, also in a table with a lock. */
#define PASK_HASHTABLE_NO_RETIRE 0x80u
/** Key texts aren't copied: each must outlive its entry. */
#define PASK_HASHTABLE_BORROW_KEYS 0x100u

/** Releases what a value holds, when it leaves the table: copied and borrowed values alike, empty ones never. Runs outside
 *  the lock, but for retired values in clear and delete, so it must not call into the same table. The bytes of a copied value
 *  are freed by the table afterwards. */
typedef void (*pask_hashtable_free_fn)(void* data, uint32_t size);

/* ---- Life ---------------------------------------------------------------------------------------------------------- */

/** Makes an empty table without buckets; `free_value` may be null. 0x900d0007, unreported, when pask_datatypes isn't
 *  initialised. */
VELOX_API pask_status pask_hashtable_create(pask_hashtable_handle* table, uint32_t flags,
                                            pask_hashtable_free_fn free_value);
/** Clears the table and ends it; null is a success. When the lock fails the table stays. */
VELOX_API pask_status pask_hashtable_delete(pask_hashtable_handle table);
/** Removes all values, retired ones included; the buckets stay at their number. */
VELOX_API pask_status pask_hashtable_clear(pask_hashtable_handle table);
/** Makes a table with the same flags, callback, order and values. Copied bytes are copied again; the pointer of a borrowed
 *  value, or key, is shared, and both tables call free_value on it. Retired values stay behind. What a failed copy had already
 *  taken over is released in the same way. */
VELOX_API pask_status pask_hashtable_copy(pask_hashtable_handle table, pask_hashtable_handle* copy);

/* ---- By key -------------------------------------------------------------------------------------------------------- */

/** Adds a value as the flags say. When a read value is replaced but can't be retired for lack of memory, the new value stays,
 *  the old one is released, and the result is 0x900d0002. */
VELOX_API pask_status pask_hashtable_value_add(pask_hashtable_handle table, const char* key, const void* data,
                                               uint32_t size, uint8_t copy);
/** Replaces a value of a key, with the same rule for want of memory. */
VELOX_API pask_status pask_hashtable_value_update_ex(pask_hashtable_handle table, const char* key, uint32_t index,
                                                     const void* data, uint32_t size, uint8_t copy);
/** Reads a value of a key; both out-parameters may be null. A null handle gives 0x100d0003. */
VELOX_API pask_status pask_hashtable_value_find_ex(pask_hashtable_handle table, const char* key, uint32_t index,
                                                   const void** data, uint32_t* size);
/** Takes a value out of a key, and with its last value the key. A borrowed value goes back to the caller, without free_value;
 *  with a null `data` it is dropped. A copied one dies: free_value is called, and null and 0 are written. Both out-parameters
 *  may be null. */
VELOX_API pask_status pask_hashtable_value_remove_ex(pask_hashtable_handle table, const char* key, uint32_t index,
                                                     void** data, uint32_t* size);
/** Removes a key with all its values. */
VELOX_API pask_status pask_hashtable_value_delete(pask_hashtable_handle table, const char* key);
/** Gives the number of values of a key. An unknown key gives 0 and leaves `count` alone. */
VELOX_API pask_status pask_hashtable_value_count(pask_hashtable_handle table, const char* key, uint32_t* count);

/* ---- By flat index -------------------------------------------------------------------------------------------------- */

/** Gives the number of values, not of keys. */
VELOX_API pask_status pask_hashtable_count(pask_hashtable_handle table, uint32_t* count);
/** Reads the value at a flat index, and its key; all out-parameters may be null. Rising indices cost a constant amount each,
 *  a falling one begins at the first key. */
VELOX_API pask_status pask_hashtable_index_get(pask_hashtable_handle table, uint32_t index, const char** key,
                                               const void** data, uint32_t* size);
/** Removes and releases the value at a flat index, and with its last value the key. */
VELOX_API pask_status pask_hashtable_index_remove(pask_hashtable_handle table, uint32_t index);

VELOX_END_DECLS

#endif
