/* Finding what a person named. The catalogue's callbacks lend their objects: what is kept gets a reference, and list elements
 * are set on the filter while they are lent. */
#include "core/finding.h"

#include <algorithm>

#include "core/nearest.h"
#include "core/text.h"

namespace app {

namespace {

uint32_t search_bit(item_kind kind) {
  constexpr uint32_t bits[] = {VELOX_CATALOG_TRACKS, VELOX_CATALOG_ALBUMS, VELOX_CATALOG_ARTISTS};
  return bits[static_cast<int>(kind)];
}

int collect_object(void* context, velox_mdo_handle lent) noexcept {
  static_cast<std::vector<found_object>*>(context)->push_back({keep(lent), read_item(lent)});
  return 0;
}

int collect_row(void* context, velox_list_element_handle, const char* name, uint64_t tracks) noexcept {
  static_cast<std::vector<list_row>*>(context)->push_back({name, tracks});
  return 0;
}

struct setting {
  const std::vector<std::string>& names;
  velox_cadenz_filter_handle filter;
  pask_status status;
};

int set_if_named(void* context, velox_list_element_handle element, const char* name, uint64_t) noexcept {
  auto& work = *static_cast<setting*>(context);
  if (std::find(work.names.begin(), work.names.end(), name) == work.names.end()) return 0;
  work.status = velox_cadenz_filter_set(work.filter, element);
  return work.status != 0;
}

constexpr uint32_t seed_candidates = 50;

/** "Artist - Title" taken apart at one of its dashes. */
std::vector<found_object> find_by_both(velox_catalog_handle catalog, item_kind kind, const std::string& text) {
  constexpr std::string_view dash = " - ";
  for (size_t at = text.find(dash); at != std::string::npos; at = text.find(dash, at + 1)) {
    const std::string artist = lower(text.substr(0, at));
    std::vector<found_object> fits = find(catalog, text.substr(at + dash.size()), kind, seed_candidates);
    std::erase_if(fits,
                  [&](const found_object& one) { return lower(one.shown.artist).find(artist) == std::string::npos; });
    if (!fits.empty()) return fits;
  }
  return {};
}

/** Tells when a name stands for several things, and which one was taken. */
void tell_namesakes(const std::vector<found_object>& fits, const std::string& text, const notice_sink& notices) {
  const auto is_named_so = [&](const found_object& one) {
    return lower(one.shown.title) == lower(text) && lower(one.shown.artist) != lower(fits.front().shown.artist);
  };
  const auto others = std::count_if(fits.begin() + 1, fits.end(), is_named_so);
  if (others == 0 || fits.front().shown.kind == item_kind::artist) return;
  notices(
      "taking " + description(fits.front().shown) + "; " + std::to_string(others) + " more by others have that name",
      "name the artist too: --" + std::string(kind_name(fits.front().shown.kind)) + " \"Artist - Title\"");
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** True when a person's word means the list's name. */
bool means(const list_kind& kind, const std::string& word, const std::string& name) {
  const std::string wanted = lower(word), known = lower(name);
  if (wanted == known) return true;
  if (kind.type != std::string_view(VELOX_LIST_ERAS)) return false;
  const bool short_form = wanted.size() == 3 && wanted.back() == 's' && ends_with(known, wanted);  // "90s"
  const bool year = wanted.size() == 4 && wanted.find_first_not_of("0123456789") == std::string::npos;
  return short_form || (year && wanted.substr(0, 3) + "0s" == known);
}

}  // namespace

std::vector<found_object> find(velox_catalog_handle catalog, const std::string& text, item_kind kind, uint32_t limit) {
  std::vector<found_object> found;
  check(velox_catalog_search(catalog, text.c_str(), search_bit(kind), limit, collect_object, &found));
  return found;
}

std::vector<found_object> browse(velox_catalog_handle catalog, const velox_catalog_browsing& what) {
  std::vector<found_object> found;
  check(velox_catalog_browse(catalog, &what, collect_object, &found));
  return found;
}

std::optional<found_object> find_by_id(velox_catalog_handle catalog, item_kind kind, const std::string& id) {
  velox_catalog_browsing what = {};
  what.kind = search_bit(kind);
  what.limit = 1;
  (kind == item_kind::track ? what.track : kind == item_kind::album ? what.album : what.artist) = id.c_str();
  std::vector<found_object> found = browse(catalog, what);
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

found_object find_seed(velox_catalog_handle catalog, item_kind kind, const std::string& text,
                       const notice_sink& notices) {
  std::vector<found_object> fits = find(catalog, text, kind, seed_candidates);
  if (fits.empty() && kind != item_kind::artist) fits = find_by_both(catalog, kind, text);
  if (fits.empty())
    throw failure(std::string("no ") + kind_name(kind) + " \"" + text + "\" in the catalogue",
                  suggestion(nearest_items(catalog, kind, text), "look for it with: cadenz search TEXT"));

  tell_namesakes(fits, text, notices);
  return std::move(fits.front());
}

named_list read_list(velox_catalog_handle catalog, const list_kind& kind) {
  named_list list{kind.plural, {}};
  check(velox_catalog_list(catalog, kind.type, collect_row, &list.rows));
  return list;
}

std::vector<std::string> set_elements(velox_catalog_handle catalog, const list_kind& kind,
                                      const std::vector<std::string>& wanted, velox_cadenz_filter_handle filter) {
  if (wanted.empty()) return {};
  const named_list list = read_list(catalog, kind);

  std::vector<std::string> names;
  for (const std::string& word : wanted) {
    const auto row = std::find_if(list.rows.begin(), list.rows.end(),
                                  [&](const list_row& one) { return means(kind, word, one.name); });
    if (row == list.rows.end()) {
      std::vector<std::string> known;
      for (const list_row& one : list.rows) known.push_back(one.name);
      throw failure(std::string("no ") + kind.singular + " \"" + word + "\" in the catalogue",
                    suggestion(nearest(word, known), std::string("see: cadenz lists ") + kind.plural));
    }
    names.push_back(row->name);
  }

  setting work{names, filter, 0};
  check(velox_catalog_list(catalog, kind.type, set_if_named, &work));
  check(work.status, "the filter can't be set");
  return names;
}

}  // namespace app
