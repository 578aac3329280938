// The accumulator: life, growth, appending and change. Formats through the engine of pask_format.h. Takes no lock and
// logs nothing.
#include "pask_string_accum.h"

#include <stddef.h>
#include <string.h>

#include "pask_assert.h"
#include "pask_format.h"
#include "pask_status.h"
#include "pask_string.h"
#include "pask_string_accum_append.h"
#include "pask_text.h"
#include "velox_manager.h"

static_assert(offsetof(pask_string_accum, text) == 0 && offsetof(pask_string_accum, length) == sizeof(char*));
static_assert(offsetof(pask_string_accum, owns_text) == offsetof(pask_string_accum, owns_record) + 1);
static_assert(sizeof(char*) != 4 || sizeof(pask_string_accum) == 16);

namespace {

constexpr uint32_t INVALID_ARG = status_error(PKG_STRING, CODE_INVALID_ARG);

void* alloc_zeroed(uint32_t size) {
  void* block = pask_memory_alloc(size);
  if (block) memset(block, 0, size);
  return block;
}

pask_string_accum* create_on_heap(uint32_t size) {
  auto* acc = static_cast<pask_string_accum*>(alloc_zeroed(sizeof(pask_string_accum)));
  if (!acc) return nullptr;
  acc->owns_record = acc->owns_text = 1;
  if (size == 0) return acc;
  acc->text = static_cast<char*>(alloc_zeroed(size));
  acc->capacity = size;
  if (acc->text) return acc;
  pask_memory_free(acc);
  return nullptr;
}

// The tail of every append.
uint32_t give_text(const pask_string_accum* acc, uint32_t status, const char** text_out) {
  PASK_ASSERT(acc->length == 0 || (acc->length < acc->capacity && acc->text[acc->length] == 0));
  if (status == 0 && text_out) *text_out = acc->text;
  return status;
}

uint32_t visible_size(const pask_string_accum* acc) { return acc->length ? acc->length + 1 : 0; }

}  // namespace

uint32_t _pask_string_accum_resize(pask_string_accum* acc, uint32_t needed) {
  if (acc->capacity >= needed) return 0;
  uint32_t capacity = 0;
  if (__builtin_mul_overflow(needed, 2u, &capacity)) return STRING_ERR_NO_MEMORY;
  const bool on_heap = acc->owns_text && acc->text;
  void* block = on_heap ? pask_memory_realloc(acc->text, capacity) : pask_memory_alloc(capacity);
  if (!block) return STRING_ERR_NO_MEMORY;
  if (!on_heap && acc->length) memcpy(block, acc->text, acc->length);
  acc->text = static_cast<char*>(block);
  acc->capacity = capacity;
  acc->owns_text = 1;
  return 0;
}

uint32_t accum_append_grown(pask_string_accum* acc, const char* bytes, size_t n) {
  if (n >= UINT32_MAX - acc->length) return STRING_ERR_NO_MEMORY;
  // A source inside the own text has moved with it.
  const uintptr_t offset = reinterpret_cast<uintptr_t>(bytes) - reinterpret_cast<uintptr_t>(acc->text);
  const bool own = acc->text && offset <= acc->length;
  PASK_TRY(_pask_string_accum_resize(acc, acc->length + static_cast<uint32_t>(n) + 1));
  accum_put(acc, own ? acc->text + offset : bytes, n);
  return 0;
}

pask_status pask_string_accum_create(pask_string_accum** acc, void* storage, uint32_t size) {
  if (!acc) return INVALID_ARG;
  pask_string_accum* made = nullptr;
  if (storage && size > sizeof *made) {
    memset(storage, 0, size);
    made = static_cast<pask_string_accum*>(storage);
    made->text = static_cast<char*>(storage) + sizeof *made;
    made->capacity = size - static_cast<uint32_t>(sizeof *made);
  } else {
    made = create_on_heap(size);
    if (!made) return STRING_ERR_NO_MEMORY;
  }
  *acc = made;
  return 0;
}

pask_status pask_string_accum_delete(pask_string_accum* acc) {
  if (!acc) return 0;
  if (acc->owns_text) pask_memory_free(acc->text);
  if (acc->owns_record) pask_memory_free(acc);
  return 0;
}

pask_status pask_string_accum_append(pask_string_accum* acc, const char* s, const char** text_out) {
  if (!acc) return INVALID_ARG;
  return give_text(acc, s ? accum_append(acc, s, strlen(s)) : 0, text_out);
}

pask_status pask_string_accum_append_accum(pask_string_accum* acc, const pask_string_accum* other,
                                           const char** text_out) {
  if (!acc) return INVALID_ARG;
  return give_text(acc, other && other->text ? accum_append(acc, other->text, other->length) : 0, text_out);
}

pask_status pask_string_accum_append_chars(pask_string_accum* acc, const char* s, uint32_t n, const char** text_out) {
  if (!acc) return INVALID_ARG;
  if (n == 0) return 0;
  return give_text(acc, s ? accum_append(acc, s, pask_string_byteclen(s, n)) : 0, text_out);
}

pask_status pask_string_accum_append_bytes(pask_string_accum* acc, const void* bytes, uint32_t n,
                                           const char** text_out) {
  if (!acc) return INVALID_ARG;
  if (n == 0) return 0;
  return give_text(acc, bytes ? accum_append(acc, static_cast<const char*>(bytes), n) : 0, text_out);
}

pask_status pask_string_accum_append_vformat(pask_string_accum* acc, const char* format, va_list args) {
  if (!acc) return INVALID_ARG;
  return format ? _pask_string_printf(acc, format, args) : 0;
}

pask_status pask_string_accum_append_format(pask_string_accum* acc, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const uint32_t status = pask_string_accum_append_vformat(acc, format, args);
  va_end(args);
  return status;
}

pask_status pask_string_accum_bytelen(const pask_string_accum* acc, uint32_t* size) {
  if (!acc || !size) return INVALID_ARG;
  *size = visible_size(acc);
  return 0;
}

pask_status pask_string_accum_get_string(const pask_string_accum* acc, const char** text, uint32_t* size) {
  if (!acc) return INVALID_ARG;
  if (text) *text = acc->text;
  if (size) *size = visible_size(acc);
  return 0;
}

pask_status pask_string_accum_detach(pask_string_accum* acc, char** text, uint32_t* size) {
  if (!acc || !text) return INVALID_ARG;
  char* whole = nullptr;
  if (acc->owns_text && acc->text) {
    whole = static_cast<char*>(pask_memory_realloc(acc->text, acc->length + 1));
    if (!whole) whole = acc->text;  // larger than it need be, and still good
  } else {
    whole = static_cast<char*>(pask_memory_alloc(acc->length + 1));
    if (!whole) return STRING_ERR_NO_MEMORY;
    if (acc->length) memcpy(whole, acc->text, acc->length);
  }
  whole[acc->length] = 0;
  if (size) *size = visible_size(acc);
  *text = whole;
  acc->text = nullptr;
  acc->length = acc->capacity = 0;
  acc->owns_text = 0;
  return 0;
}

pask_status pask_string_accum_remove_range(pask_string_accum* acc, uint32_t start, uint32_t count, uint32_t* removed) {
  if (!acc) return INVALID_ARG;
  if (start > acc->length) start = acc->length;
  const uint32_t behind = acc->length - start;
  if (count > behind) count = behind;
  if (count != 0) {
    memmove(acc->text + start, acc->text + start + count, behind - count);
    acc->length -= count;
    acc->text[acc->length] = 0;
  }
  if (removed) *removed = count;
  return 0;
}

pask_status pask_string_accum_clear(pask_string_accum* acc) {
  if (!acc) return INVALID_ARG;
  acc->length = 0;
  if (acc->text) acc->text[0] = 0;
  return 0;
}

pask_status pask_string_accum_set(pask_string_accum* acc, const char* s) {
  PASK_TRY(pask_string_accum_clear(acc));
  return pask_string_accum_append(acc, s, nullptr);
}

pask_status pask_string_accum_set_format(pask_string_accum* acc, const char* format, ...) {
  PASK_TRY(pask_string_accum_clear(acc));
  va_list args;
  va_start(args, format);
  const uint32_t status = pask_string_accum_append_vformat(acc, format, args);
  va_end(args);
  return status;
}
