// Every system call of every operation on files and directories fails in its turn, in four ways, and every transfer moves less than it was
// asked to. The word is the error's, nothing is written but on success, and the operation works right afterwards.
#include <velox/pask_fs_dir.h>

#include <velox/pask_string.h>

#include <cstring>

#include "failing_calls.h"
#include "scratch.h"
#include "sweep.h"

namespace {

struct error_row {
  const char* name;
  int error;  // 0: less is moved, which is no failure
  uint32_t word;
};
const error_row k_errors[] = {{"interrupted", EINTR, OTHER},
                              {"failing disk", EIO, OTHER},
                              {"full disk", ENOSPC, PASK_FS_ERR_NO_SPACE},
                              {"too many open", EMFILE, PASK_FS_ERR_TOO_MANY_OPEN},
                              {"short", 0, 0}};

struct operation_row {
  const char* name;
  std::function<uint32_t()> act;
  const char* unheeded = "";  // a call whose failure doesn't matter
};

constexpr uint8_t UNTOUCHED = 0x5a;

/** Runs an operation with an out-parameter, which it must leave alone unless it succeeds. */
template <class Out, class Operation>
uint32_t given(Operation operation) {
  Out out, before;
  std::memset(&before, UNTOUCHED, sizeof before);
  out = before;
  const uint32_t status = operation(&out);
  EXPECT_TRUE(status == 0 || out == before) << "touches its out-parameter";
  return status;
}

struct FailingCalls : Scratch {
  static constexpr uint64_t POSITION = 10;

  std::string name(const char* of) const { return path(of); }
  /** Two files of a line and much more, the first one at a position; with a limit of 1 it is parked by the other one. */
  void set_up(bool parked) {
    for (pask_fs_file_handle& open : files) close(open);
    files.clear();
    limit("0");
    std::filesystem::current_path("/");
    for (const auto& entry : std::filesystem::directory_iterator(folder)) std::filesystem::remove_all(entry);
    put("data", "0123456789 the line\n" + std::string(9000, 'x'));
    put("other", "other");
    std::filesystem::create_directory(path("empty"));
    ASSERT_EQ(open("data", READ_WRITE) | open("other", READ_WRITE), 0u);
    ASSERT_EQ(pask_fs_file_seek(files[0], POSITION, PASK_FS_SEEK_START), 0u);
    if (!parked) return;
    limit("1");
    close(files[1]);
    ASSERT_EQ(open("other", READ_WRITE), 0u);  // a slot of its own, or the first file's
    std::swap(files[1], files.back());
    files.pop_back();
  }
  pask_fs_file_handle file() const { return files[0]; }

  void sweep_rows(const std::vector<operation_row>& rows, bool parked) {
    for (const operation_row& row : rows) {
      for (const error_row& error : k_errors) {
        const char* failed = nullptr;
        const fault_source calls = {error.name, [&](uint32_t n) { failing_calls::arm(error.error, n); },
                                    [&] { return (failed = failing_calls::disarm()) != nullptr; }};
        const scenario each = {row.name, [&] { set_up(parked); }, row.act,
                               [&](uint32_t status, bool met) { check(row, error, met ? failed : "", status); }};
        const uint32_t faults = sweep(each, calls, 100);
        EXPECT_TRUE(faults > 0 || error.error == 0) << row.name << " asks nothing of the system";
      }
    }
  }
  void check(const operation_row& row, const error_row& error, const std::string& failed, uint32_t status) {
    SCOPED_TRACE("call " + failed);
    uint64_t position = 0;
    EXPECT_EQ(status, failed.empty() || failed == row.unheeded ? 0 : error.word);
    if (!status) return;
    EXPECT_EQ(pask_fs_file_get_position(file(), &position), 0u);
    EXPECT_EQ(position, POSITION) << "a failure moves the position";
    EXPECT_EQ(row.act(), 0u) << "doesn't work afterwards";
  }
};

TEST_F(FailingCalls, OfOpenFiles) {
  char room[64];
  const std::vector<operation_row> rows = {
      {"read",
       [&] { return given<uint32_t>([&](uint32_t* got) { return pask_fs_file_read(file(), room, 64, got); }); }},
      {"read_at",
       [&] { return given<uint32_t>([&](uint32_t* got) { return pask_fs_file_read_at(file(), 3, room, 64, got); }); }},
      {"read_line", [&] { return pask_fs_file_read_line(file(), room, 64); }},
      {"write",
       [&] { return given<uint32_t>([&](uint32_t* put) { return pask_fs_file_write(file(), "abc", 3, put); }); }},
      {"write_at",
       [&] { return given<uint32_t>([&](uint32_t* put) { return pask_fs_file_write_at(file(), 3, "abc", 3, put); }); }},
      {"seek", [&] { return pask_fs_file_seek(file(), 4, PASK_FS_SEEK_START); }},
      {"truncate", [&] { return pask_fs_file_truncate(file(), POSITION); }},
      {"size", [&] { return given<uint64_t>([&](uint64_t* size) { return pask_fs_file_size(file(), size); }); }},
      {"attributes",
       [&] { return given<uint32_t>([&](uint32_t* bits) { return pask_fs_file_attributes(file(), bits); }); }},
      {"timestamps",
       [&] {
         return given<uint64_t>(
             [&](uint64_t* time) { return pask_fs_file_timestamps(file(), time, nullptr, nullptr); });
       }},
      {"commit", [&] { return pask_fs_file_commit(file()); }},
  };
  for (const bool parked : {false, true}) sweep_rows(rows, parked);
}

TEST_F(FailingCalls, OfFilesByName) {
  const std::string data = path("data"), fresh = path("fresh"), other = path("other");
  const auto opened = [&](uint32_t flags) {
    pask_fs_file_handle made = nullptr;
    const uint32_t status = pask_fs_file_open(fresh.c_str(), flags, 3, &made);
    EXPECT_EQ(!made, status != 0);
    return status ? status : pask_fs_file_close(made);
  };
  const std::vector<operation_row> rows = {
      {"open and close", [&] { return opened(ANEW); }},
      {"get_attributes",
       [&] {
         return given<uint32_t>([&](uint32_t* bits) { return pask_fs_file_get_attributes(data.c_str(), bits); });
       }},
      {"set_attributes", [&] { return pask_fs_file_set_attributes(data.c_str(), PASK_FS_ATTRIBUTE_WRITABLE); }},
      {"get_size",
       [&] { return given<uint64_t>([&](uint64_t* size) { return pask_fs_file_get_size(data.c_str(), size); }); }},
      {"rename", [&] { return pask_fs_file_rename(other.c_str(), fresh.c_str()); }},
      {"delete", [&] { return pask_fs_file_delete(other.c_str()); }},
      {"write_to_file", [&] { return pask_fs_file_write_to_file(fresh.c_str(), "abc", 3, 0); }, "close"},
      {"read_to_buffer",
       [&] {
         void* all = nullptr;
         uint32_t size = 0;
         const uint32_t status = pask_fs_file_read_to_buffer(data.c_str(), &all, &size, 1);
         EXPECT_EQ(size, status ? 0u : 9021u) << "short reads are gone on with";
         EXPECT_EQ(!all, status != 0);
         pask_memory_free(all);
         return status;
       }},
      {"dir_create", [&] { return pask_fs_dir_create(path("fresh").c_str(), nullptr); }},
      {"dir_delete", [&] { return pask_fs_dir_delete(path("empty").c_str(), 0); }},
      {"dir_current",
       [&] {
         char* current = nullptr;
         const uint32_t status = pask_fs_dir_current(&current);
         EXPECT_EQ(!current, status != 0);
         pask_string_free(current);
         return status;
       }},
      {"a listing",
       [&] {
         pask_fs_dir_handle dir = nullptr;
         uint32_t status = pask_fs_dir_open(folder, &dir);
         EXPECT_EQ(!dir, status != 0);
         const char* entry = nullptr;
         while (!status) status = pask_fs_dir_next_entry(dir, &entry, nullptr);
         const uint32_t closed = pask_fs_dir_close(dir);
         return status == NOT_FOUND ? closed : status;
       }},
  };
  sweep_rows(rows, false);
}

/** A copy that fails leaves nothing half-made, and never harms its source. */
TEST_F(FailingCalls, OfCopies) {
  for (const error_row& error : k_errors) {
    if (error.error == 0) continue;
    const char* failed = nullptr;
    const fault_source calls = {error.name, [&](uint32_t n) { failing_calls::arm(error.error, n); },
                                [&] { return (failed = failing_calls::disarm()) != nullptr; }};
    const scenario copy = {"copy", [&] { set_up(false); },
                           [&] { return pask_fs_file_copy(name("data").c_str(), name("fresh").c_str(), 0); },
                           [&](uint32_t status, bool) {
                             EXPECT_EQ(get("data").size(), 9020u);
                             const size_t made = get("fresh").size();
                             EXPECT_TRUE(made == 9020u || (status && made == 0))
                                 << made << " bytes after call " << (failed ? failed : "");
                             EXPECT_EQ(pask_fs_file_copy(name("data").c_str(), name("fresh").c_str(), 0), 0u);
                             EXPECT_EQ(get("fresh"), get("data"));
                           }};
    sweep(copy, calls, 100);
  }
}

}  // namespace
