// What a request says of its filter: all of its values behind every seed's. The filter takes no lock; the callers hold the
// query's.
#include "cadenz_request.h"
#include "pask_string.h"

static const char* filter_data_key(const char* list_type) {
  if (pask_string_equal(list_type, VELOX_LIST_MOODS, 0)) return VELOX_LOOKUP_DATA_SEED_MOOD;
  if (pask_string_equal(list_type, VELOX_LIST_GENRES, 0)) return VELOX_LOOKUP_DATA_SEED_GENRE;
  return pask_string_equal(list_type, VELOX_LIST_ERAS, 0) ? VELOX_LOOKUP_DATA_SEED_ERA : nullptr;
}

static uint32_t filter_value_add(uint32_t ordinal, pask_stringmap_handle values, uint32_t index,
                                 velox_lookup_handle lookup) {
  const char* list_type = nullptr;
  const char* value = nullptr;
  PASK_TRY(pask_stringmap_value_get(values, index, &list_type, &value));
  const char* key = filter_data_key(list_type);
  if (!key) return 0;
  if (index == 0) PASK_TRY(cadenz_data_add(lookup, VELOX_LOOKUP_DATA_SEED, VELOX_LOOKUP_SEED_ATTRIBUTE, ordinal));
  return cadenz_data_add(lookup, key, value, ordinal);
}

static uint32_t _cadenz_query_lookup_add_filter_to_seed(uint32_t ordinal, pask_stringmap_handle values,
                                                        velox_lookup_handle lookup) {
  uint32_t count = 0;
  if (const uint32_t status = pask_stringmap_count(values, &count)) return cadenz_report(status);
  for (uint32_t i = 0; i < count; ++i)
    if (const uint32_t status = filter_value_add(ordinal, values, i, lookup)) return cadenz_report(status);
  return 0;
}

uint32_t _cadenz_query_lookup_add_filter(cadenz_query* query, velox_lookup_handle lookup, const cadenz_filter* filter) {
  if (!query || !lookup || !filter) return cadenz_report(CADENZ_ERR_BAD_RECORD);
  PASK_ASSERT(cadenz_sound(filter));  // one that was released is used against its promise
  uint32_t values = 0;
  if (const uint32_t status = pask_stringmap_count(filter->values, &values)) return cadenz_report(status);
  if (values == 0) return cadenz_report(CADENZ_ERR_NO_SEEDS);
  uint32_t seeds = 0;
  if (const uint32_t status = pask_vector_count(query->seeds, &seeds)) return cadenz_report(status);
  const uint32_t ordinals = seeds ? seeds : 1;
  uint32_t last = 0;
  for (uint32_t ordinal = 1; ordinal <= ordinals; ++ordinal)
    last = _cadenz_query_lookup_add_filter_to_seed(ordinal, filter->values, lookup);
  return cadenz_report(last);
}
