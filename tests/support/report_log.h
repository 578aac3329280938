// The failure reports of a scope, as "label status" texts, of all packages or of those named.
#pragma once

#include <velox/velox_standin.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class report_log {
 public:
  explicit report_log(std::vector<uint32_t> packages = {0x01, 0x02, 0x0d, 0x0f}) : packages_(std::move(packages)) {
    lines().clear();
    velox_standin_log_set(write);
    for (const uint32_t package : packages_) velox_standin_log_enable(package, PASK_LOG_ERROR);
  }
  ~report_log() {
    for (const uint32_t package : packages_) velox_standin_log_enable(package, 0);
    velox_standin_log_set(nullptr);
  }
  report_log(const report_log&) = delete;
  report_log& operator=(const report_log&) = delete;

  // What has been told since the last call.
  std::vector<std::string> taken() {
    const std::lock_guard held(mutex());
    return std::exchange(lines(), {});
  }

 private:
  static std::vector<std::string>& lines() {
    static std::vector<std::string> all;
    return all;
  }
  static std::mutex& mutex() {
    static std::mutex guard;
    return guard;
  }
  static void write(int32_t line, const char* label, uint32_t level, uint32_t status, const char* format, ...) {
    char text[80];
    const bool sound = line > 0 && level == PASK_LOG_ERROR && !format;
    std::snprintf(text, sizeof text, "%s %08x%s", label ? label : "(null)", status, sound ? "" : " malformed");
    const std::lock_guard held(mutex());
    lines().push_back(text);
  }

  std::vector<uint32_t> packages_;
};
