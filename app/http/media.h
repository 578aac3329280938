/* Sound and pictures over HTTP. */
#ifndef CADENZ_APP_MEDIA_H
#define CADENZ_APP_MEDIA_H

#include <functional>
#include <memory>

#include "http/api.h"
#include "http/connections.h"

namespace app::http {

/** Throws a refusal for who may not ask. */
using admission = std::function<void(const httplib::Request&)>;

/** The addresses of tracks' sounds and of covers. */
void add_media(connection_server& http, house& in, admission admit);

/** Answers with a file or the range of it that is asked for, in pieces and from the file itself. */
void send_file(const connection_server& http, const httplib::Request& request, httplib::Response& response,
               std::shared_ptr<open_file> file);

}  // namespace app::http

#endif
