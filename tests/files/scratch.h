// A folder for one test, and the module started for it: at the end files are closed, and nothing is left.
#pragma once

#include <gtest/gtest.h>
#include <velox/pask_fs.h>
#include <velox/pask_modules.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

constexpr uint32_t READ_WRITE = 3, ANEW = READ_WRITE | PASK_FS_OPEN_CREATE | PASK_FS_OPEN_TRUNCATE;
constexpr uint32_t INVALID = 0x90030001, NO_MEMORY = 0x90030002, NOT_FOUND = 0x90030041, EXISTS = 0x90030042,
                   BAD_DESCRIPTOR = 0x90030045, NO_DEVICE = 0x9003000b, OTHER = 0x9003003e, BAD_PATH = 0x90030046,
                   END_OF_FILE = 0x90030049, BEYOND = 0x90030051;

struct Scratch : testing::Test {
  Scratch() { EXPECT_TRUE(mkdtemp(folder) && pask_fs_initialize() == 0); }
  ~Scratch() override {
    for (pask_fs_file_handle& open : files) close(open);
    limit("0");
    EXPECT_EQ(g_fs_num_file_handles + held().size() + pask_fs_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
    std::filesystem::remove_all(folder);
  }
  static void limit(const char* count) { EXPECT_EQ(pask_fs_option_set(PASK_FS_OPTION_MAX_HANDLES, count), 0u); }
  static void close(pask_fs_file_handle& file) { EXPECT_EQ(pask_fs_file_close(std::exchange(file, nullptr)), 0u); }
  std::string path(const std::string& name) const { return folder + ("/" + name); }
  void put(const std::string& name, const std::string& bytes) const { std::ofstream(path(name)) << bytes; }
  std::string get(const std::string& name) const {
    std::ifstream file(path(name));
    return {std::istreambuf_iterator(file), {}};
  }
  pask_status open(const std::string& name, uint32_t flags) {
    return pask_fs_file_open(path(name).c_str(), flags, 3, &files.emplace_back());
  }
  // The names of the files here that the process has descriptors of, each as often as it has, in order.
  std::string held() const {
    std::string names;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
      if (const auto target = read_symlink(entry, gone); target.parent_path() == folder) names += target.filename();
    std::sort(names.begin(), names.end());
    return names;
  }

  char folder[64] = "/tmp/velox_files_XXXXXX";
  std::vector<pask_fs_file_handle> files;
};
