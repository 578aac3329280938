/* "Did you mean": the names of the catalogue that are nearest to a text that names nothing. */
#ifndef CADENZ_APP_NEAREST_H
#define CADENZ_APP_NEAREST_H

#include <string>
#include <vector>

#include "core/item.h"

namespace app {

/** The up to three candidates nearest to a text by edit distance, nearest first, those too far away left out. */
std::vector<std::string> nearest(const std::string& text, const std::vector<std::string>& candidates);
/** The same among the catalogue's items of a kind, found by the beginnings of the text's words. */
std::vector<std::string> nearest_items(velox_catalog_handle catalog, item_kind kind, const std::string& text);
/** "nearest: A, B, C", or the other text when there is none. */
std::string suggestion(const std::vector<std::string>& names, const std::string& otherwise);

}  // namespace app

#endif
