// The processes that listen: what they may do, and what becomes of a file that one of them can't get through.
#include "terminal/sound_workers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "core/handles.h"
#include "synthetic.h"

namespace app {
namespace {

namespace fs = std::filesystem;

class Workers : public testing::Test {
 protected:
  Workers() {
    std::string name = (fs::temp_directory_path() / "velox-workers-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    synthetic::write(folder_ / "tone.wav", synthetic::tone(0.4, 440, 0.3));
  }
  ~Workers() override { fs::remove_all(folder_); }
  std::string tone() const { return (folder_ / "tone.wav").string(); }
  /** A listener that is a shell script. */
  std::string script(const std::string& text) const {
    const fs::path file = folder_ / "script";
    std::ofstream(file) << "#!/bin/sh\n" << text;
    fs::permissions(file, fs::perms::owner_all);
    return file.string();
  }
  /** What comes of a file, again and again by the same workers. */
  static std::vector<sound_outcome> all_of(sound_workers& workers, const std::string& path, int times) {
    std::vector<sound_outcome> all;
    for (int given = 0; given < times || workers.is_busy();) {
      for (; given < times && workers.has_room(); ++given) workers.give({static_cast<uint64_t>(given), 1, path});
      for (sound_outcome& each : workers.wait(std::chrono::seconds(20))) all.push_back(std::move(each));
    }
    return all;
  }

  fs::path folder_;
};

TEST_F(Workers, ListenAndGoOnWhenOneHasDoneItsShare) {
  sound_workers workers(LISTENER, 1);
  const std::vector<sound_outcome> all = all_of(workers, tone(), 510);
  ASSERT_EQ(all.size(), 510u);
  for (const sound_outcome& each : all) {
    EXPECT_EQ(each.why, "");
    EXPECT_EQ(each.sound.key, 9);
  }
}

TEST_F(Workers, MayReadOneFileAndNothingElse) {
  sound_workers workers(PRISONER, 1);
  const std::vector<sound_outcome> all = all_of(workers, tone(), 2);
  ASSERT_EQ(all.size(), 2u);
  for (const sound_outcome& each : all) EXPECT_EQ(each.why, "read");
  EXPECT_FALSE(fs::exists("/tmp/velox-prisoner"));
}

TEST_F(Workers, CostAFileWhenTheyDieOrHang) {
  constexpr bool again = true;
  const struct {
    const char *what, *text, *why;
    bool may_change;
  } rows[] = {{"ends", "exit 3\n", "crashes the decoder (exit status 3)", !again},
              {"crashes", "kill -SEGV $$\n", "crashes the decoder (Segmentation fault)", !again},
              {"talks nonsense", "printf nonsense >&3; sleep 100\n", "goes astray", !again},
              {"hangs", "exec sleep 100\n", "come to an end", !again},
              {"ignores all but the last signal", "trap '' TERM INT HUP; while :; do sleep 1; done\n", "come to an end",
               !again},
              {"is ended by somebody", "kill -TERM $$\n", "(Terminated)", again},
              {"is ended for want of memory", "kill -KILL $$\n", "(Killed)", again}};
  for (const auto& row : rows) {
    const std::string begun = "printf . >&3; head -c 1 <&3 >/dev/null\n";
    sound_workers workers(script(begun + row.text), 2, std::chrono::milliseconds(300));
    const std::vector<sound_outcome> all = all_of(workers, tone(), 3);
    ASSERT_EQ(all.size(), 3u) << row.what;
    for (const sound_outcome& each : all) {
      EXPECT_NE(each.why.find(row.why), std::string::npos) << row.what << ": " << each.why;
      EXPECT_EQ(each.may_change, row.may_change) << row.what;
    }
  }
}

TEST_F(Workers, ThatDoNotBeginCostNoFile) {
  for (const std::string& program : {script("exit 127\n"), script("exec sleep 100\n"), std::string("/there/is/none")}) {
    sound_workers workers(program, 1, std::chrono::milliseconds(300));
    EXPECT_THROW(all_of(workers, tone(), 1), failure) << program;
  }
}

TEST_F(Workers, AreNotHeldByWhatIsNoFile) {
  const std::string pipe = (folder_ / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  sound_workers workers(LISTENER, 1);
  for (const std::string& path : {pipe, folder_.string(), std::string("/there/is/none")}) {
    const std::vector<sound_outcome> all = all_of(workers, path, 1);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_TRUE(all[0].may_change) << all[0].why;
  }
  std::ofstream(folder_ / "text") << "what is this?";
  const std::vector<sound_outcome> all = all_of(workers, (folder_ / "text").string(), 1);
  EXPECT_TRUE(all.at(0).why.starts_with("holds no sound") && !all[0].may_change) << all[0].why;
}

}  // namespace
}  // namespace app
