// Recommendations: the road of one request, under the query's lock from beginning to end.
#include "cadenz_request.h"

static uint32_t recommend(cadenz_query* query, const cadenz_filter* filter, velox_lookup_handle* lookup,
                          velox_mdo_handle* result) PASK_REQUIRES(query->lock) {
  const uint32_t status = cadenz_preprocess_seeds(query);
  if (status && !(filter && cadenz_is_no_seeds(status))) return status;  // a filter can take the place of seeds
  return cadenz_seeded_request(query, VELOX_LOOKUP_TYPE_RECOMMEND, filter, lookup, result);
}

uint32_t velox_cadenz_query_generate_recommendations(cadenz_query* query, cadenz_filter* filter,
                                                     velox_mdo_handle* result) {
  static constexpr char OPERATION[] = "velox_cadenz_query_generate_recommendations";
  cadenz_trace("velox_cadenz_query_generate_recommendations( %p, %p, %p )", query, filter, result);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, query, CADENZ_QUERY_MAGIC));
  if (!result) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  uint32_t status = 0;
  {
    const cadenz_hold held(query);
    velox_lookup_handle lookup = nullptr;
    status = recommend(query, filter, &lookup, result);
    g_cadenz_lookup_interface->lookup_release(lookup);
  }
  return cadenz_end(OPERATION, status);
}
