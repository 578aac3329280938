/* XML 1.0 whatever the tags hold: what it has no place for is left out. */
#include "http/subsonic/tree.h"
#include "core/text.h"

#include "core/text_safe.h"

namespace app::http::subsonic {

namespace {

void put_escaped(std::string& to, const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const char32_t code_point = next_code_point(text, at);
    switch (code_point) {
      case '&':
        to += "&amp;";
        break;
      case '<':
        to += "&lt;";
        break;
      case '>':
        to += "&gt;";
        break;
      case '"':
        to += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':
        to += ' ';
        break;
      default:
        if (!acts_on_terminal(code_point) && code_point != 0xfffe && code_point != 0xffff) append_utf8(to, code_point);
    }
  }
}

std::string text_of(const json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

void put_element(std::string& to, const std::string& name, const json& tree) {
  to += '<' + name;
  std::string inside;
  if (!tree.is_structured()) {
    put_escaped(inside, text_of(tree));
  } else {
    for (const auto& [key, value] : tree.items()) {
      if (value.is_array()) {
        for (const json& one : value) put_element(inside, key, one);
      } else if (value.is_object()) {
        put_element(inside, key, value);
      } else if (key == "value") {
        put_escaped(inside, text_of(value));
      } else {
        to += ' ' + key + "=\"";
        put_escaped(to, text_of(value));
        to += '"';
      }
    }
  }
  to += inside.empty() ? "/>" : '>' + inside + "</" + name + '>';
}

}  // namespace

std::string as_json_text(const json& tree) { return tree.dump(-1, ' ', false, json::error_handler_t::replace); }

std::string as_xml_text(const std::string& root, const json& tree) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  put_element(text, root, tree);
  return text;
}

}  // namespace app::http::subsonic
