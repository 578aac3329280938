/* The options of queries and stations that people are offered, from the one table of them. */
#ifndef CADENZ_APP_OPTIONS_H
#define CADENZ_APP_OPTIONS_H

#include <velox/velox_options.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace app {

inline constexpr velox_option all_options[] = {VELOX_OPTIONS(VELOX_OPTION_RECORD)};

/** The row of an option that there is, by its key. */
const velox_option& option_of(std::string_view key);

/** What the service goes by: the value that a station's answer reports of each option, nothing where it doesn't tell. */
struct setting {
  const velox_option* option;
  std::optional<std::string> value;

  bool is_on() const;
};
using station_settings = std::vector<setting>;

/** The option and its value for a setting as a person writes it, "popularity 300" or "dmca on"; nothing for what is none. */
std::optional<setting> read_setting(const std::string& text);
/** How a person writes each: the numbers as "popularity N", the switches with what follows their names. */
std::string number_settings(const std::string& before = {});
std::string switch_settings(const std::string& before, const std::string& behind);

}  // namespace app

#endif
