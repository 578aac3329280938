// The filter object: a map from a list type to the numbers of list elements, as decimal texts. It takes no lock.
#include <string.h>

#include "cadenz_objects.h"
#include "pask_number.h"
#include "pask_string.h"

void _cadenz_filter_delete(cadenz_filter* filter) {
  if (!filter) return;
  pask_stringmap_delete(filter->values);
  pask_memory_free(filter);
}

void _cadenz_filter_handle_delete(void* filter) { _cadenz_filter_delete(static_cast<cadenz_filter*>(filter)); }

static uint32_t filter_fill(cadenz_filter* filter) {
  PASK_TRY(pask_stringmap_create(&filter->values, PASK_HASHTABLE_MULTI_VALUE));
  return g_cadenz_handlemanager_interface->handle_add(g_cadenz_client_ref, filter, filter->magic,
                                                      _cadenz_filter_handle_delete);
}

static uint32_t filter_make(cadenz_filter** filter) {
  auto* made = static_cast<cadenz_filter*>(pask_memory_alloc(sizeof(cadenz_filter)));
  if (!made) return CADENZ_ERR_NO_MEMORY;
  memset(made, 0, sizeof *made);
  made->magic = CADENZ_FILTER_MAGIC;
  if (const uint32_t status = filter_fill(made)) {
    _cadenz_filter_delete(made);
    return status;
  }
  *filter = made;
  return 0;
}

// Whether the key holds the text already. A value that can't be read doesn't end the walk; only at the last index does its
// status come back.
static uint32_t filter_holds(pask_stringmap_handle values, const char* key, const char* text, bool* holds) {
  uint32_t count = 0;
  PASK_TRY(pask_stringmap_value_count(values, key, &count));
  uint32_t status = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const char* value = nullptr;
    status = pask_stringmap_value_find_ex(values, key, i, &value);
    *holds = !status && pask_string_equal(value, text, 1);
    if (*holds) return 0;
  }
  return status;
}

static uint32_t filter_take(cadenz_filter* filter, velox_list_element_handle element) {
  PASK_ASSERT(cadenz_sound(filter));
  const char* type = nullptr;
  PASK_TRY(g_cadenz_lists_interface->list_element_get_type(element, &type));
  if (!pask_string_equal(type, VELOX_LIST_GENRES, 0) && !pask_string_equal(type, VELOX_LIST_MOODS, 0) &&
      !pask_string_equal(type, VELOX_LIST_ERAS, 0))
    return CADENZ_ERR_UNSUPPORTED;
  int32_t id = 0;
  PASK_TRY(g_cadenz_lists_interface->list_element_get_id(element, &id));
  char text[32];
  pask_string_i32toa(id, text, sizeof text);
  bool holds = false;
  PASK_TRY(filter_holds(filter->values, type, text, &holds));
  return holds ? 0 : pask_stringmap_value_add(filter->values, type, text);
}

uint32_t velox_cadenz_filter_create(cadenz_filter** filter) {
  static constexpr char OPERATION[] = "velox_cadenz_filter_create";
  cadenz_trace("velox_cadenz_filter_create( %p )", filter);
  PASK_TRY(cadenz_ready(OPERATION));
  if (!filter) return cadenz_end(OPERATION, CADENZ_ERR_INVALID_ARG, "Parameter p_cadenz_filter_handle is null.");
  return cadenz_end_unfolded(OPERATION, filter_make(filter));
}

uint32_t velox_cadenz_filter_set(cadenz_filter* filter, velox_list_element_handle element) {
  static constexpr char OPERATION[] = "velox_cadenz_filter_set";
  cadenz_trace("velox_cadenz_filter_set( %p, %p )", filter, element);
  if (!filter || !element) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, filter, CADENZ_FILTER_MAGIC));
  return cadenz_end_unfolded(OPERATION, filter_take(filter, element));
}

uint32_t velox_cadenz_filter_release(cadenz_filter* filter) {
  static constexpr char OPERATION[] = "velox_cadenz_filter_release";
  cadenz_trace("velox_cadenz_filter_release( %p )", filter);
  PASK_TRY(cadenz_ready(OPERATION));
  if (!filter) return cadenz_end(OPERATION, 0);
  PASK_TRY(cadenz_handle_check(OPERATION, filter, CADENZ_FILTER_MAGIC));
  return cadenz_end_unfolded(OPERATION, g_cadenz_handlemanager_interface->handle_release(filter));
}
