/* Finding what a person named: objects of the catalogue for seeds, list elements for filters. */
#ifndef CADENZ_APP_FINDING_H
#define CADENZ_APP_FINDING_H

#include <functional>

#include "core/item.h"

namespace app {

struct found_object {
  mdo_owner object;
  item shown;
};

/** Objects of a kind whose names hold all words of the text, best first. */
std::vector<found_object> find(velox_catalog_handle catalog, const std::string& text, item_kind kind, uint32_t limit);

/** Told what somebody should know although nothing failed: what it is, and what to do about it. */
using notice_sink = std::function<void(const std::string& what, const std::string& next)>;

/** The objects at a place of the catalogue. */
std::vector<found_object> browse(velox_catalog_handle catalog, const velox_catalog_browsing& what);
/** The one with an identifier; nothing when there is none. */
std::optional<found_object> find_by_id(velox_catalog_handle catalog, item_kind kind, const std::string& id);

/** The one object that a person named, by its name or as "Artist - Title". Several that fit as well are told of; none is a
 *  failure that names the nearest. */
found_object find_seed(velox_catalog_handle catalog, item_kind kind, const std::string& text,
                       const notice_sink& notices);

/** One of the three lists that filters are made of. */
struct list_kind {
  const char* type;      // VELOX_LIST_...
  const char* plural;    // "genres"
  const char* singular;  // "genre", the option's name
};
inline constexpr list_kind list_kinds[] = {
    {VELOX_LIST_GENRES, "genres", "genre"}, {VELOX_LIST_MOODS, "moods", "mood"}, {VELOX_LIST_ERAS, "eras", "era"}};

named_list read_list(velox_catalog_handle catalog, const list_kind& kind);
/** Sets elements of a list on a filter, by what a person called them: a name in any ASCII case, for an era also "90s" or a
 *  year. Returns the elements' own names. A name that isn't in the list is a failure that names the nearest. */
std::vector<std::string> set_elements(velox_catalog_handle catalog, const list_kind& kind,
                                      const std::vector<std::string>& wanted, velox_cadenz_filter_handle filter);

}  // namespace app

#endif
