/* A file's bytes go from the system's cache to the socket. The library counts pieces and writes headers; which range there is to send
 * is settled before it begins. */
#include "http/media.h"

#include <algorithm>

#include "http/pictures.h"

namespace app::http {

namespace {

constexpr size_t piece_bytes = 1 << 20;

/** Whether some of the range lies in the file; one that doesn't fit is cut by the library. */
bool within(const httplib::Range& range, uint64_t size) {
  if (range.first < 0) return range.second > 0 && size > 0;  // the last bytes
  return static_cast<uint64_t>(range.first) < size && (range.second < 0 || range.first <= range.second);
}

bool send_piece(const open_file& file, size_t offset, size_t length, httplib::DataSink& sink) {
  connection* to = connection::current();
  to->lend_file(file.descriptor(), offset);
  const bool sent = sink.write("", std::min(length, piece_bytes));
  to->lend_file(-1, 0);
  return sent;
}

}  // namespace

void send_file(const connection_server& http, const httplib::Request& request, httplib::Response& response,
               std::shared_ptr<open_file> file) {
  response.set_header("ETag", file->validator);
  response.set_header("Last-Modified", file->changed_text());
  response.set_header("Cache-Control", "private, no-cache");
  response.set_header("Accept-Ranges", "bytes");
  if (request.get_header_value("If-None-Match") == file->validator) {
    response.status = 304;
    return;
  }
  // The library has read the ranges already, and goes by them: so they are put right in the request.
  httplib::Ranges& ranges = const_cast<httplib::Request&>(request).ranges;
  const std::string still = request.get_header_value("If-Range");
  if (!still.empty() && still != file->validator) ranges.clear();  // of what the file held before
  const uint64_t size = file->size;
  if (!ranges.empty() && !within(ranges[0], size)) {
    ranges.clear();
    response.set_header("Content-Range", "bytes */" + std::to_string(size));
    response.status = 416;
    return;
  }
  if (!ranges.empty() && ranges[0].first < 0)
    ranges[0] = {static_cast<ssize_t>(size - std::min(size, static_cast<uint64_t>(ranges[0].second))), -1};
  if (!ranges.empty() && static_cast<uint64_t>(ranges[0].second) >= size)
    ranges[0].second = static_cast<ssize_t>(size) - 1;
  response.set_content_provider(size, file->type, [&http, file](size_t offset, size_t length, httplib::DataSink& sink) {
    return !http.stopping() && send_piece(*file, offset, length, sink);
  });
}

void add_media(connection_server& http, house& in, admission admit) {
  http.Get("/api/tracks/([^/]+)/sound", [&, admit](const httplib::Request& request, httplib::Response& response) {
    admit(request);
    std::shared_ptr<open_file> file = in.files.open(path_of_track(in, request.matches[1]));
    if (!file) throw refusal(404, "the track's file can't be opened", "has it moved? Scan again");
    send_file(http, request, response, std::move(file));
  });
  const auto cover = [&](std::string (*path_of)(house&, const std::string&)) {
    return [&in, admit, path_of](const httplib::Request& request, httplib::Response& response) {
      admit(request);
      std::optional<picture> found = cover_of(in.files, path_of(in, request.matches[1]));
      if (!found) throw refusal(404, "there is no picture");
      response.set_header("Cache-Control", "private, max-age=3600");
      response.set_content(std::move(found->bytes), found->type);
    };
  };
  http.Get("/api/tracks/([^/]+)/cover", cover(path_of_track));
  http.Get("/api/albums/([^/]+)/cover", cover(path_of_album));
}

}  // namespace app::http
