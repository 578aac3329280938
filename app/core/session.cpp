/* Start and stop, the place of the catalogue, and the words for failures. */
#include "core/session.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace app {

namespace fs = std::filesystem;

namespace {

const char* environment(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? value : nullptr;
}

catalog_owner opened(const std::string& path, uint32_t mode) {
  const std::string url = catalog_url(path);
  return acquire<catalog_owner>(nullptr, velox_catalog_open, url.c_str(), mode);
}

}  // namespace

std::string last_error(pask_status status) {
  velox_standin_error error = {};
  velox_standin_last_error(&error);
  if (error.word != 0 && error.message && *error.message) return error.message;

  switch (status) {
    case CADENZ_ERR_NO_MEMORY:
    case VELOX_STANDIN_ERR_NO_MEMORY:
      return "out of memory";
    case CADENZ_ERR_BAD_SEED:
      return "a seed offers nothing that a request can use";
    default:
      char text[32];
      std::snprintf(text, sizeof text, "status 0x%08x", static_cast<unsigned>(status));
      return text;
  }
}

session::manager::manager() { check(velox_standin_start(&record), "the manager doesn't start"); }

session::service::service(const manager& started) {
  check(velox_cadenz_initialize(started.record), "the service doesn't start");
}

std::string catalog_path(const std::string& named) {
  if (!named.empty()) return fs::absolute(named).string();
  if (const char* path = environment("CADENZ_CATALOG")) return fs::absolute(path).string();

  // A relative XDG_DATA_HOME is to be ignored, says the convention.
  if (const char* data = environment("XDG_DATA_HOME"); data && *data == '/')
    return (fs::path(data) / "cadenz/catalog.db").string();
  if (const char* home = environment("HOME"))
    return fs::absolute(fs::path(home) / ".local/share/cadenz/catalog.db").string();
  throw failure("no place for the catalogue: HOME isn't set", "name a file with --catalog FILE");
}

std::string catalog_url(const std::string& path) { return "sqlite:" + path; }

catalog_owner open_catalog(const std::string& path, bool to_change) {
  const char* fill_it = "run: cadenz scan FOLDER";
  std::error_code ignored;
  if (!fs::exists(path, ignored)) throw failure("there is no catalogue yet at " + path, fill_it);

  catalog_owner catalog = opened(path, to_change ? VELOX_CATALOG_CREATE : VELOX_CATALOG_READ);
  velox_catalog_counts counts = {};
  check(velox_catalog_count(catalog.get(), &counts));
  if (counts.tracks == 0) throw failure("the catalogue at " + path + " is empty", fill_it);
  return catalog;
}

catalog_owner open_catalog_for_scan(const std::string& path) { return opened(path, VELOX_CATALOG_CREATE); }

}  // namespace app
