/* What every command works in: the manager and the service started, a user, and the catalogue's file. */
#ifndef CADENZ_APP_SESSION_H
#define CADENZ_APP_SESSION_H

#include "core/handles.h"

namespace app {

/** Starts the manager, then the service; ends them in the opposite order. Whatever is made inside goes before it. */
class session {
 public:
  session() = default;
  session(const session&) = delete;
  session& operator=(const session&) = delete;

  velox_user_handle user() const { return user_.get(); }

 private:
  struct manager {
    manager();
    ~manager() { velox_standin_stop(); }
    const velox_manager_record* record = nullptr;
  };
  struct service {
    explicit service(const manager& started);
    ~service() { velox_cadenz_shutdown(); }
  };

  manager manager_;
  service service_{manager_};
  user_owner user_ = acquire<user_owner>("making a user", velox_standin_user_create, "cadenz");
};

/** The catalogue's file as an absolute path: the one that was named, that of $CADENZ_CATALOG, or the one in the user's data
 *  folder. */
std::string catalog_path(const std::string& named);
/** The service URL of a catalogue's file. */
std::string catalog_url(const std::string& path);
/** Opens the catalogue that is there; fails when there is none, or nothing in it. */
catalog_owner open_catalog(const std::string& path, bool to_change = false);
/** Opens the catalogue for a scan; makes it when missing. */
catalog_owner open_catalog_for_scan(const std::string& path);

}  // namespace app

#endif
