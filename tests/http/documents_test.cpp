/* docs/http.md is what others program against: its examples are asked in their order, and the answers have what they show. */
#include <fstream>

#include "serving.h"

namespace {

struct example {
  std::string method, address;
  json body = json::object(), answer;
  int status = 0;
};

std::vector<example> examples() {
  std::vector<example> all;
  std::ifstream document(DOCUMENT);
  for (std::string line; std::getline(document, line);) {
    if (line != "```http") continue;
    example& one = all.emplace_back();
    std::string text;
    document >> one.method >> one.address;
    std::getline(document, line);
    while (std::getline(document, line) && line != "```") {
      if (line.size() == 3) {
        one.status = std::stoi(line);
        if (!text.empty()) one.body = json::parse(text);
        text.clear();
      } else {
        text += line;
      }
    }
    if (!text.empty()) one.answer = json::parse(text);
  }
  return all;
}

/** Where `shown` has something that isn't so in `real`; of lists the first one counts. */
std::string missing(const json& shown, const json& real, const std::string& at = "") {
  if (shown.type() != real.type() && !(shown.is_number() && real.is_number())) return at + ": " + real.dump();
  if (shown.is_array() && !shown.empty())
    return real.empty() ? at + " is empty" : missing(shown[0], real[0], at + "[0]");
  if (!shown.is_object()) return "";
  for (const auto& [name, value] : shown.items()) {
    if (!real.contains(name)) return at + "." + name;
    if (const std::string inside = missing(value, real[name], at + "." + name); !inside.empty()) return inside;
  }
  return "";
}

/** Learns what the names in capitals stand for. */
void learn(const json& shown, const json& real, std::map<std::string, std::string>& names) {
  if (shown.is_array() && !shown.empty()) return learn(shown[0], real[0], names);
  if (!shown.is_object()) return;
  for (const auto& [name, value] : shown.items()) {
    if (name == "id") names[value] = real[name];
    learn(value, real[name], names);
  }
}

class Documents : public Serving {};

TEST_F(Documents, TheInterfaceIsAsItSays) {
  ASSERT_EQ(run({"scan", DEMO_TSV}).status, 0);
  ASSERT_TRUE(serve()) << read("stderr");
  const std::vector<example> all = examples();
  EXPECT_GT(all.size(), 10u);
  std::map<std::string, std::string> names;
  for (const example& one : all) {
    SCOPED_TRACE(one.method + " " + one.address);
    std::string address = one.address, body = one.body.dump();
    for (const auto& [name, id] : names)
      for (std::string* text : {&address, &body})
        if (const size_t found = text->find(name); found != std::string::npos) text->replace(found, name.size(), id);
    const reply real = ask(one.method, address, json::parse(body));
    ASSERT_EQ(real.status, one.status) << real.body;
    if (one.answer.is_null()) continue;
    ASSERT_EQ(missing(one.answer, real.body), "");
    learn(one.answer, real.body, names);
  }
}

}  // namespace
