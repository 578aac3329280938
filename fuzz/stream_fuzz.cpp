// Streams against their model; the digest of what passes through a stream; the form of a hash.
#include <velox/pask_md5.h>
#include <velox/pask_modules.h>

#include <cstdlib>

#include "stream_model.h"

static void require(bool holds) {
  if (!holds) abort();
}

static void require_hash_form(const std::string& text) {
  const std::string s = text.c_str();
  size_t from = 0, to = s.size();
  const auto blank = [&](size_t at) { return uint8_t(s[at]) <= 32; };
  while (from < to && blank(from)) ++from;
  while (from < to && blank(to - 1)) --to;
  const std::string core = s.substr(from, to - from);
  const bool hex = core.find_first_not_of("0123456789abcdefABCDEF") == core.npos;
  require(pask_md5_isvalidhash(s.c_str()) == (hex && !core.empty() && core.size() <= 32));
}

// Reads of as many bytes as the data's own tell.
static void require_same_digest(const uint8_t* data, uint32_t size) {
  pask_md5_ctx whole, passed;
  require(pask_md5_start(&whole) + pask_md5_compute(&whole, data, size) + pask_md5_end(&whole) == 0);
  const auto release = [](void*) -> pask_status { return 0; };
  pask_iostream_handle inner = nullptr, stream = nullptr;
  require(pask_iostream_create_from_buffer(&inner, const_cast<uint8_t*>(data), size, release, nullptr) == 0);
  require(pask_md5_hash_stream(inner, &stream, &passed) + pask_iostream_release(inner) == 0);
  uint8_t piece[256 * 8];
  uint32_t got = 0;
  for (uint32_t at = 0; pask_iostream_read(stream, piece, (data[at % size] + 1u) * 8, &got) == 0; at += got)
    require(got <= size - at && memcmp(piece, data + at, got) == 0);
  require(pask_iostream_release(stream) + pask_md5_end(&passed) == 0 && strcmp(whole.hex, passed.hex) == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  require(pask_iostream_initialize() == 0);
  require(stream_model::holds(text));
  if (size != 0) require_same_digest(data, uint32_t(size));
  require(pask_iostream_shutdown() == 0);
  require_hash_form(text);
  return 0;
}
