/* Settings are the options that have a value in force reported: numbers of 0 to 1000, and switches. */
#include "core/options.h"

#include <velox/pask_number.h>

#include <algorithm>
#include <charconv>

namespace app {

namespace {

bool is_setting(const velox_option& option) { return option.reported != nullptr; }

std::optional<std::string> read_switch(std::string_view text) {
  constexpr std::string_view on[] = {"on", "yes", "true", "1"}, off[] = {"off", "no", "false", "0"};
  if (std::ranges::find(on, text) != std::end(on)) return "1";
  if (std::ranges::find(off, text) != std::end(off)) return "0";
  return std::nullopt;
}

std::optional<std::string> read_number(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size() || number > 1000) return std::nullopt;
  return std::to_string(number);
}

std::string listed(uint8_t form, const std::string& before, const std::string& behind) {
  std::string text;
  for (const velox_option& option : all_options)
    if (is_setting(option) && option.form == form) text += (text.empty() ? "" : ", ") + before + option.name + behind;
  return text;
}

}  // namespace

const velox_option& option_of(std::string_view key) {
  return *std::ranges::find_if(all_options, [&](const velox_option& one) { return one.key && key == one.key; });
}

bool setting::is_on() const { return value && pask_string_atobool(value->c_str()) != 0; }

std::optional<setting> read_setting(const std::string& text) {
  const size_t blank = std::min(text.find(' '), text.size());
  const std::string_view name = std::string_view(text).substr(0, blank);
  const std::string_view value = std::string_view(text).substr(std::min(blank + 1, text.size()));
  for (const velox_option& option : all_options) {
    if (!is_setting(option) || name != option.name) continue;
    std::optional<std::string> read = option.form == VELOX_OPTION_NUMBER ? read_number(value) : read_switch(value);
    return read ? std::optional(setting{&option, std::move(read)}) : std::nullopt;
  }
  return std::nullopt;
}

std::string number_settings(const std::string& before) { return listed(VELOX_OPTION_NUMBER, before, " N"); }

std::string switch_settings(const std::string& before, const std::string& behind) {
  return listed(VELOX_OPTION_BOOLEAN, before, behind);
}

}  // namespace app
