// A recommendation: what a request asks for, chosen and told.
#include "choice/answers.h"
#include "choice/chooser.h"
#include "choice/objects.h"
#include "velox_catalog.h"

namespace velox::catalog {

standin::mdo_ref recommend(store& from, const velox_standin_request& asked, progress& run) {
  const view all(from);
  const request wanted = read_request(from, {options_of(asked), data_of(asked)});
  const choices made = choose(from, wanted, run);
  subjects chosen;
  for (const choice& each : made.tracks) chosen.tracks.push_back(each.track.id);
  const records told = from.describe(chosen);

  standin::mdo_builder answer("velox_ctx_response");
  object_maker make(from, told, wanted.xids, wanted.sonic);
  if (!made.fallback.empty()) answer.value(VELOX_VAL_FALLBACK, made.fallback);
  for (const choice& each : made.tracks) answer.child(VELOX_CHILD_TRACK, make.track(each.track.id, &each.why));
  standin::mdo_ref result = answer.finish();
  run.gave(made.tracks.size());
  return result;
}

}  // namespace velox::catalog
