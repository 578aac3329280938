// Formats from strangers, with an argument list that suits any conversion: every argument is a long word that is also a
// readable and writable address. Nothing may be read or written out of place, and what is printed keeps its promises.
#include <velox/pask_format.h>
#include <velox/pask_string.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void require(bool held) {
  if (!held) abort();
}

// Widths and precisions are cut to three digits, and "*" is left out, whose value would be an address: the engine may
// be asked for gigabytes, but not here. Overlong forms go, behind which any letter could hide.
std::string tamed(const uint8_t* data, size_t size) {
  std::string format(reinterpret_cast<const char*>(data), size);
  int digits = 0;
  for (char& c : format) {
    digits = c >= '0' && c <= '9' ? digits + 1 : 0;
    if (c == '*' || digits > 3) c = '.';
    if (c == '\xc0' || c == '\xc1' || c == '\xe0') c = '\xc3';
  }
  return format;
}

// Text in place of floats, whose argument would travel in another register.
void format_words(std::string format) {
  for (char& c : format)
    if (strchr("fFeEgG", c) && c != 0) c = 's';
  alignas(16) char words[64] = "  some words \xe2\x82\xac and more";
  char cut[40];
  const uint32_t size = pask_string_snprintf(cut, sizeof cut, format.c_str(), words, words, words, words, words, words,
                                             words, words, words, words, words, words, words, words, words, words);
  require(size == 0 || memchr(cut, 0, sizeof cut));
}

// The same double for every conversion, which then may only be a float.
void format_floats(const std::string& format, double v) {
  std::string floats = format;
  for (char& c : floats)
    if (strchr("scwdiouxXbpnN", c) && c != 0) c = "eEfFgG"[static_cast<unsigned char>(c) % 6];
  char* whole = pask_string_mprintf(floats.c_str(), v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v);
  require(whole);
  char cut[100];
  const uint32_t size =
      pask_string_snprintf(cut, sizeof cut, floats.c_str(), v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v);
  require(size == (*whole ? strlen(whole) + 1 : 0));
  require(strncmp(cut, whole, sizeof cut - 1) == 0);
  pask_string_free(whole);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  double v = 0;
  if (size < sizeof v || size > 48) return 0;
  memcpy(&v, data, sizeof v);
  const std::string format = tamed(data + sizeof v, size - sizeof v);
  size_t conversions = 0;
  for (const char c : format) conversions += c == '%';
  if (conversions > 16) return 0;
  format_words(format);
  format_floats(format, v);
  return 0;
}
