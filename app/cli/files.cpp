/* The library's files and streams at work: a stream over a file, digests, and writing beside the target. */
#include "cli/files.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace app {

namespace fs = std::filesystem;

namespace {

std::string words_of(pask_status status) {
  switch (status) {
    case PASK_FS_ERR_ACCESS:
      return "permission denied";
    case PASK_FS_ERR_NOT_FOUND:
      return "no such file";
    case PASK_FS_ERR_NO_SPACE:
      return "the disk is full";
    case PASK_FS_ERR_TOO_MANY_OPEN:
      return "too many open files";
    case PASK_FS_ERR_BAD_PATH:
      return "it is a folder";
    case PASK_FS_ERR_NOT_DIRECTORY:
      return "a part of its path isn't a folder";
    default:
      char text[32];
      std::snprintf(text, sizeof text, "status 0x%08x", static_cast<unsigned>(status));
      return text;
  }
}

void check_file(pask_status status, const std::string& path, const char* doing) {
  if (status != 0) throw failure(path + " can't be " + doing + ": " + words_of(status));
}

file_owner open_file(const std::string& path, uint32_t flags, const char* doing) {
  pask_fs_file_handle file = nullptr;
  check_file(pask_fs_file_open(path.c_str(), flags, PASK_FS_PERMIT_READ | PASK_FS_PERMIT_WRITE, &file), path, doing);
  return file_owner(file);
}

constexpr uint32_t k_stream_buffer = 1 << 16;

/** What a stream does on a file, which it owns. */
constexpr pask_iostream_callbacks k_on_file = {
    [](void* file, void* buffer, uint32_t size, uint32_t* got) {
      return pask_fs_file_read(static_cast<pask_fs_file_handle>(file), buffer, size, got);
    },
    [](void* file, const void* data, uint32_t size, uint32_t* written) {
      return pask_fs_file_write(static_cast<pask_fs_file_handle>(file), data, size, written);
    },
    nullptr, nullptr, [](void* file) { return pask_fs_file_close(static_cast<pask_fs_file_handle>(file)); }};

stream_owner stream_over(file_owner file, const std::string& path) {
  pask_iostream_handle stream = nullptr;
  check_file(pask_iostream_create(&stream, k_stream_buffer, &k_on_file, file.get()), path, "opened");
  file.release();
  return stream_owner(stream);
}

void write_all(file_owner file, const std::string& path, std::string_view text) {
  const stream_owner stream = stream_over(std::move(file), path);
  while (!text.empty()) {
    uint32_t written = 0;
    const auto size = static_cast<uint32_t>(std::min<size_t>(text.size(), 1 << 20));
    check_file(pask_iostream_write(stream.get(), text.data(), size, &written), path, "written");
    if (written == 0) check_file(PASK_FS_ERR_NO_SPACE, path, "written");
    text.remove_prefix(written);
  }
}

/** Adds `size` bytes from an offset on to a digest. */
bool digest_add(pask_md5_ctx& digest, pask_fs_file_handle file, uint64_t offset, uint32_t size) {
  char piece[1 << 14];
  while (size > 0) {
    uint32_t got = 0;
    const uint32_t wanted = std::min<uint32_t>(size, sizeof piece);
    if (pask_fs_file_read_at(file, offset, piece, wanted, &got) != 0 || got == 0) return false;
    pask_md5_compute(&digest, piece, got);
    offset += got;
    size -= got;
  }
  return true;
}

}  // namespace

file_layer::file_layer() {
  if (pask_fs_initialize() != 0) throw failure("the file layer doesn't start");
}

stream_owner open_text(const std::string& path) {
  return stream_over(open_file(path, PASK_FS_OPEN_READ, "read"), path);
}

pask_status read_text(void* stream, void* buffer, uint32_t size, uint32_t* got) {
  const pask_status status = pask_iostream_read(static_cast<pask_iostream_handle>(stream), buffer, size, got);
  if (status == PASK_IOSTREAM_INFO_END) *got = 0;
  return status == PASK_IOSTREAM_INFO_END ? 0 : status;
}

int digest_of(void*, const char* path, uint8_t digest[16]) noexcept {
  constexpr uint32_t k_part = 1 << 16;
  pask_fs_file_handle opened = nullptr;
  if (pask_fs_file_open(path, PASK_FS_OPEN_READ, 0, &opened) != 0) return 1;
  const file_owner file(opened);
  uint64_t size = 0;
  if (pask_fs_file_size(opened, &size) != 0) return 1;

  pask_md5_ctx sum;
  pask_md5_start(&sum);
  pask_md5_compute(&sum, &size, sizeof size);
  const bool whole = size <= 2 * k_part;
  const bool read = whole ? digest_add(sum, opened, 0, static_cast<uint32_t>(size))
                          : digest_add(sum, opened, 0, k_part) && digest_add(sum, opened, size - k_part, k_part);
  if (!read) return 1;
  pask_md5_end(&sum);
  std::memcpy(digest, sum.digest, sizeof sum.digest);
  return 0;
}

void write_file(const std::string& named, std::string_view text) {
  std::error_code none;
  const std::string path = fs::weakly_canonical(named, none).string();  // a link stays, and what it leads to is written
  if (fs::exists(path, none) && !fs::is_regular_file(path, none))       // a device or a pipe can't be exchanged
    return write_all(open_file(path, PASK_FS_OPEN_WRITE, "written"), path, text);

  const std::string beside = path + ".part";
  file_owner file = open_file(beside, PASK_FS_OPEN_WRITE | PASK_FS_OPEN_CREATE | PASK_FS_OPEN_TRUNCATE, "written");
  try {
    write_all(std::move(file), path, text);
    check_file(pask_fs_file_rename(beside.c_str(), path.c_str()), path, "written");
  } catch (...) {
    pask_fs_file_delete(beside.c_str());
    throw;
  }
}

}  // namespace app
