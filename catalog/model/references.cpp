// Reading the data of a request.
#include "model/references.h"

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr struct {
  std::string_view key;
  attribute_kind kind;
} k_attribute_keys[] = {{VELOX_LOOKUP_DATA_SEED_GENRE, k_genre},
                        {VELOX_LOOKUP_DATA_SEED_ERA, k_era},
                        {VELOX_LOOKUP_DATA_SEED_MOOD, k_mood}};

std::string text_of(const char* text) { return text ? text : ""; }

}  // namespace

std::vector<seed_data> seeds_in(std::span<const velox_standin_item> data) {
  std::map<uint32_t, seed_data> parts;
  std::map<uint32_t, bool> ended;
  for (const velox_standin_item& item : data) {
    if (!item.key || !item.value) continue;
    seed_data& to = parts.try_emplace(item.ordinal, seed_data{item.ordinal, {}, {}}).first->second;
    if (!ended[item.ordinal] && to.own.emplace(item.key, item.value).second) continue;
    ended[item.ordinal] = true;
    to.filter.push_back(item);
  }
  std::vector<seed_data> seeds;
  for (auto& [ordinal, each] : parts) seeds.push_back(std::move(each));
  return seeds;
}

named_attribute attribute_in(std::string_view key, const char* value) {
  for (const auto& each : k_attribute_keys) {
    if (key != each.key) continue;
    uint64_t id = 0;
    return {each.kind, value && number(value, INT32_MAX, &id) ? static_cast<int64_t>(id) : 0};
  }
  return {};
}

place_reference place_in(std::string_view text) {
  const auto named = [&](std::string_view prefix) {
    const bool there = text.starts_with(prefix);
    if (there) text.remove_prefix(prefix.size());
    return there;
  };
  if (named("path:")) return {{}, {}, std::string(text)};
  const bool genre = named("genre:"), artist = !genre && named("artist:");
  while (text.starts_with(' ')) text.remove_prefix(1);
  const std::string name(text);
  if (genre) return {name, {}, {}};
  if (artist) return {{}, name, {}};
  return {name, name, name.starts_with('/') ? name : std::string()};
}

references references_of(std::span<const seed_data> seeds, const char* catalog_filter) {
  references made;
  const auto note = [&](std::string_view key, const char* value) {
    if (const named_attribute named = attribute_in(key, value); named.id != 0) made.attributes.push_back(named.id);
  };
  for (const seed_data& each : seeds) {
    if (made.seeds.size() < k_most_seeds)
      made.seeds.push_back({text_of(each.value(VELOX_LOOKUP_DATA_SEED_TUI)),
                            text_of(each.value(VELOX_LOOKUP_DATA_SEED_TUI_TAG)),
                            text_of(each.value(VELOX_LOOKUP_DATA_SEED_ARTIST_ID))});
    for (const auto& [key, value] : each.own) note(key, value);
    for (const velox_standin_item& item : each.filter) note(item.key, item.value);
  }
  if (catalog_filter && *catalog_filter) made.place = place_in(catalog_filter);
  return made;
}

seed_reference reference_of(const told_event& like) {
  if (is_of_track(like.kind)) return {like.subject, like.tag, {}};
  return {{}, {}, like.subject};
}

const char* value_of(std::span<const velox_standin_item> items, std::string_view key) {
  for (size_t i = items.size(); i-- > 0;) {
    if (items[i].key && items[i].key == key) return items[i].value;
  }
  return nullptr;
}

}  // namespace velox::catalog
