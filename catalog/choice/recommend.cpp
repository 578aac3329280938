// A recommendation: what a request asks for, chosen and told.
#include "choice/recommend.h"

#include "choice/choose.h"

namespace velox::catalog {

standin::mdo_ref recommend(connection& from, const velox_standin_request& request, progress& run) {
  const wish asked = read_wish(from, request);
  const choices made = choose(from, asked, run);
  standin::mdo_builder answer("velox_ctx_response");
  object_maker make(*from.db, from.attrs, asked.xids);
  if (!made.fallback.empty()) answer.value(VELOX_VAL_FALLBACK, made.fallback);
  for (const choice& each : made.tracks) answer.child("velox_ctx_track!", make.track(each.track.id, &each.why));
  standin::mdo_ref result = answer.finish();
  run.gave(static_cast<uint32_t>(made.tracks.size()));
  return result;
}

}  // namespace velox::catalog
