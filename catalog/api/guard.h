// The border of the C interface: failures become status words with a message, and no exception gets out.
#ifndef VELOX_CATALOG_GUARD_H
#define VELOX_CATALOG_GUARD_H

#include <exception>
#include <new>

#include "model/failure.h"

namespace velox::catalog {

template <class Work>
pask_status guarded(const char* operation, Work work) noexcept {
  const auto told = [&](pask_status word, const char* message) {
    velox_standin_error_set(word, operation, message);
    return word;
  };
  try {
    work();
    return 0;
  } catch (const failure& what) {
    return told(what.word, what.message.c_str());
  } catch (const std::bad_alloc&) {
    return told(VELOX_STANDIN_ERR_NO_MEMORY, "no memory");
  } catch (const std::exception& what) {
    return told(VELOX_STANDIN_ERR_CATALOG, what.what());
  }
}

inline void require(bool condition, const char* message) {
  if (!condition) throw failure{VELOX_STANDIN_ERR_INVALID_ARG, message};
}

}  // namespace velox::catalog

#endif
