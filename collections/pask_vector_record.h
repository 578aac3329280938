// What the records of both vectors have in common: a magic word in front, and a lock where the flags ask for one.
#pragma once

#include "pask_assert.h"
#include "pask_collections.h"
#include "pask_guard.h"

// Bit 0 of both vectors' flags.
constexpr uint32_t VECTOR_FLAG_THREADSAFE = 0x1;

// Allocates a record of these fields, and its lock if the flags ask for one.
template <class Record>
uint32_t vector_record_create(Record** record, const Record& fields) {
  if (!record) return DATATYPES_ERR_INVALID_ARG;
  auto* const made = static_cast<Record*>(pask_memory_alloc(sizeof(Record)));
  if (!made) return DATATYPES_ERR_NO_MEMORY;
  *made = fields;
  if (fields.flags & VECTOR_FLAG_THREADSAFE) {
    if (const uint32_t status = pask_thread_critsec_create(&made->lock)) {
      pask_memory_free(made);
      return status;
    }
  }
  *record = made;
  return 0;
}

// Frees the lock, the array and the record. When the lock can't be freed the record stays.
template <class Record>
uint32_t vector_record_delete(Record* record, void* array) {
  PASK_TRY(pask_thread_critsec_delete(record->lock));
  record->magic = 0;
  pask_memory_free(array);
  pask_memory_free(record);
  return 0;
}

// What stands against an operation with a handle: a null among the required `arguments`, or a record that is another's.
template <class Record>
uint32_t vector_record_check(const Record* record, uint32_t magic, bool arguments, uint32_t bad_handle) {
  if (!record || !arguments) [[unlikely]]
    return DATATYPES_ERR_INVALID_ARG;
  return record->magic == magic ? 0 : bad_handle;
}

// Does the work on a record, which is sound before and after.
template <class Record, class Work>
uint32_t vector_record_work(const Record* record, Work work) {
  PASK_ASSERT(is_sound(*record));
  const uint32_t status = work();
  PASK_ASSERT(is_sound(*record));
  return status;
}

template <class Record, class Work>
[[gnu::noinline]] uint32_t vector_record_locked(const Record* record, Work work) {
  return critsec_within(record->lock, [=] { return vector_record_work(record, work); });
}

// The same under the record's lock, if there is one: a road of its own, so that the one without keeps nothing through calls.
template <class Record, class Work>
uint32_t vector_record_within(const Record* record, Work work) {
  return record->lock ? vector_record_locked(record, work) : vector_record_work(record, work);
}
