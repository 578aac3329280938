// What went wrong, as it travels up to the C interface: as an exception with the word and the sentence that are told there.
#ifndef VELOX_CATALOG_MODEL_FAILURE_H
#define VELOX_CATALOG_MODEL_FAILURE_H

#include <string>

#include "velox_standin.h"

namespace velox::catalog {

struct failure {
  pask_status word;
  std::string message;
};

}  // namespace velox::catalog

#endif
