// A catalogue's file among several users, a file that goes bad while it is open, and handles that have ended.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "catalogue.h"

namespace {

namespace fs = std::filesystem;

class Sharing : public Catalogue {
 protected:
  void fill(const char* titles) {
    std::string text = "title\tartist\n";
    for (; *titles; ++titles) text += std::string("Song ") + *titles + "\tSomebody\n";
    scan(write("songs.tsv", text));
  }
  /** How many songs a process of another user finds, who mayn't write the file; -1 for a failure. */
  int found_by_another() const {
    const pid_t child = fork();
    if (child == 0) {
      if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(99);
      velox_catalog_handle mine = nullptr;
      int found = 0;
      const auto count = [](void* to, velox_mdo_handle) { return ++*static_cast<int*>(to), 0; };
      if (velox_catalog_open(url.c_str(), VELOX_CATALOG_READ, &mine) != 0) _exit(98);
      const bool fine = velox_catalog_search(mine, "song", VELOX_CATALOG_TRACKS, 50, count, &found) == 0;
      velox_catalog_close(mine);
      _exit(fine ? found : 97);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) < 90 ? WEXITSTATUS(status) : -1;
  }
  bool has_files_beside() const { return fs::exists(path("catalogue.db-wal")) || fs::exists(path("catalogue.db-shm")); }
};

TEST_F(Sharing, AReaderWhoMayntWriteLeavesNoTrace) {
  fill("ab");
  EXPECT_EQ(fs::status(path("catalogue.db")).permissions(), fs::perms::owner_read | fs::perms::owner_write)
      << "what somebody listens to is nobody else's";
  close();
  EXPECT_FALSE(has_files_beside());
  chmod(path("catalogue.db").c_str(), 0444);
  for (const mode_t folder_mode : {mode_t{0777}, mode_t{0555}}) {
    chmod(folder.c_str(), folder_mode);
    EXPECT_EQ(found_by_another(), 2);
    EXPECT_FALSE(has_files_beside()) << "they would be another user's";
  }
  chmod(folder.c_str(), 0777);
  chmod(path("catalogue.db").c_str(), 0644);
  open();
  fill("abc");
  ASSERT_TRUE(has_files_beside());
  EXPECT_EQ(found_by_another(), 3) << "what the owner is writing is read from the owner's files";
}

TEST_F(Sharing, WhatIsCutShortUnderAReaderGivesAMessage) {
  std::string many = "title\tartist\n";
  for (int i = 0; i < 20000; ++i) many += "Song " + std::to_string(i) + "\tSomebody " + std::to_string(i) + "\n";
  scan(write("many.tsv", many));
  close();
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_READ, &catalog), 0u);
  EXPECT_EQ(search("song 7").empty(), false);
  fs::resize_file(path("catalogue.db"), 16384);
  const auto any = [](void*, velox_mdo_handle) { return 0; };
  EXPECT_EQ(velox_catalog_search(catalog, "somebody 19", VELOX_CATALOG_TRACKS, 5000, any, nullptr),
            VELOX_STANDIN_ERR_CATALOG);
  EXPECT_NE(message().find(path("catalogue.db")), std::string::npos) << message();
}

TEST_F(Sharing, AHandleEndsOnce) {
  const velox_catalog_handle ended = catalog;
  velox_catalog_close(ended);
  velox_catalog_close(ended);
  velox_catalog_counts told = {};
  EXPECT_EQ(velox_catalog_count(ended, &told), VELOX_STANDIN_ERR_HANDLE);
  open();
  EXPECT_NE(catalog, ended);
  EXPECT_EQ(velox_catalog_count(ended, &told), VELOX_STANDIN_ERR_HANDLE);
  EXPECT_EQ(velox_catalog_count(reinterpret_cast<velox_catalog_handle>(&told), &told), VELOX_STANDIN_ERR_HANDLE);
}

}  // namespace
