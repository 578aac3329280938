// A digest stream over memory, read and put back in pieces that the input tells: the bytes come in their order, and
// the digest is the one taken at once. The input as text tells the form of a hash as well.
#include <velox/pask_md5.h>
#include <velox/pask_modules.h>

#include <cstdlib>
#include <cstring>
#include <string>

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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string unread(reinterpret_cast<const char*>(data), size);
  require_hash_form(unread);
  pask_md5_ctx whole, streamed;
  require(pask_md5_start(&whole) + pask_md5_compute(&whole, data, uint32_t(size)) + pask_md5_end(&whole) == 0);

  require(pask_iostream_initialize() == 0);
  pask_iostream_handle inner = nullptr, stream = nullptr;
  require(pask_iostream_create_from_buffer(&inner, unread.data(), uint32_t(size), nullptr, nullptr) == 0);
  require(pask_md5_hash_stream(inner, &stream, &streamed) + pask_iostream_release(inner) == 0);
  char piece[65536];
  uint32_t got = 0;
  for (size_t at = 0; at < size; ++at) {  // each byte a step: a read, or bytes given back that needn't be those read
    const uint32_t n = data[at] / 2u;
    if (data[at] % 2 != 0) {
      require(pask_iostream_putback(stream, data, n < size ? n : uint32_t(size)) == 0);
      unread.insert(0, reinterpret_cast<const char*>(data), n < size ? n : size);
    } else if (pask_iostream_read(stream, piece, n * 16, &got) == 0) {
      require(unread.compare(0, got, piece, got) == 0 && (got == n * 16 || got == unread.size()));
      unread.erase(0, got);
    }
  }
  while (pask_iostream_read(stream, piece, sizeof piece, &got) == 0) {
    require(unread.compare(0, got, piece, got) == 0);
    unread.erase(0, got);
  }
  require(unread.empty() && pask_iostream_release(stream) + pask_md5_end(&streamed) + pask_iostream_shutdown() == 0);
  require(strcmp(whole.hex, streamed.hex) == 0);
  return 0;
}
