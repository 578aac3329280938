/* Identifiers of tracks, albums, artists and stations in addresses: letters, digits, "-", "_" and "." stay, another byte is "~" and two
 * hexadecimal digits. */
#ifndef CADENZ_APP_MEDIA_ID_H
#define CADENZ_APP_MEDIA_ID_H

#include <optional>
#include <string>
#include <string_view>

namespace app::http {

std::string as_address(std::string_view identifier);
/** Nothing for a text that as_address() doesn't give. */
std::optional<std::string> from_address(std::string_view text);

}  // namespace app::http

#endif
