/* What the program tells other programs, as JSON: the same names in the commands' output and over HTTP. Fields that a track doesn't
 * have are left out. */
#ifndef CADENZ_APP_AS_JSON_H
#define CADENZ_APP_AS_JSON_H

#include <nlohmann/json.hpp>

#include "core/station.h"

namespace app {

using json = nlohmann::ordered_json;

/* Nothing is put where there is nothing. */
void put(json& object, const char* key, const std::string& value);
void put(json& object, const char* key, const std::vector<std::string>& values);
void put(json& object, const char* key, const std::optional<long>& value);
void put(json& object, const char* key, const std::optional<double>& value);

/** Numbers as a person has them: a float that was 92.3 is no 92.30000305. */
double rounded(double value);
/** A moment as RFC 3339 writes it. */
std::string moment_of(uint64_t seconds);

json object_of(const heard& sound);
/** `with_place`: where its file lies, too. */
json object_of(const item& shown, bool with_place = true);
json array_of(const std::vector<item>& items);
json object_of(const station_settings& settings);
json object_of(const station_row& row);
json array_of(const std::vector<history_row>& history);
json array_of(const named_list& list);

}  // namespace app

#endif
