/* cadenz sound: what is heard of a track, and its neighbours. */
#include <unistd.h>

#include "cli/commands.h"
#include "cli/output.h"
#include "core/finding.h"
#include "core/session.h"

namespace app {

int sound(const std::string& path, const sound_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  const found_object track = find_seed(catalog.get(), item_kind::track, request.track, tell);
  const char* const tag = velox_standin_mdo_value(track.object.get(), VELOX_VAL_TUI_TAG, 1);

  velox_sound heard = {};
  std::vector<alike> near;
  const auto take = [](void* to, velox_mdo_handle one, float distance) {
    static_cast<std::vector<alike>*>(to)->push_back({read_item(one), static_cast<double>(distance)});
    return 0;
  };
  const pask_status status =
      velox_catalog_sound(catalog.get(), track.shown.id.c_str(), tag, &heard, request.limit, take, &near);
  if (status == VELOX_STANDIN_ERR_NOT_FOUND)
    throw failure("nobody has listened to " + description(track.shown) + " yet",
                  "scan the music again, without --no-sound");
  check(status);
  write_result(request.json ? json_of_sound(track.shown, heard, near)
                            : table_of_sound(track.shown, heard, near, terminal_of(STDOUT_FILENO)));
  return exit_fine;
}

}  // namespace app
