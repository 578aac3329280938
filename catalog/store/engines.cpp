// The engines that a service URL may name: a further one is a folder beside sqlite/ and a row here.
#include "store/store.h"

#include "model/failure.h"
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog {
namespace {

struct engine {
  std::string_view scheme;
  std::unique_ptr<store> (*open)(std::string_view rest, role as); /* `rest` stands behind the scheme */
};

constexpr engine k_engines[] = {{"sqlite:", sqlite::open}};

}  // namespace

std::unique_ptr<store> open_store(std::string_view url, role as) {
  for (const engine& each : k_engines) {
    if (url.starts_with(each.scheme)) return each.open(url.substr(each.scheme.size()), as);
  }
  throw failure{VELOX_STANDIN_ERR_UNSUPPORTED, "service URL \"" + std::string(url) +
                                                   "\" isn't served here: sqlite:/path/to/file.db names a catalogue"};
}

}  // namespace velox::catalog
