// The string map, a typed layer over one hash table, whose lock is the only one. Formatted values come from the accumulator.
#include "pask_stringmap.h"

#include "pask_collections.h"
#include "pask_modules.h"
#include "pask_string.h"
#include "pask_string_accum.h"

struct pask_stringmap {
  uint32_t magic;
  pask_hashtable_handle table;
  uint32_t flags;
};

constexpr uint32_t STRINGMAP_MAGIC = 0x1abcdef2;

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_stringmap", line);
  return status;
}

static uint32_t check(const pask_stringmap* map, bool arguments = true) {
  if (!map || !arguments) return DATATYPES_ERR_INVALID_ARG;
  return map->magic == STRINGMAP_MAGIC ? 0 : uint32_t{DATATYPES_ERR_BAD_HANDLE_READ};
}

// ---- Life

// Makes a record around the table that `make_table` makes.
template <class MakeTable>
static uint32_t map_make(pask_stringmap_handle* map, uint32_t flags, MakeTable make_table) {
  auto* made = static_cast<pask_stringmap*>(pask_memory_alloc(sizeof(pask_stringmap)));
  if (!made) return DATATYPES_ERR_NO_MEMORY;
  if (const uint32_t status = make_table(&made->table)) {
    pask_memory_free(made);
    return status;
  }
  made->magic = STRINGMAP_MAGIC;
  made->flags = flags;
  *map = made;
  return 0;
}

pask_status pask_stringmap_create(pask_stringmap_handle* map, uint32_t flags) {
  if (pask_datatypes_initchecks() == 0) return DATATYPES_ERR_NOT_INITED;
  if (!map) return failed(DATATYPES_ERR_INVALID_ARG);
  return failed(map_make(map, flags, [&](auto* table) { return pask_hashtable_create(table, flags, nullptr); }));
}

pask_status pask_stringmap_copy(pask_stringmap_handle map, pask_stringmap_handle* copy) {
  if (const uint32_t status = check(map, copy != nullptr)) return failed(status);
  return failed(map_make(copy, map->flags, [&](auto* table) { return pask_hashtable_copy(map->table, table); }));
}

pask_status pask_stringmap_delete(pask_stringmap_handle map) {
  if (!map) return 0;
  if (const uint32_t status = check(map)) return failed(status);
  if (const uint32_t status = pask_hashtable_delete(map->table)) return failed(status);
  pask_memory_free(map);
  return 0;
}

pask_status pask_stringmap_clear(pask_stringmap_handle map) {
  if (const uint32_t status = check(map)) return failed(status);
  return failed(pask_hashtable_clear(map->table));
}

pask_status pask_stringmap_copyto(pask_stringmap_handle destination, pask_stringmap_handle source) {
  if (const uint32_t status = check(destination, source != nullptr)) return failed(status);
  if (const uint32_t status = check(source, source != destination)) return failed(status);
  const char* key;
  const void* data;
  uint32_t size;
  for (uint32_t i = 0; pask_hashtable_index_get(source->table, i, &key, &data, &size) == 0; ++i)
    pask_hashtable_value_add(destination->table, key, data, size, 1);
  return 0;
}

// ---- Values

pask_status pask_stringmap_value_add(pask_stringmap_handle map, const char* key, const char* value) {
  if (const uint32_t status = check(map)) return failed(status);
  const uint8_t copy = !(map->flags & PASK_STRINGMAP_BORROW_VALUES);
  return failed(pask_hashtable_value_add(map->table, key, value, pask_string_bytelen(value), copy));
}

pask_status pask_stringmap_value_add_format(pask_stringmap_handle map, const char* key, const char* format, ...) {
  if (const uint32_t status = check(map)) return failed(status);
  // Room for the same text on every target.
  alignas(pask_string_accum) char block[sizeof(pask_string_accum) + 112];
  pask_string_accum* text;
  if (const uint32_t status = pask_string_accum_create(&text, block, sizeof block)) return failed(status);
  va_list args;
  va_start(args, format);
  uint32_t status = pask_string_accum_append_vformat(text, format, args);
  va_end(args);
  const char* bytes = nullptr;
  uint32_t size = 0;
  if (status == 0) status = pask_string_accum_get_string(text, &bytes, &size);
  if (status == 0) status = pask_hashtable_value_add(map->table, key, bytes, size, 1);
  pask_string_accum_delete(text);
  return failed(status);
}

// Hands out what the table holds, if it is null or a terminated text: a borrowed one may have changed.
static uint32_t give_text(const void* data, uint32_t size, const char** value) {
  const char* text = static_cast<const char*>(data);
  const bool sound = text ? size != 0 && text[size - 1] == 0 : size == 0;
  if (!sound) return DATATYPES_ERR_NOT_TEXT;
  if (value) *value = text;
  return 0;
}

pask_status pask_stringmap_value_find_ex(pask_stringmap_handle map, const char* key, uint32_t index,
                                         const char** value) {
  if (const uint32_t status = check(map)) return failed(status);
  const void* data;
  uint32_t size;
  if (const uint32_t status = pask_hashtable_value_find_ex(map->table, key, index, &data, &size)) return failed(status);
  return failed(give_text(data, size, value));
}

pask_status pask_stringmap_value_get(pask_stringmap_handle map, uint32_t index, const char** key, const char** value) {
  if (const uint32_t status = check(map)) return failed(status);
  const void* data;
  uint32_t size;
  if (const uint32_t status = pask_hashtable_index_get(map->table, index, key, &data, &size)) return failed(status);
  return failed(give_text(data, size, value));
}

pask_status pask_stringmap_value_count(pask_stringmap_handle map, const char* key, uint32_t* count) {
  if (const uint32_t status = check(map, count != nullptr)) return failed(status);
  uint32_t values = 0;
  if (const uint32_t status = pask_hashtable_value_count(map->table, key, &values)) return failed(status);
  *count = values;
  return 0;
}

pask_status pask_stringmap_count(pask_stringmap_handle map, uint32_t* count) {
  if (const uint32_t status = check(map, count != nullptr)) return failed(status);
  return failed(pask_hashtable_count(map->table, count));
}

pask_status pask_stringmap_value_delete(pask_stringmap_handle map, const char* key) {
  if (const uint32_t status = check(map)) return failed(status);
  return failed(pask_hashtable_value_delete(map->table, key));
}
