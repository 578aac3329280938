// Status words of the library's own packages, and the one way to report a failed word.
#pragma once

#include "velox_manager.h"

enum pask_package : uint32_t {
  PKG_THREAD = 0x02,
  PKG_FS = 0x03,
  PKG_STRING = 0x05,
  PKG_MD5 = 0x06,
  PKG_DATATYPES = 0x0d,
  PKG_UTILS = 0x0f,
  PKG_TIME = 0x1c,
  PKG_ATOMIC = 0x1f,
  PKG_IOSTREAM = 0x22,
  PKG_FAMILY = 0x31,
  PKG_CADENZ = 0xb5,
};

// Generic codes, the same in every package. Codes of one package stand beside the code that makes them.
enum pask_code : uint32_t {
  CODE_INVALID_ARG = 0x0001,
  CODE_NO_MEMORY = 0x0002,
  CODE_NOT_FOUND = 0x0003,
  CODE_NOT_INITED = 0x0007,
  CODE_INIT_FAILED = 0x000a,
};

// What initialize and shutdown of a support module return: bare codes, without error bit and package.
constexpr uint32_t PASK_BARE_INIT_FAILED = CODE_INIT_FAILED;
constexpr uint32_t PASK_BARE_NOT_INITED = CODE_NOT_INITED;

constexpr uint32_t status_error(uint32_t package, uint32_t code) { return 0x90000000u | package << 16 | code; }
constexpr uint32_t status_info(uint32_t package, uint32_t code) { return 0x10000000u | package << 16 | code; }
constexpr bool status_failed(uint32_t word) { return word >> 31 != 0; }
constexpr uint32_t status_package(uint32_t word) { return word >> 16 & 0xff; }

inline bool pask_log_enabled(uint32_t package, uint32_t level) {
  return (g_pask_log_enabled_pkgs[package] & level) != 0;
}

[[gnu::cold, gnu::noinline]] inline void pask_report_cold(uint32_t status, int32_t line, const char* label) {
  if (pask_log_enabled(status_package(status), PASK_LOG_ERROR))
    g_pask_log_callback(line, label, PASK_LOG_ERROR, status, nullptr);
}

// The failure report: each level that a failed word passes tells of it once, under its own label. The level tested is
// that of the word's package, not of the reporter's. Information words travel silently.
inline void pask_report(uint32_t status, const char* label, int32_t line) {
  if (status_failed(status)) [[unlikely]]
    pask_report_cold(status, line, label);
}

// Leaves the function with a word that isn't 0.
#define PASK_TRY(expression)                                   \
  do {                                                         \
    if (const uint32_t try_status = (expression)) [[unlikely]] \
      return try_status;                                       \
  } while (0)
