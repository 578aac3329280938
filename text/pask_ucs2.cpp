// Conversion between UTF-8 and UCS-2, into the caller's room or into a block of the memory service.
#include "pask_string.h"
#include "pask_text.h"
#include "pask_utf8.h"

static uint16_t in_order(uint16_t unit, uint32_t swap) { return swap != 0 ? __builtin_bswap16(unit) : unit; }

uint32_t pask_string_utf8_to_ucs2_buf(const char* src, uint32_t src_bytes, uint16_t* dst, uint32_t* written,
                                      uint32_t swap) {
  const char* const end = src + src_bytes;
  uint16_t* to = dst;
  uint32_t status = 0;
  while (src < end) {
    // A run of ASCII is a unit for each byte, whatever comes behind it.
    for (const char* const run_end = src + text_ascii_run(src, end); src < run_end; ++src)
      *to++ = in_order(text_byte(src), swap);
    if (src == end) break;
    // The end isn't a terminator: what it cuts must not be read.
    const size_t size = utf8_lead_size(text_byte(src));
    if (size == 0 || size > static_cast<size_t>(end - src) || utf8_sequence_size(src) == 0) {
      status = STRING_ERR_INVALID_UTF8;
      break;
    }
    *to++ = in_order(static_cast<uint16_t>(utf8_assemble(src, static_cast<uint32_t>(size))), swap);
    src += size;
  }
  *written = static_cast<uint32_t>(to - dst) * 2;
  return status;
}

uint32_t pask_string_ucs2_to_utf8_buf(const uint16_t* src, uint32_t src_bytes, char* dst, uint32_t* size,
                                      uint32_t swap) {
  const uint32_t room = *size;
  *size = 0;
  if (src_bytes % 2 != 0) return STRING_ERR_ODD_UCS2;
  uint32_t done = 0;
  uint32_t status = 0;
  for (const uint16_t* const end = src + src_bytes / 2; src < end && status == 0; ++src) {
    uint32_t bytes = 0;
    status = _utf8_set_next_char(dst + done, room - done, in_order(*src, swap), &bytes);
    done += bytes;
  }
  *size = done;
  return status;
}

// A block for the conversion of a text of that many bytes: 4 for each of them and of two more.
static void* conversion_block(uint32_t text_bytes, uint32_t* size) {
  if (__builtin_add_overflow(text_bytes, 2u, size) || __builtin_mul_overflow(*size, 4u, size)) return nullptr;
  void* const block = pask_memory_alloc(*size);
  if (block && text_bytes == 0) memset(block, 0, sizeof(uint16_t));
  return block;
}

// Hands the block out, or frees it when the conversion failed.
template <typename T>
static uint32_t conversion_end(uint32_t status, void* block, T** result) {
  if (status == 0)
    *result = static_cast<T*>(block);
  else
    pask_memory_free(block);
  return status;
}

uint32_t pask_string_utf8_to_ucs2(const char* src, uint16_t** result, uint32_t swap) {
  const uint32_t bytes = pask_string_bytelen(src);
  uint32_t size = 0;
  uint16_t* const block = static_cast<uint16_t*>(conversion_block(bytes, &size));
  if (!block) return STRING_ERR_NO_MEMORY;
  return conversion_end(pask_string_utf8_to_ucs2_buf(src, bytes, block, &size, swap), block, result);
}

uint32_t pask_string_ucs2_to_utf8(const uint16_t* src, char** result, uint32_t swap) {
  const uint32_t bytes = pask_string_bytelen_uni(src);
  uint32_t size = 0;
  char* const block = static_cast<char*>(conversion_block(bytes, &size));
  if (!block) return STRING_ERR_NO_MEMORY;
  return conversion_end(pask_string_ucs2_to_utf8_buf(src, bytes, block, &size, swap), block, result);
}

uint32_t pask_string_bytelen_uni(const uint16_t* s) {
  uint32_t bytes = 0;
  return s && __builtin_mul_overflow(pask_string_charlen_uni(s) + 1, 2u, &bytes) ? UINT32_MAX : bytes;
}

uint32_t pask_string_charlen_uni(const uint16_t* s) {
  if (!s) return 0;
  const uint16_t* end = s;
  while (*end != 0) ++end;
  return static_cast<uint32_t>(end - s);
}
