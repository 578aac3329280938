// Directories in a folder of the test's own: what is made, found, listed and removed, and the words of what fails.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <velox/pask_fs_dir.h>
#include <velox/pask_string.h>
#include <velox/velox_standin.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>

#include "guarded.h"

namespace fs = std::filesystem;

namespace {

constexpr uint32_t INVALID = 0x90030001, NO_MEMORY = 0x90030002, OTHER = 0x9003003e, NOT_FOUND = 0x90030041,
                   NOT_DIRECTORY = 0x90030047, NOT_EMPTY = 0x10030050;

struct Directories : testing::Test {
  Directories() {
    fs::current_path(home = fs::canonical(mkdtemp((fs::temp_directory_path() / "velox_XXXXXX").string().data())));
    std::ofstream("file");
    fs::create_directory_symlink("deep", "link");
  }
  ~Directories() override { fs::current_path("/"), fs::remove_all(home); }
  fs::path home;
};

TEST_F(Directories, AreMadeAndFound) {
  using row = std::tuple<std::string, uint32_t, uint32_t, int>;  // path; result of create, and of set_current; exists
  const mode_t mask = umask(02);
  for (const auto& [path, made, entered, exists] :
       {row("deep", 0, 0, 1), row("deep", 0, 0, 1), row("deep/", 0, 0, 1), row("no/where", NOT_FOUND, NOT_FOUND, 0),
        row("file", 0, NOT_DIRECTORY, 0), row("file/x", NOT_DIRECTORY, NOT_DIRECTORY, 0), row("link", 0, 0, 1),
        row(std::string(300, 'x'), OTHER, OTHER, 0), row("\xff", 0, 0, 1)}) {
    uint8_t found = 7;
    const guarded_text text(path);
    EXPECT_EQ(pask_fs_dir_create(text, nullptr), made) << path;
    EXPECT_TRUE(pask_fs_dir_exists(text, &found) == 0 && found == exists) << path;
    EXPECT_EQ(pask_fs_dir_set_current(text), entered) << path;
    fs::current_path(home);
  }
  EXPECT_EQ(fs::status("deep").permissions(), fs::perms(0775));
  umask(mask);
}

// Paths of up to 259 bytes are looked up whole, longer ones without what is behind these.
TEST_F(Directories, ListTheirEntries) {
  const std::string deep = "deep/" + std::string(199, 'a'), kept(54, 'b'), lost(99, 'c');
  fs::create_directories(deep + "/" + kept);
  for (const std::string& file : {kept + "x", lost, std::string("\xff")}) std::ofstream(deep + "/" + file);
  fs::create_symlink("nowhere", deep + "/dangling"), fs::create_symlink("../../file", deep + "/tofile");
  ASSERT_EQ(mkfifo((deep + "/pipe").c_str(), 0600), 0);
  std::map<std::string, uint32_t> left;  // type or status, by name
  left["."] = left[".."] = left[kept] = left[kept + "x"] = 4, left["\xff"] = left["tofile"] = 8, left["pipe"] = 0;
  left["dangling"] = left[lost] = NOT_FOUND;
  pask_fs_dir_handle dir = nullptr;
  ASSERT_EQ(pask_fs_dir_create(deep.c_str(), &dir), 0u);
  const char* name = nullptr;
  for (uint32_t type = 7; !left.empty(); left.erase(name), type = 7) {
    const uint32_t status = pask_fs_dir_next_entry(dir, &name, &type);
    ASSERT_TRUE(left.count(name) && left[name] == (status | type)) << name << status << type;
  }
  EXPECT_EQ(pask_fs_dir_next_entry(dir, &name, nullptr), NOT_FOUND);
  EXPECT_EQ(pask_fs_dir_close(dir), 0u);
}

TEST_F(Directories, GoWithTheirParents) {
  using row =
      std::tuple<const char*, const char*, uint32_t, uint32_t, int>;  // path, made, parents, result, levels left
  for (const auto& [path, made, parents, result, left] :
       {row("x/y/z", "x/y/z", 0, 0, 2), row("x/y/z", "x/y/z", 1, 0, 1), row("x/y/z/", "x/y/z", 1, 0, 1),
        row("xx/y/z", "xx/y/z", 1, 0, 0), row("./x/y", "x/y", 1, 0, 0), row("xx/y\\", "xx/y\\", 1, 0, 0),
        row("x/", "x", 1, 0, 0), row("xx\\y", "xx\\y", 1, NOT_FOUND, 0), row("xx//y", "xx/y", 1, NOT_FOUND, 0),
        row("x/y", "x/y/z", 1, NOT_EMPTY, 3), row("deep/y/z", "deep/y/z", 1, NOT_EMPTY, 0),
        row("file", "x", 1, NOT_DIRECTORY, 1), row("link", "x", 1, NOT_DIRECTORY, 1)}) {
    fs::create_directories(made), fs::create_directories("deep/er");
    EXPECT_EQ(pask_fs_dir_delete(guarded_text(path), parents), result) << path;
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator("."), {}), 4 + left) << path;
    fs::remove_all("x"), fs::remove_all("xx"), fs::remove_all("deep");
  }
}

TEST_F(Directories, RefuseWhatIsMissing) {
  pask_fs_dir_handle dir = nullptr;
  const char* name = nullptr;
  char* current = nullptr;
  uint8_t exists = 7;
  for (const char* const path : {static_cast<const char*>(nullptr), ""})
    for (const uint32_t status :
         {pask_fs_dir_create(path, &dir), pask_fs_dir_delete(path, 1), pask_fs_dir_open(path, &dir),
          pask_fs_dir_exists(path, &exists), pask_fs_dir_set_current(path), pask_fs_dir_current(nullptr),
          pask_fs_dir_open(".", nullptr), pask_fs_dir_next_entry(nullptr, &name, nullptr)})
      EXPECT_EQ(status, INVALID);
  const int descriptor = dup(0);
  close(descriptor);
  velox_standin_memory_refuse(0, 1);
  for (const uint32_t status : {pask_fs_dir_create("deep", &dir), pask_fs_dir_open("deep", &dir),
                                pask_fs_dir_delete("deep", 1), pask_fs_dir_current(&current)})
    EXPECT_EQ(status, NO_MEMORY);
  velox_standin_memory_refuse_end();
  EXPECT_TRUE(!dir && !name && !current && exists == 7 && fs::exists("deep"));
  EXPECT_EQ(close(descriptor), -1) << "a stream stays open";
  EXPECT_EQ(pask_fs_dir_close(nullptr) | pask_fs_dir_current(&current), 0u);
  EXPECT_EQ(current, home);
  pask_string_free(current);
}

}  // namespace
