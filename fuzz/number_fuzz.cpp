// Numbers from any bytes, against libc where the result is the same by promise.
#include <velox/pask_number.h>

#include <cstdlib>
#include <cstring>
#include <string>

static void require(bool holds) {
  if (!holds) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* const s = text.c_str();
  const long long value = strtoll(s, nullptr, 10);
  require(pask_string_atoi64(s) == value);
  require(pask_string_atou64(s) == strtoull(s, nullptr, 10));
  require(pask_string_atoi32(s) == (value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : value));
  // A negated 32-bit number is out of range by what was read.
  char* end = nullptr;
  const unsigned long long read = strtoull(s, &end, 10);
  const bool negated = memchr(s, '-', static_cast<size_t>(end - s)) != nullptr;
  require(pask_string_atou32(s) ==
          ((negated ? 0 - read : read) > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(read)));
  char buf[PASK_NUMBER_BYTES];
  require(std::to_string(value) == pask_string_i64toa(value, buf, sizeof buf));
  require(pask_string_atobool(s) <= 1 && pask_string_isbool(s) <= 1);
  const double number = pask_string_atof64(s);
  require(number == number);
  return 0;
}
