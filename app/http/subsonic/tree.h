/* An answer of the protocol is one tree, written as JSON or as XML: there a value is an attribute, an object an element, a list as many
 * elements of its name, and the member "value" an element's text. */
#ifndef CADENZ_APP_TREE_H
#define CADENZ_APP_TREE_H

#include "core/as_json.h"

namespace app::http::subsonic {

std::string as_json_text(const json& tree);
std::string as_xml_text(const std::string& root, const json& tree);

}  // namespace app::http::subsonic

#endif
