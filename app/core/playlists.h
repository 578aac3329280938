/* Playlists for players: extended M3U and XSPF. */
#ifndef CADENZ_APP_PLAYLISTS_H
#define CADENZ_APP_PLAYLISTS_H

#include "core/item.h"

namespace app {

/** Extended M3U. A track without a path, or with one that no line can hold, gets a comment. For a terminal the paths are
 *  made safe; otherwise they are byte for byte those of the files. */
std::string m3u_of(const recommendation& result, bool for_terminal);
/** XSPF 1, well-formed XML 1.0 whatever the tags hold. */
std::string xspf_of(const recommendation& result, bool explain);

/** The file URI of an absolute path, percent-encoded; another text is taken for a URI or a relative path. Empty for none. */
std::string uri_of(const std::string& location);

}  // namespace app

#endif
