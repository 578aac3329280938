// The stream: one record with its buffer behind it, and a stack of blocks for what is put back beyond the buffer.
// Takes no lock; only the reference count is atomic.
//
// Whoever pushes a block has emptied the room before `position`, and readers drain the blocks before the buffer: while
// there are blocks, position is 0.
#include "pask_iostream.h"

#include <string.h>

#include "pask_atomic.h"
#include "pask_modules.h"
#include "pask_status.h"

struct pushback_block {  // the bytes lie behind it
  uint32_t offset;       // bytes already read again
  uint32_t size;
  pushback_block* next;
};

struct pask_iostream {  // the buffer lies behind it, unless the stream reads the caller's block
  uint32_t magic;
  uint32_t ref_count;
  uint32_t bytes_read;
  uint32_t bytes_written;
  void* user_data;
  pask_iostream_callbacks callbacks;
  pushback_block* pushback;  // head of the stack
  uint32_t position;         // of the next byte to read in the buffer
  uint32_t end;              // behind the last valid byte in the buffer
  uint32_t size;
  uint8_t* buffer;
  uint8_t fixed;  // the buffer is all the data that there is
  uint8_t at_end;
};
static_assert(sizeof(void*) != 4 || sizeof(pask_iostream) == 64);

static constexpr uint32_t IOSTREAM_MAGIC = 0x10574ea8u;
static constexpr uint32_t MIN_READ_BUFFER = 1024;
static constexpr uint32_t ENTIRE_STEP = 1024;  // what read_entire asks for at a time, as its growth counts it

static constexpr uint32_t CODE_END = 0x0049;
static constexpr uint32_t IOSTREAM_ERR_INVALID_ARG = status_error(PKG_IOSTREAM, CODE_INVALID_ARG);
static constexpr uint32_t IOSTREAM_ERR_NO_MEMORY = status_error(PKG_IOSTREAM, CODE_NO_MEMORY);
static constexpr uint32_t IOSTREAM_ERR_NOT_WRITABLE = status_error(PKG_IOSTREAM, 0x0005);
static constexpr uint32_t IOSTREAM_ERR_NOT_INITED = status_error(PKG_IOSTREAM, CODE_NOT_INITED);
static constexpr uint32_t IOSTREAM_ERR_UNSUPPORTED = status_error(PKG_IOSTREAM, 0x000b);
static constexpr uint32_t IOSTREAM_ERR_NOT_READABLE = status_error(PKG_IOSTREAM, 0x0052);
static constexpr uint32_t IOSTREAM_ERR_NO_STREAM = status_error(PKG_IOSTREAM, 0x0321);
static constexpr uint32_t IOSTREAM_END = status_info(PKG_IOSTREAM, CODE_END);

static bool is_end(uint32_t status) { return (status & 0xffff) == CODE_END; }
static bool is_readable(const pask_iostream* s) { return s->fixed || s->callbacks.read; }
static bool is_writable(const pask_iostream* s) { return s->callbacks.write; }
static bool is_resettable(const pask_iostream* s) { return s->fixed || s->callbacks.reset; }

// What every operation with a handle tests first.
static uint32_t checked(const pask_iostream* s, bool arguments = true) {
  if (!s) [[unlikely]]
    return IOSTREAM_ERR_INVALID_ARG;
  if (s->magic != IOSTREAM_MAGIC) [[unlikely]]
    return IOSTREAM_ERR_NO_STREAM;
  return arguments ? 0 : IOSTREAM_ERR_INVALID_ARG;
}

// A record with so many bytes behind it in the same block; null when refused, or when no 32-bit size can tell of both.
template <class Record>
static Record* record_alloc(uint32_t bytes_behind) {
  uint32_t size = 0;
  if (__builtin_add_overflow(uint32_t{sizeof(Record)}, bytes_behind, &size)) return nullptr;
  return static_cast<Record*>(pask_memory_alloc(size));
}

static uint8_t* block_bytes(pushback_block* block) { return reinterpret_cast<uint8_t*>(block + 1); }
static uint8_t* inline_buffer(pask_iostream* s) { return reinterpret_cast<uint8_t*>(s + 1); }

/* ---- Life -------------------------------------------------------------------------------------------------------- */

static pask_iostream* stream_made(uint32_t bytes_behind, void* user_data) {
  auto* s = record_alloc<pask_iostream>(bytes_behind);
  if (!s) return nullptr;
  *s = {};
  s->magic = IOSTREAM_MAGIC;
  s->ref_count = 1;
  s->user_data = user_data;
  return s;
}

uint32_t pask_iostream_create(pask_iostream** stream, uint32_t buffer_size, const pask_iostream_callbacks* callbacks,
                              void* user_data) {
  if (!pask_iostream_initchecks()) return IOSTREAM_ERR_NOT_INITED;
  if (!stream || !callbacks || (!callbacks->read && !callbacks->write)) return IOSTREAM_ERR_INVALID_ARG;
  const uint32_t size = callbacks->read && buffer_size < MIN_READ_BUFFER ? MIN_READ_BUFFER : buffer_size;
  pask_iostream* const s = stream_made(size, user_data);
  if (!s) return IOSTREAM_ERR_NO_MEMORY;
  s->callbacks = *callbacks;
  s->size = size;
  s->buffer = size != 0 ? inline_buffer(s) : nullptr;
  *stream = s;
  return 0;
}

uint32_t pask_iostream_create_from_buffer(pask_iostream** stream, void* data, uint32_t size,
                                          pask_iostream_release_fn release, void* user_data) {
  if (!pask_iostream_initchecks()) return IOSTREAM_ERR_NOT_INITED;
  if (!stream || !data || size == 0) return IOSTREAM_ERR_INVALID_ARG;
  pask_iostream* const s = stream_made(release ? 0 : size, user_data);
  if (!s) return IOSTREAM_ERR_NO_MEMORY;
  s->callbacks.release = release;
  s->size = s->end = size;
  s->buffer = static_cast<uint8_t*>(release ? data : memcpy(inline_buffer(s), data, size));
  s->fixed = 1;
  *stream = s;
  return 0;
}

uint32_t pask_iostream_addref(pask_iostream* s) {
  PASK_TRY(checked(s));
  return pask_atomic_inc(&s->ref_count, nullptr);
}

// Unlinks the head and frees it.
static void pushback_pop(pask_iostream* s) {
  pushback_block* const head = s->pushback;
  s->pushback = head->next;
  pask_memory_free(head);
}

static void pushback_clear(pask_iostream* s) {
  while (s->pushback) pushback_pop(s);
}

uint32_t pask_iostream_release(pask_iostream* s) {
  if (!s) return 0;
  PASK_TRY(checked(s));
  uint32_t left = 0;
  pask_atomic_dec(&s->ref_count, &left);
  if (left != 0) return 0;
  if (s->callbacks.release) s->callbacks.release(s->user_data);
  pushback_clear(s);
  s->magic = 0;
  pask_memory_free(s);
  return 0;
}

/* ---- Abilities --------------------------------------------------------------------------------------------------- */

static uint32_t answered(const pask_iostream* s, uint8_t* answer, bool (*can)(const pask_iostream*)) {
  PASK_TRY(checked(s, answer));
  *answer = can(s);
  return 0;
}

uint32_t pask_iostream_can_read(pask_iostream* s, uint8_t* answer) { return answered(s, answer, is_readable); }
uint32_t pask_iostream_can_write(pask_iostream* s, uint8_t* answer) { return answered(s, answer, is_writable); }
uint32_t pask_iostream_can_reset(pask_iostream* s, uint8_t* answer) { return answered(s, answer, is_resettable); }

/* ---- Reading ----------------------------------------------------------------------------------------------------- */

static uint32_t smaller(uint32_t a, uint32_t b) { return a < b ? a : b; }

static uint32_t take_pushback(pask_iostream* s, uint8_t* to, uint32_t wanted) {
  uint32_t taken = 0;
  while (s->pushback && taken < wanted) {
    pushback_block* const head = s->pushback;
    const uint32_t n = smaller(wanted - taken, head->size - head->offset);
    memcpy(to + taken, block_bytes(head) + head->offset, n);
    taken += n;
    head->offset += n;
    if (head->offset == head->size) pushback_pop(s);
  }
  return taken;
}

// Copies what can be had without the source, and counts it as read.
static uint32_t take(pask_iostream* s, uint8_t* to, uint32_t wanted) {
  uint32_t taken = 0;
  if (s->pushback) [[unlikely]]
    taken = take_pushback(s, to, wanted);
  if (const uint32_t n = smaller(wanted - taken, s->end - s->position)) {
    memcpy(to + taken, s->buffer + s->position, n);
    s->position += n;
    taken += n;
  }
  s->bytes_read += taken;
  return taken;
}

// Has the source fill the empty buffer, and sets at_end at its end. Gives the word with which it ended or failed.
static uint32_t fill(pask_iostream* s) {
  if (s->fixed) {
    s->at_end = 1;
    return IOSTREAM_END;
  }
  uint32_t count = 0;
  const uint32_t status = s->callbacks.read(s->user_data, s->buffer, s->size, &count);
  if (status != 0) {
    s->at_end = is_end(status);
    return status;
  }
  s->position = 0;
  s->end = smaller(count, s->size);
  s->at_end = count == 0;
  return 0;
}

uint32_t pask_iostream_read(pask_iostream* s, void* buffer, uint32_t size, uint32_t* got) {
  PASK_TRY(checked(s));
  if (!is_readable(s)) return IOSTREAM_ERR_NOT_READABLE;
  if (s->at_end) return IOSTREAM_END;
  if (!buffer && size != 0) return IOSTREAM_ERR_INVALID_ARG;
  uint8_t* const to = static_cast<uint8_t*>(buffer);
  uint32_t copied = take(s, to, size);
  while (copied < size) {
    const uint32_t status = fill(s);
    if (status != 0 && (copied == 0 || !is_end(status))) return status;
    if (s->at_end) break;
    copied += take(s, to + copied, size - copied);
  }
  if (got) *got = copied;
  return 0;
}

static pushback_block* pushback_made(const void* data, uint32_t size, pushback_block* next) {
  auto* block = record_alloc<pushback_block>(size);
  if (!block) return nullptr;
  *block = {.offset = 0, .size = size, .next = next};
  memcpy(block_bytes(block), data, size);
  return block;
}

uint32_t pask_iostream_putback(pask_iostream* s, const void* data, uint32_t size) {
  PASK_TRY(checked(s, data));
  if (size == 0) return 0;
  const uint32_t tail = smaller(size, s->position);
  const uint32_t front = size - tail;
  // The data may lie in the buffer: the front is copied before the tail is moved.
  pushback_block* const block = front != 0 ? pushback_made(data, front, s->pushback) : nullptr;
  if (tail != 0) {
    s->position -= tail;
    memmove(s->buffer + s->position, static_cast<const uint8_t*>(data) + front, tail);
  }
  if (front != 0) {
    if (!block) return IOSTREAM_ERR_NO_MEMORY;
    s->pushback = block;
  }
  s->at_end = 0;
  return 0;
}

uint32_t pask_iostream_reset(pask_iostream* s) {
  PASK_TRY(checked(s));
  if (!is_resettable(s)) return IOSTREAM_ERR_UNSUPPORTED;
  if (s->callbacks.reset) PASK_TRY(s->callbacks.reset(s->user_data));
  s->position = 0;
  s->at_end = 0;
  if (!s->fixed) s->end = 0;
  pushback_clear(s);
  return 0;
}

namespace {

struct growing_text {
  char* text;
  uint32_t size;
  uint32_t capacity;  // 0, or above the size
};

}  // namespace

// Appends a step's bytes. The capacity grows to twice itself and them together.
static uint32_t append(growing_text* t, const char* bytes, uint32_t count) {
  if (t->capacity - t->size <= count) {
    uint32_t capacity = 0;
    if (__builtin_mul_overflow(uint64_t{t->capacity} + count, 2, &capacity)) return IOSTREAM_ERR_NO_MEMORY;
    auto* moved = static_cast<char*>(pask_memory_realloc(t->text, capacity));
    if (!moved) return IOSTREAM_ERR_NO_MEMORY;
    t->text = moved;
    t->capacity = capacity;
  }
  memcpy(t->text + t->size, bytes, count);
  t->size += count;
  return 0;
}

// Reads to the end. A step that may make the text grow goes through the stack, so that its bytes are counted before
// room is made for them; whole steps that find room are read in place, all at once.
static uint32_t read_steps(pask_iostream* s, growing_text* t) {
  char step[ENTIRE_STEP];
  for (;;) {
    const uint32_t spare = t->capacity - t->size;
    const uint32_t in_place = spare != 0 ? (spare - 1) / ENTIRE_STEP * ENTIRE_STEP : 0;
    char* const to = in_place != 0 ? t->text + t->size : step;
    uint32_t got = 0;
    const uint32_t status = pask_iostream_read(s, to, in_place != 0 ? in_place : ENTIRE_STEP, &got);
    if (status != 0) return is_end(status) ? 0 : status;
    if (got == 0) return 0;
    if (to == step)
      PASK_TRY(append(t, step, got));
    else
      t->size += got;
  }
}

uint32_t pask_iostream_read_entire(pask_iostream* s, char** text, uint32_t* size) {
  PASK_TRY(checked(s, text && size));
  growing_text read = {nullptr, 0, 0};
  if (const uint32_t status = read_steps(s, &read)) {
    pask_memory_free(read.text);
    return status;
  }
  if (read.size + 1 < read.capacity)
    if (auto* shrunk = static_cast<char*>(pask_memory_realloc(read.text, read.size + 1))) read.text = shrunk;
  if (read.size != 0) read.text[read.size] = '\0';
  *text = read.text;
  *size = read.size;
  return 0;
}

/* ---- Writing and counts ------------------------------------------------------------------------------------------ */

uint32_t pask_iostream_write(pask_iostream* s, const void* data, uint32_t size, uint32_t* written) {
  PASK_TRY(checked(s));
  if (!is_writable(s)) return IOSTREAM_ERR_NOT_WRITABLE;
  if (!data && size != 0) return IOSTREAM_ERR_INVALID_ARG;
  uint32_t count = 0;
  PASK_TRY(s->callbacks.write(s->user_data, data, size, &count));
  count = smaller(count, size);
  s->bytes_written += count;
  if (written) *written = count;
  return 0;
}

uint32_t pask_iostream_flush(pask_iostream* s) {
  PASK_TRY(checked(s));
  return s->callbacks.flush ? s->callbacks.flush(s->user_data) : 0;
}

uint32_t pask_iostream_throughput(pask_iostream* s, uint32_t* bytes_read, uint32_t* bytes_written) {
  PASK_TRY(checked(s));
  if (!is_resettable(s)) return IOSTREAM_ERR_UNSUPPORTED;
  if (bytes_read) *bytes_read = s->bytes_read;
  if (bytes_written) *bytes_written = s->bytes_written;
  return 0;
}
