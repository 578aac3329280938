// The codec over any bytes: what is measured, copied and compared must agree with itself.
#include <velox/pask_string.h>
#include <velox/pask_utf8.h>
#include <velox/velox_manager.h>

#include <cstdlib>
#include <cstring>
#include <string>

static void require(bool holds) {
  if (!holds) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string other = text.substr(text.size() / 2);
  const char* const s = text.c_str();
  const uint32_t bytes = pask_string_byteclen(s, PASK_UTF8_NO_LIMIT);
  require(pask_string_isvalid(s) == (bytes == strlen(s)));

  uint32_t chars = 0;
  for (const char* p = s; p < s + bytes; ++chars) {
    uint32_t c = 0;
    require(_utf8_get_next_char(&p, &c) == 0);
  }
  require(pask_string_charlen(s) == chars + (pask_string_isvalid(s) ? 0 : 1));
  require(_pask_string_utf8_compare(s, s, PASK_UTF8_NO_LIMIT, 0, nullptr, nullptr, nullptr, nullptr) == 0 ||
          !pask_string_isvalid(s));
  require(pask_string_stricmp(s, other.c_str()) == -pask_string_stricmp(other.c_str(), s) || !pask_string_isvalid(s) ||
          !pask_string_isvalid(other.c_str()));

  std::string room(size / 2 + 1, 'x');
  pask_string_strcpy(room.data(), static_cast<uint32_t>(room.size()), s);
  require(strncmp(room.c_str(), s, strlen(room.c_str())) == 0);
  pask_string_strstr(s, other.c_str());
  pask_string_subistring(s, other.c_str(), nullptr, nullptr);
  pask_string_match_prefix(other.data(), static_cast<uint32_t>(other.size()), s);
  uint16_t* units = nullptr;
  if (pask_string_utf8_to_ucs2(s, &units, 1) == 0) {
    require(pask_string_charlen_uni(units) <= chars);
    pask_memory_free(units);
  }
  return 0;
}
