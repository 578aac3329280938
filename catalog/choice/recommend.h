// Recommendations.
#ifndef VELOX_CATALOG_RECOMMEND_H
#define VELOX_CATALOG_RECOMMEND_H

#include "choice/request.h"

namespace velox::catalog {

/** Answers a request of type "velox_lookup_type_radio_recommend". */
standin::mdo_ref recommend(connection& from, const velox_standin_request& request, progress& run);

}  // namespace velox::catalog

#endif
