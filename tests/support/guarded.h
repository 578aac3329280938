// Text that ends right in front of an inaccessible page: whoever reads or writes behind it crashes.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

class guarded_text {
 public:
  // A block of size bytes that begins with text, which needs no terminator, and goes on with zero bytes.
  guarded_text(std::string_view text, size_t size) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    pages_ = (size + page_ - 1) / page_ + 1;
    base_ =
        static_cast<char*>(mmap(nullptr, pages_ * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    char* const guard = base_ + (pages_ - 1) * page_;
    mprotect(guard, page_, PROT_NONE);
    at_ = guard - size;
    std::memcpy(at_, text.data(), text.size());
  }
  // The text and its terminator.
  explicit guarded_text(std::string_view text) : guarded_text(text, text.size() + 1) {}
  guarded_text(const guarded_text&) = delete;
  guarded_text& operator=(const guarded_text&) = delete;
  ~guarded_text() { munmap(base_, pages_ * page_); }

  char* get() const { return at_; }
  operator char*() const { return at_; }

 private:
  size_t page_;
  size_t pages_ = 0;
  char* base_ = nullptr;
  char* at_ = nullptr;
};
