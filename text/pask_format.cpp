// The format engine: walks a format, hands each conversion to the parser and its converter, and pads what comes back
// into an accumulator. Only the accumulator knows about room and refusal; nothing here looks at its answers.
#include "pask_format.h"

#include <string.h>

#include "pask_format_conversion.h"
#include "pask_string_accum_append.h"

namespace {

// Room for text in the blocks on the stack: what 300 bytes hold beside a record of 32 bits.
constexpr uint32_t STACK_ROOM = 300 - 16;

constexpr char k_spaces[] = "                             ";
constexpr uint32_t SPACES = sizeof k_spaces - 1;
static_assert(SPACES == 29);

uint32_t _string_printf_appendSpace(pask_string_accum* acc, uint32_t count) {
  if (accum_has_room(acc, count)) [[likely]] {
    memset(acc->text + acc->length, ' ', count);
    acc->length += count;
    acc->text[acc->length] = 0;
    return 0;
  }
  for (; count >= SPACES; count -= SPACES)
    if (const uint32_t status = accum_append(acc, k_spaces, SPACES)) return status;
  return count ? accum_append(acc, k_spaces, count) : 0;
}

void emit(pask_string_accum* acc, const conversion& c, const format_text& text) {
  const uint32_t padding = c.width > text.length ? c.width - text.length : 0;
  if (padding != 0 && !(c.flags & FLAG_LEFT)) _string_printf_appendSpace(acc, padding);
  if (text.length != 0) accum_append(acc, text.bytes, text.length);
  if (padding != 0 && c.flags & FLAG_LEFT) _string_printf_appendSpace(acc, padding);
}

bool is_plain(char c) { return static_cast<signed char>(c) > 0 && c != '%'; }

// True when no byte of the word is a "%" or has its high bit set.
bool is_plain(text_word word) {
  const text_word percent = word ^ WORD_ONES * '%';
  return ((word | ((percent - WORD_ONES) & ~percent)) & WORD_HIGHS) == 0;
}

// The first byte that is a "%", the terminator or no ASCII: a few bytes singly, then words in blocks.
const char* skip_plain(const char* at) {
  for (const char* single = at + 12; at != single; ++at)
    if (!is_plain(*at)) return at;
  constexpr size_t BLOCK = 128;
  for (;; at += BLOCK) {
    const size_t size = strnlen(at, BLOCK);
    size_t i = 0;
    while (i + sizeof(text_word) <= size && is_plain(text_load(at + i))) i += sizeof(text_word);
    while (i < size && is_plain(at[i])) ++i;
    if (i < BLOCK) return at + i;
  }
}

// The end of the plain text at `at`. `behind` receives the position behind the "%" there, or null at the format's end.
const char* plain_end(const char* at, const char** behind) {
  for (;;) {
    at = skip_plain(at);
    const char* next = at;
    const uint32_t ch = format_next_char(&next);
    if (ch == 0 || ch == '%') {
      *behind = ch ? next : nullptr;
      return at;
    }
    at = next;
  }
}

void format_into(pask_string_accum* acc, const char* format, format_args* args) {
  char area[WORK_AREA];
  conversion c;
  for (const char* at = format;;) {
    const char* behind = nullptr;
    const char* end = plain_end(at, &behind);
    if (end != at) accum_append(acc, at, static_cast<size_t>(end - at));
    if (!behind) return;
    at = format_parse(behind, args, &c);
    if (!at) {
      accum_append(acc, "%", 1);
      return;
    }
    emit(acc, c, c.row->convert(&c, args, acc, area));
  }
}

}  // namespace

pask_status _pask_string_printf(pask_string_accum* acc, const char* format, va_list args) {
  if (!acc || !format) return 0;
  format_args own;
  va_copy(own.list, args);
  format_into(acc, format, &own);
  va_end(own.list);
  return 0;
}

uint32_t pask_string_vsnprintf(char* dst, uint32_t size, const char* format, va_list args) {
  if (!dst || size == 0) return 0;
  if (!format) {
    *dst = 0;
    return 0;
  }
  // dst may lie in an argument: it is written last.
  stack_accum<STACK_ROOM> acc;
  _pask_string_printf(&acc.record, format, args);
  const uint32_t length = acc.record.length;
  const uint32_t kept = length < size ? length : size - 1;
  move_bytes(dst, acc.record.text, kept);
  dst[kept] = 0;
  return length ? length + 1 : 0;
}

uint32_t pask_string_snprintf(char* dst, uint32_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const uint32_t written = pask_string_vsnprintf(dst, size, format, args);
  va_end(args);
  return written;
}

int32_t _pask_string_mvprintf(char** result, const char* format, va_list args) {
  stack_accum<STACK_ROOM> acc;
  _pask_string_printf(&acc.record, format, args);
  uint32_t size = 0;
  if (pask_string_accum_detach(&acc.record, result, &size) != 0) return -1;
  return static_cast<int32_t>(size);
}

char* pask_string_vmprintf(const char* format, va_list args) {
  char* text = nullptr;
  if (format) _pask_string_mvprintf(&text, format, args);
  return text;
}

char* pask_string_mprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  char* text = pask_string_vmprintf(format, args);
  va_end(args);
  return text;
}
