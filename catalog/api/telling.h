// Telling what a question has found as metadata objects, lent one after the other.
#ifndef VELOX_CATALOG_API_TELLING_H
#define VELOX_CATALOG_API_TELLING_H

#include <span>

#include "api/open_catalog.h"

namespace velox::catalog {

/** Tells finds of one kind, described some at a time: who stops at the first doesn't pay for thousands. False when the listener has
 *  enough. */
bool tell_found(store& from, uint32_t kind, std::span<const int64_t> ids, velox_catalog_find_fn on_find, void* context);

/** The kind of a VELOX_LIST_ text. */
attribute_kind kind_of_list(const char* list_type);

}  // namespace velox::catalog

#endif
