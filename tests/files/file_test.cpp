// Operations on files, by handle and by path.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "guarded.h"
#include "scratch.h"

namespace {

struct Files : Scratch {
  pask_fs_file_handle file(const std::string& name, uint32_t flags = READ_WRITE) {
    return open(name, flags) ? ADD_FAILURE(), nullptr : files.back();
  }
  pask_status vwrite(pask_fs_file_handle to, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const pask_status status = pask_fs_file_vwrite(to, format, args, &count);
    va_end(args);
    return status;
  }
  std::string eof() { return pask_fs_file_get_eof(files.back(), &flag) ? "?" : std::to_string(flag); }
  uint64_t position() { return pask_fs_file_get_position(files.back(), &number) ? ~0ull : number; }
  // A whole file as text.
  std::string read(const std::string& from, uint32_t terminate) {
    EXPECT_EQ(pask_fs_file_read_to_buffer(from.c_str(), &data, &count, terminate), 0u);
    const std::string text = data ? std::string(static_cast<char*>(data), count) : "none";
    pask_memory_free(std::exchange(data, nullptr));
    return text;
  }
  void* data = nullptr;
  char bytes[16] = "";
  uint8_t flag = 9;
  uint32_t count = 0;
  uint64_t number = 0;
};

TEST_F(Files, OpenByFlags) {
  put("old", "text");
  const std::tuple<const char*, uint32_t, pask_status> rows[] = {
      {"old", 0, INVALID}, {"new", 272, INVALID},    {"new", 1, NOT_FOUND}, {"old", 274, EXISTS},
      {"", 2, BAD_PATH},   {"old/x", 1, 0x90030047}, {"new", 274, 0},       {"old", 7, 0}};
  for (const auto& [name, flags, status] : rows) EXPECT_EQ(open(name, flags), status) << name << " " << flags;
  EXPECT_EQ(pask_fs_shutdown(), 0u);
  EXPECT_EQ(open("old", 1), 0x90030007u);
  close(files[6]);  // after the stop: counted out by the next start
  EXPECT_EQ(g_fs_num_file_handles, 2u);
  EXPECT_EQ(pask_fs_initialize(), 0u);
  EXPECT_EQ(g_fs_num_file_handles, 1u);
}

TEST_F(Files, NullAndForbiddenPathsAreRefused) {
  put("old", "text");
  const std::string name = path("old");
  const char* const old = name.c_str();
  for (const char* bad : {static_cast<const char*>(nullptr), "", PASK_FS_STDIN, PASK_FS_STDERR})
    for (const pask_status status :
         {pask_fs_file_delete(bad), pask_fs_file_exists(bad, &flag), pask_fs_file_rename(bad, old),
          pask_fs_file_rename(old, bad), pask_fs_file_get_attributes(bad, &count), pask_fs_file_set_attributes(bad, 3),
          pask_fs_file_get_size(bad, &number), pask_fs_file_copy(bad, old, 0), pask_fs_file_copy(old, bad, 0)})
      EXPECT_EQ(status, BAD_PATH);
  const pask_fs_file_handle f = file("old");
  for (const pask_status status :
       {pask_fs_file_get_size("", nullptr), pask_fs_file_write_to_file("", "", 0, 1), pask_fs_file_commit(nullptr),
        pask_fs_file_read_to_buffer("", &data, &count, 0), pask_fs_file_read(f, nullptr, 1, &count),
        pask_fs_file_read_line(f, bytes, 0), pask_fs_file_write(nullptr, "", 0, &count), pask_fs_file_seek(f, 0, 0),
        pask_fs_file_seek(f, 0, 4), pask_fs_file_read_at(f, ~0ull, bytes, 1, &count)})
    EXPECT_EQ(status, INVALID);
  EXPECT_EQ(get("old"), "text");
}

TEST_F(Files, Lines) {
  const std::string x511(511, 'x'), x4096(4096, 'x');  // behind 511 bytes, the last one of the first piece that is read
  using row = std::tuple<std::string, uint32_t, std::string>;
  for (const auto& [text, size, expected] :
       {row("", 9, ""), row("a\r\nb\nc", 64, "a|b|c|"), row("0123456789\nx", 4, "012|345|678|9|x|"),
        row("012\n", 4, "012|"), row("012\r\n3", 4, "012||3|"), row("\n\r\r\n", 64, "|||"),
        row(x511 + "\r\ny\r", 1000, x511 + "|y|"), row(x511 + "\ry", 1000, x511 + "|y|"),
        row(x511 + "\r", 1000, x511 + "|"), row(x4096, 4096, x4096.substr(1) + "|x|"),
        row(x4096 + "\r\n" + x511 + "x", 9999, x4096 + "|" + x511 + "x|")}) {
    put("lines", text);
    const pask_fs_file_handle f = file("lines");
    const guarded_text line("", size);
    std::string lines;
    while (pask_fs_file_read_line(f, line, size) == 0) lines += std::string(line) + "|";
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(pask_fs_file_read_line(f, line, size), END_OF_FILE);
    EXPECT_EQ(position(), text.size());
  }
}

TEST_F(Files, PositionAndEnd) {
  pask_fs_file_handle f = file("f", ANEW);
  EXPECT_EQ(pask_fs_file_write(f, guarded_text("0123456789", 10), 10, nullptr), 0u);
  const std::tuple<int64_t, uint32_t, pask_status, uint64_t> moves[] = {
      {11, 1, BEYOND, 10}, {-3, 2, 0, 7},      {4, 2, BEYOND, 7}, {-8, 2, BEYOND, 7}, {-1, 1, BEYOND, 7},
      {10, 3, 0, 0},       {11, 3, BEYOND, 0}, {0, 3, 0, 10},     {0, 1, 0, 0}};
  for (const auto& [offset, whence, status, after] : moves)
    EXPECT_TRUE(pask_fs_file_seek(f, offset, whence) == status && position() == after) << offset << " " << whence;
  // The mark stays through seeking and other writing, to the next write at the position.
  std::string marks = eof();
  EXPECT_EQ(pask_fs_file_read(f, guarded_text("", 10), 10, nullptr), 0u);
  marks += eof();
  EXPECT_EQ(pask_fs_file_seek(f, 0, 1) | vwrite(f, "%s", "ab") | pask_fs_file_write_at(f, 2, "c", 1, nullptr), 0u);
  marks += eof();
  EXPECT_EQ(pask_fs_file_write(f, "d", 1, nullptr), 0u);
  marks += eof();
  EXPECT_EQ(pask_fs_file_read_at(f, 10, bytes, 9, &count) | count, 0u);
  EXPECT_EQ(marks + eof(), "01101");
  // In append mode the position counts what was written.
  f = file("f", PASK_FS_OPEN_APPEND);
  EXPECT_EQ(pask_fs_file_write(f, "xy", 2, nullptr) | pask_fs_file_write_at(f, 2, "z", 1, nullptr), 0u);
  EXPECT_EQ(pask_fs_file_write_at(f, 1, "!", 1, nullptr), 0x90030053u);
  EXPECT_EQ(get("f"), "abd3456789xyz");
}

TEST_F(Files, BeyondFourGibibytesAndThe19thOfJanuary2038) {
  constexpr uint64_t FAR = (5ull << 30) + 7;
  const pask_fs_file_handle f = file("f", ANEW);
  EXPECT_EQ(pask_fs_file_truncate(f, FAR) | pask_fs_file_write(f, "far\n", 4, nullptr), 0u);
  EXPECT_EQ(pask_fs_file_seek(f, -4, 2) | pask_fs_file_read_line(f, bytes, sizeof bytes), 0u);
  EXPECT_STREQ(bytes, "far");
  EXPECT_EQ(pask_fs_file_write_at(f, 2 * FAR, "!", 1, nullptr) | pask_fs_file_size(f, &number), 0u);
  EXPECT_EQ(number, 2 * FAR + 1);
  EXPECT_EQ(pask_fs_file_read_to_buffer(path("f").c_str(), &data, nullptr, 0), 0x90030048u);
  const timespec times[] = {{1, 0}, {0x100000000, 0}};
  EXPECT_EQ(utimensat(AT_FDCWD, path("f").c_str(), times, 0), 0);
  uint64_t accessed = 0;
  EXPECT_EQ(pask_fs_file_timestamps(f, nullptr, &accessed, &number), 0u);
  EXPECT_TRUE(accessed == 1 && number == 0x100000000);
}

TEST_F(Files, FormattedTextBelow1024BytesStaysOnTheStack) {
  const pask_fs_file_handle f = file("f", ANEW);
  for (const uint32_t size : {0u, 1023u, 1024u, 70000u}) {
    const std::string text(size, 'a');
    const uint64_t before = velox_standin_memory_allocations();
    EXPECT_TRUE(vwrite(f, "%s", text.c_str()) == 0 && count == size);
    EXPECT_EQ(velox_standin_memory_allocations() == before, size < 1024) << size;
  }
  EXPECT_EQ(get("f"), std::string(1023 + 1024 + 70000, 'a'));
}

// A standard stream, here a pipe and then a file, keeps its descriptor, evicted and closed too.
TEST_F(Files, WholeFilesAndStandardStreams) {
  for (const uint32_t append : {0, 0, 1})
    EXPECT_EQ(pask_fs_file_write_to_file(path("f").c_str(), "abcd", 2, append), 0u);
  put("empty", "");
  EXPECT_EQ(read(path("f"), 1) + read(path("f"), 0) + read(path("empty"), 1) + read(path("empty"), 0),
            std::string("abab\0abab\0", 10));
  velox_standin_memory_refuse(1, 0);
  EXPECT_EQ(pask_fs_file_read_to_buffer(path("f").c_str(), &data, &count, 0), NO_MEMORY);
  EXPECT_EQ(velox_standin_memory_refuse_end(), 1);

  const int saved = dup(0);
  const std::string text(10000, 'p');
  int ends[2];
  ASSERT_TRUE(pipe(ends) == 0 && write(ends[1], text.data(), text.size()) == 10000 && dup2(ends[0], 0) == 0);
  ::close(ends[0]), ::close(ends[1]);
  EXPECT_EQ(read(PASK_FS_STDIN, 1), text + '\0');
  EXPECT_TRUE(read(PASK_FS_STDIN, 1) == "none" && count == 0);
  const int other = ::open(path("f").c_str(), O_RDONLY);
  ASSERT_EQ(dup2(other, 0) | ::close(other), 0);
  limit("1");
  EXPECT_EQ(pask_fs_file_open(PASK_FS_STDIN, 0, 0, &files.emplace_back()), 0u);
  EXPECT_EQ(pask_fs_file_read(files[0], bytes, 2, nullptr) | open("empty", 1), 0u);
  EXPECT_EQ(pask_fs_file_read(files[0], bytes + 2, 2, nullptr), 0u);
  close(files[0]);
  EXPECT_STREQ(bytes, "abab");
  EXPECT_EQ(held(), "f");
  ::close(0);
  EXPECT_EQ(pask_fs_file_open(PASK_FS_STDIN, 0, 0, &files[0]), BAD_DESCRIPTOR);
  dup2(saved, 0), ::close(saved);
}

TEST_F(Files, Copies) {
  const std::string from = path("from"), to = path("to");
  struct stat info;
  for (const size_t size : {0u, 4096u, 10000u}) {
    put("from", std::string(size, 'c'));
    EXPECT_TRUE(pask_fs_file_copy(from.c_str(), to.c_str(), 0) == 0 && get("to") == std::string(size, 'c'));
  }
  put("to", "old");
  EXPECT_EQ(pask_fs_file_copy(from.c_str(), to.c_str(), 1), EXISTS);
  EXPECT_EQ(pask_fs_file_copy(path("none").c_str(), to.c_str(), 0), NOT_FOUND);
  EXPECT_EQ(pask_fs_file_copy(to.c_str(), path("./to").c_str(), 0), INVALID);
  EXPECT_EQ(get("to"), "old");
  EXPECT_EQ(pask_fs_file_set_attributes(from.c_str(), 1) | pask_fs_file_copy(from.c_str(), to.c_str(), 0), 0u);
  EXPECT_TRUE(stat(to.c_str(), &info) == 0 && (info.st_mode & 0777) == 0444);
  // A copy that fails leaves no target: here for want of memory for the second file.
  velox_standin_memory_refuse(1, 0);
  EXPECT_EQ(pask_fs_file_copy(from.c_str(), to.c_str(), 0), NO_MEMORY);
  EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
  // A target that can't be opened isn't the copy's, and stays.
  std::filesystem::create_directory(path("folder"));
  EXPECT_EQ(pask_fs_file_copy(from.c_str(), path("folder").c_str(), 0), BAD_PATH);
  EXPECT_TRUE(std::filesystem::exists(path("folder")));
  for (const auto& [name, there] : {std::pair{"from", 1}, {"to", 0}, {"", 0}, {"from/x", 0}})
    EXPECT_TRUE(pask_fs_file_exists(path(name).c_str(), &flag) == 0 && flag == there) << name;
}

}  // namespace
