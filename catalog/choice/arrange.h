// The order of what was chosen.
#ifndef VELOX_CATALOG_CHOICE_ARRANGE_H
#define VELOX_CATALOG_CHOICE_ARRANGE_H

#include "choice/chooser.h"

namespace velox::catalog {

/** Best first; where the request rotates, seeds take turns, and no artist follows itself as long as the others suffice to keep its
 *  tracks apart. A station's tracks stay in the order in which they were let through. */
void arrange(std::vector<choice>& chosen, const request& asked);

}  // namespace velox::catalog

#endif
