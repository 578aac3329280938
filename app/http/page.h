/* The page's files, which lie inside the program. */
#ifndef CADENZ_APP_PAGE_H
#define CADENZ_APP_PAGE_H

#include <span>
#include <string_view>

namespace app::http {

struct page_file {
  const char* address;
  const char* type;
  std::string_view bytes;
  const char* validator;  // for ETag
};

std::span<const page_file> page_files();

}  // namespace app::http

#endif
