/* Playlists for players: extended M3U and XSPF. */
#include "core/playlists.h"

#include "core/text_safe.h"

namespace app {

namespace {

/** True for a text that begins with a URI's scheme, as in "https://". */
bool is_uri(const std::string& location) {
  const size_t colon = location.find("://");
  return colon != std::string::npos && colon > 0 &&
         location.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.") == colon;
}

std::string xml_text(const std::string& text) {
  std::string escaped;
  for (size_t at = 0; at < text.size();) {
    const char32_t code_point = next_code_point(text, at);
    switch (code_point) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '\t':
      case '\n':
      case '\r':
        escaped += ' ';
        break;
      default:  // XML has no controls and none of the two code points that aren't characters
        if (!acts_on_terminal(code_point) && code_point != 0xfffe && code_point != 0xffff)
          append_utf8(escaped, code_point);
    }
  }
  return escaped;
}

void add_element(std::string& to, const char* name, const std::string& escaped) {
  if (escaped.empty()) return;
  to.append("      <").append(name).append(">").append(escaped).append("</").append(name).append(">\n");
}

}  // namespace

std::string uri_of(const std::string& location) {
  // Of a URI the signs with a meaning stay as they are, and what is escaped already.
  const char* kept = is_uri(location) ? "-._~/:?#[]@!$&'()*+,;=%" : "-._~/";
  std::string uri = !location.empty() && location.front() == '/' ? "file://" : "";
  for (const char c : location) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letter_or_digit = (byte >= '0' && byte <= '9') || ((byte | 0x20) >= 'a' && (byte | 0x20) <= 'z');
    if (byte != 0 && (letter_or_digit || std::string_view(kept).find(c) != std::string_view::npos)) {
      uri += c;
    } else {
      constexpr char digits[] = "0123456789ABCDEF";
      uri += '%';
      uri += digits[byte >> 4];
      uri += digits[byte & 0xf];
    }
  }
  return uri;
}

std::string m3u_of(const recommendation& result, bool for_terminal) {
  std::string text = "#EXTM3U\n";
  for (const item& track : result.tracks) {
    const std::string name = safe(track.artist + " - " + track.title);
    if (track.location.empty()) {
      text += "# no file: " + name + '\n';
    } else if (track.location.find_first_of("\r\n") != std::string::npos || track.location.front() == '#') {
      text += "# a path that M3U can't hold: " + name + '\n';
    } else {
      text += "#EXTINF:" + std::to_string(track.duration_seconds.value_or(-1)) + ',' + name + '\n';
      text += (for_terminal ? safe(track.location) : track.location) + '\n';
    }
  }
  return text;
}

std::string xspf_of(const recommendation& result, bool explain) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<playlist version=\"1\" xmlns=\"http://xspf.org/ns/0/\">\n"
      "  <trackList>\n";
  for (const item& track : result.tracks) {
    text += "    <track>\n";
    add_element(text, "location", xml_text(uri_of(track.location)));
    add_element(text, "title", xml_text(track.title));
    add_element(text, "creator", xml_text(track.artist));
    if (explain) add_element(text, "annotation", xml_text(track.reason));
    add_element(text, "album", xml_text(track.album));
    if (track.duration_seconds) add_element(text, "duration", std::to_string(*track.duration_seconds * 1000));
    text += "    </track>\n";
  }
  return text + "  </trackList>\n</playlist>\n";
}

}  // namespace app
