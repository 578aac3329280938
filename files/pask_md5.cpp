// MD5: the transform, the message around it, and the stream that hashes what passes. Takes no lock.
#include "pask_md5.h"

#include <string.h>

#include <utility>

#include "pask_status.h"
#include "pask_string.h"

static constexpr uint32_t MD5_ERR_INVALID_ARG = status_error(PKG_MD5, CODE_INVALID_ARG);
static constexpr uint32_t MD5_ERR_NO_MEMORY = status_error(PKG_MD5, CODE_NO_MEMORY);

static constexpr uint32_t BLOCK = sizeof(pask_md5_ctx::buffer);
static constexpr uint32_t LENGTH_AT = BLOCK - sizeof(pask_md5_ctx::count);  // where a last block holds the length

static_assert(offsetof(pask_md5_ctx, digest) == 88 && offsetof(pask_md5_ctx, hex) == 104);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "words are taken from a message as they lie there");

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_md5", line);
  return status;
}

/* ---- The transform ----------------------------------------------------------------------------------------------- */

// The whole part of 2^32 times the absolute sine of 1 to 64.
static constexpr uint32_t k_sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

// Each round rotates by four amounts in turn, and walks the words of the block from a first one in strides.
struct md5_round {
  int rotations[4];
  uint32_t first, stride;
};
static constexpr md5_round k_rounds[4] = {
    {{7, 12, 17, 22}, 0, 1}, {{5, 9, 14, 20}, 1, 5}, {{4, 11, 16, 23}, 5, 3}, {{6, 10, 15, 21}, 0, 7}};

static inline uint32_t word_at(const uint8_t* block, uint32_t index) {
  uint32_t word;
  memcpy(&word, block + 4 * index, sizeof word);
  return word;
}

// The round's function of b, c and d, added to what doesn't depend on b: each step waits for the b of the step before,
// so the fewer operations follow on b the better. The first function selects without a complement; the halves of the
// second have no bit in common, so that the one without b is added early.
template <uint32_t Round>
[[gnu::always_inline]] static inline uint32_t mixed(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
  if constexpr (Round == 0) return sum + (d ^ (b & (c ^ d)));
  if constexpr (Round == 1) return sum + (c & ~d) + (b & d);
  if constexpr (Round == 2) return sum + (b ^ (c ^ d));
  if constexpr (Round == 3) return sum + (c ^ (b | ~d));
}

// Step I of 64. The four values change their names from step to step instead of their places.
template <uint32_t I>
[[gnu::always_inline]] static inline void step(uint32_t (&s)[4], const uint8_t* block) {
  constexpr md5_round round = k_rounds[I / 16];
  constexpr int rotation = round.rotations[I % 4];
  uint32_t& a = s[(64 - I) % 4];
  const uint32_t b = s[(65 - I) % 4], c = s[(66 - I) % 4], d = s[(67 - I) % 4];
  const uint32_t sum = mixed<I / 16>(a + k_sines[I] + word_at(block, (round.first + I * round.stride) % 16), b, c, d);
  a = b + (sum << rotation | sum >> (32 - rotation));
}

template <uint32_t... I>
[[gnu::always_inline]] static inline void steps(uint32_t (&s)[4], const uint8_t* block,
                                                std::integer_sequence<uint32_t, I...>) {
  (step<I>(s, block), ...);
}

// Whole blocks straight from the message.
static void transform(uint32_t* state, const uint8_t* blocks, uint32_t count) {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (; count != 0; --count, blocks += BLOCK) {
    uint32_t s[4] = {a, b, c, d};
    steps(s, blocks, std::make_integer_sequence<uint32_t, 64>());
    a += s[0], b += s[1], c += s[2], d += s[3];
  }
  state[0] = a, state[1] = b, state[2] = c, state[3] = d;
}

void _pask_md5_transform(uint32_t* state, const uint32_t* words) {
  transform(state, reinterpret_cast<const uint8_t*>(words), 1);
}

/* ---- The message ------------------------------------------------------------------------------------------------- */

// The place of the next byte in the block being filled.
static uint32_t block_index(const pask_md5_ctx* ctx) { return ctx->count[0] / 8 % BLOCK; }

void _pask_md5_update(pask_md5_ctx* ctx, const void* data, uint32_t size) {
  const uint8_t* from = static_cast<const uint8_t*>(data);
  uint32_t index = block_index(ctx);
  uint64_t bits = 0;
  memcpy(&bits, ctx->count, sizeof bits);
  bits += uint64_t{size} * 8;
  memcpy(ctx->count, &bits, sizeof bits);
  if (const uint32_t room = BLOCK - index; size >= room) {
    if (index != 0) {
      memcpy(ctx->buffer + index, from, room);
      transform(ctx->state, ctx->buffer, 1);
      from += room;
      size -= room;
      index = 0;
    }
    transform(ctx->state, from, size / BLOCK);
    from += size / BLOCK * BLOCK;
    size %= BLOCK;
  }
  if (size != 0) memcpy(ctx->buffer + index, from, size);
}

uint32_t pask_md5_start(pask_md5_ctx* ctx) {
  if (!ctx) return failed(MD5_ERR_INVALID_ARG);
  static constexpr uint32_t k_initial[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  memset(ctx->count, 0, sizeof ctx->count);
  memcpy(ctx->state, k_initial, sizeof ctx->state);
  return 0;
}

uint32_t pask_md5_compute(pask_md5_ctx* ctx, const void* data, uint32_t size) {
  if (!ctx || (!data && size != 0)) return failed(MD5_ERR_INVALID_ARG);
  if (size != 0) _pask_md5_update(ctx, data, size);
  return 0;
}

// Pads the message with a 1 bit, zeros and its length, to a whole block or two.
static void pad(pask_md5_ctx* ctx) {
  uint32_t index = block_index(ctx);
  ctx->buffer[index++] = 0x80;
  if (index > LENGTH_AT) {
    memset(ctx->buffer + index, 0, BLOCK - index);
    transform(ctx->state, ctx->buffer, 1);
    index = 0;
  }
  memset(ctx->buffer + index, 0, LENGTH_AT - index);
  memcpy(ctx->buffer + LENGTH_AT, ctx->count, sizeof ctx->count);
  transform(ctx->state, ctx->buffer, 1);
}

uint32_t pask_md5_end(pask_md5_ctx* ctx) {
  if (!ctx) return failed(MD5_ERR_INVALID_ARG);
  pad(ctx);
  memcpy(ctx->digest, ctx->state, sizeof ctx->digest);
  char* digit = ctx->hex;
  for (const uint8_t byte : ctx->digest) {
    *digit++ = "0123456789abcdef"[byte >> 4];
    *digit++ = "0123456789abcdef"[byte & 15];
  }
  *digit = '\0';
  return 0;
}

static const char* behind_blanks(const char* s) {
  while (*s >= 1 && *s <= 32) ++s;
  return s;
}

uint8_t pask_md5_isvalidhash(const char* text) {
  if (!text) return 0;
  const char* const digits = behind_blanks(text);
  uint32_t count = 0;
  while (count <= 32 && pask_string_isxdigit(static_cast<uint8_t>(digits[count]))) ++count;
  return count >= 1 && count <= 32 && *behind_blanks(digits + count) == '\0';
}

/* ---- The stream -------------------------------------------------------------------------------------------------- */

struct pask_md5_stream {
  pask_iostream_handle inner;  // a reference of its own
  pask_md5_ctx* ctx;           // the caller's
};

static uint32_t _md5_iostream_read_buffer(void* user_data, void* buffer, uint32_t size, uint32_t* got) {
  const auto* s = static_cast<const pask_md5_stream*>(user_data);
  if (const uint32_t status = pask_iostream_read(s->inner, buffer, size, got)) return failed(status);
  pask_md5_compute(s->ctx, buffer, *got);
  return 0;
}

static uint32_t _md5_iostream_write_buffer(void* user_data, const void* data, uint32_t size, uint32_t* written) {
  const auto* s = static_cast<const pask_md5_stream*>(user_data);
  if (const uint32_t status = pask_iostream_write(s->inner, data, size, written)) return failed(status);
  pask_md5_compute(s->ctx, data, *written);
  return 0;
}

static uint32_t _md5_iostream_reset(void* user_data) {
  return pask_md5_start(static_cast<const pask_md5_stream*>(user_data)->ctx);
}

static uint32_t _md5_iostream_release(void* user_data) {
  pask_iostream_release(static_cast<const pask_md5_stream*>(user_data)->inner);
  pask_memory_free(user_data);
  return 0;
}

static constexpr uint32_t STREAM_BUFFER = 128;  // raised to the least that a reader has
static constexpr pask_iostream_callbacks k_callbacks = {_md5_iostream_read_buffer, _md5_iostream_write_buffer, nullptr,
                                                        _md5_iostream_reset, _md5_iostream_release};

uint32_t pask_md5_hash_stream(pask_iostream_handle inner, pask_iostream_handle* stream, pask_md5_ctx* ctx) {
  if (!stream) return failed(MD5_ERR_INVALID_ARG);
  auto* made = static_cast<pask_md5_stream*>(pask_memory_alloc(sizeof(pask_md5_stream)));
  if (!made) return failed(MD5_ERR_NO_MEMORY);
  *made = {.inner = inner, .ctx = ctx};
  pask_iostream_handle outer = nullptr;
  uint32_t status = pask_md5_start(ctx);
  if (!status) status = pask_iostream_create(&outer, STREAM_BUFFER, &k_callbacks, made);
  if (status) {
    pask_memory_free(made);
    return failed(status);
  }
  pask_iostream_addref(inner);
  *stream = outer;
  return 0;
}
