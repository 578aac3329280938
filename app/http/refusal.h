/* A request that isn't done, with the status of its answer. */
#ifndef CADENZ_APP_REFUSAL_H
#define CADENZ_APP_REFUSAL_H

#include "core/handles.h"

namespace app::http {

struct refusal : failure {
  refusal(int answered, const std::string& what, std::string next = {})
      : failure(what, std::move(next)), status(answered) {}
  int status;
  int retry_after = 0;  // seconds
};

}  // namespace app::http

#endif
