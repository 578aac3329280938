// The lookups of stations.
#ifndef VELOX_CATALOG_STATION_H
#define VELOX_CATALOG_STATION_H

#include "choice/request.h"

namespace velox::catalog {

/* Each answers a request of its type, "velox_lookup_type_radio_..." with its name behind, in a transaction of its own: all of a
 * request takes effect or nothing. */
standin::mdo_ref create_station(connection& from, const velox_standin_request& request, progress& run);
standin::mdo_ref tell_station(connection& from, const velox_standin_request& request, progress& run);
standin::mdo_ref set_station(connection& from, const velox_standin_request& request, progress& run);
standin::mdo_ref look_ahead(connection& from, const velox_standin_request& request, progress& run);

}  // namespace velox::catalog

#endif
