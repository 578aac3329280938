// A track's attributes as its row keeps them: numbers divided by spaces, "12 7 140".
#ifndef VELOX_CATALOG_SQLITE_ATTRIBUTES_TEXT_H
#define VELOX_CATALOG_SQLITE_ATTRIBUTES_TEXT_H

#include "store/sqlite/connection.h"

namespace velox::catalog::sqlite {

/** Calls `each` with the numbers of a row's text; one that holds anything else is a failure. */
template <class Each>
void each_attribute(const statement& row, int column, Each each) {
  const std::string_view text = row.text(column);
  for (size_t at = 0; at < text.size(); ++at) {
    int64_t id = 0;
    const size_t first = at;
    for (; at < text.size() && text[at] != ' '; ++at) {
      if (text[at] < '0' || text[at] > '9' || at - first > 17) row.damaged(column);
      id = id * 10 + (text[at] - '0');
    }
    each(id);
  }
}

inline std::string attributes_text(std::span<const int64_t> ids) {
  std::string text;
  for (const int64_t id : ids) text += (text.empty() ? "" : " ") + std::to_string(id);
  return text;
}

}  // namespace velox::catalog::sqlite

#endif
