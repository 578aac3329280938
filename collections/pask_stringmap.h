/* The string map: text keys with text values, a hash table (pask_hashtable.h) whose values are terminated texts.
 *
 * Flags, order, growth, locking, and how long a key or value that was handed out stays valid, are those of the hash table.
 * Values are copied, unless PASK_STRINGMAP_BORROW_VALUES is set; a null value is legal, and read back as null. Keys and values
 * are UTF-8, which nothing here looks at but for the case of ASCII letters in keys; indices and counts are in values.
 *
 * Status    unless told otherwise an operation with a handle returns 0, or
 *             0x900d0001  a null handle, key or required out-parameter
 *             0x900d0321  the handle is no string map
 *             0x900d0002  out of memory; the map is without the new value, but for the retired value told of in
 *                         pask_hashtable_value_add
 *             0x900d0368  the key exists, in a map with PASK_HASHTABLE_UNIQUE_KEYS
 *             0x9002....  its lock failed (pask_thread.h)
 *             0x100d0003  the key is unknown, or has no value with that index; an information word, no failure
 *             0x100d0361  the flat index isn't below the count; an information word, no failure
 *           Out-parameters are written when the result is 0 only, unless told otherwise. Failures are reported to the log
 *           under "pask_stringmap".
 * Threads   any with PASK_HASHTABLE_THREADSAFE; otherwise a map belongs to one thread at a time. */
#ifndef PASK_STRINGMAP_H
#define PASK_STRINGMAP_H

#include "pask_hashtable.h"
#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_stringmap* pask_stringmap_handle;

/** Besides the flags PASK_HASHTABLE_*: pask_stringmap_value_add stores the caller's text, which must live as long as the value
 *  does. */
#define PASK_STRINGMAP_BORROW_VALUES 0x1000u

/** Makes an empty map. 0x900d0007, unreported, when pask_datatypes isn't initialised; 0x90020002 when there is no memory for
 *  the lock. */
VELOX_API pask_status pask_stringmap_create(pask_stringmap_handle* map, uint32_t flags);
/** Ends a map; null is a success. When its lock fails the map stays. */
VELOX_API pask_status pask_stringmap_delete(pask_stringmap_handle map);
/** Removes everything. */
VELOX_API pask_status pask_stringmap_clear(pask_stringmap_handle map);
/** Makes a map with the same flags and entries. Borrowed values stay borrowed. */
VELOX_API pask_status pask_stringmap_copy(pask_stringmap_handle map, pask_stringmap_handle* copy);
/** Adds every entry of the source to the destination, always as a copy, by the destination's flags; an entry that can't be
 *  added is left out, and the result still 0. The two are locked for one entry at a time only. 0x900d0001 for a map onto
 *  itself, which with PASK_HASHTABLE_MULTI_VALUE would grow as long as it is read. */
VELOX_API pask_status pask_stringmap_copyto(pask_stringmap_handle destination, pask_stringmap_handle source);

/** Adds a value as the map's flags say: replaces, appends or refuses. */
VELOX_API pask_status pask_stringmap_value_add(pask_stringmap_handle map, const char* key, const char* value);
/** Adds a formatted text (pask_format.h), always as a copy. A text without bytes is refused with 0x900d0001. */
VELOX_API pask_status pask_stringmap_value_add_format(pask_stringmap_handle map, const char* key, const char* format,
                                                      ...);
/** Reads a value of a key by its index under it; `value`, which may be null, receives a borrowed text. 0x900d0360 when a
 *  borrowed value has lost its terminator since. */
VELOX_API pask_status pask_stringmap_value_find_ex(pask_stringmap_handle map, const char* key, uint32_t index,
                                                   const char** value);
/** Reads an entry by its flat index over all values, in the order in which the keys were first added; both out-parameters may
 *  be null. 0x900d0360 as above, with the key written. */
VELOX_API pask_status pask_stringmap_value_get(pask_stringmap_handle map, uint32_t index, const char** key,
                                               const char** value);
/** Gives the number of values of a key: of an unknown one 0, with success. */
VELOX_API pask_status pask_stringmap_value_count(pask_stringmap_handle map, const char* key, uint32_t* count);
/** Gives the number of values, not of keys. */
VELOX_API pask_status pask_stringmap_count(pask_stringmap_handle map, uint32_t* count);
/** Removes a key with all its values. */
VELOX_API pask_status pask_stringmap_value_delete(pask_stringmap_handle map, const char* key);

VELOX_END_DECLS

#endif
