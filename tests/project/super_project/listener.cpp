// An ordinary C++ program: with exceptions and types at run time, which the library does without.
#include <velox/velox_cadenz.h>
#include <velox/velox_standin.h>

#include <cstdio>
#include <stdexcept>
#include <typeinfo>

static void require(uint32_t status) {
  if (status != 0) throw std::runtime_error("failed");
}

int main() try {
  const velox_manager_record* manager = nullptr;
  require(velox_standin_start(&manager));
  require(velox_cadenz_initialize(manager));
  std::puts(velox_cadenz_get_version());
  require(velox_cadenz_shutdown());
  velox_standin_stop();
} catch (const std::exception& e) {
  std::puts(typeid(e).name());
  return 1;
}
