// Texts from strangers: code points of UTF-8, what they are to whoever shows them, and names cleaned and folded.
#include <gtest/gtest.h>

#include "model/text.h"
#include "velox_text.h"

namespace {

using velox::catalog::clean, velox::catalog::folded, velox::catalog::words;

TEST(Text, EveryCodePointIsWrittenAndReadAndNothingElse) {
  for (uint32_t code = 0; code <= 0x110000; ++code) {
    char bytes[4];
    size_t read = 0;
    const size_t written = velox_text_encode(code, bytes);
    const bool there = code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    ASSERT_EQ(velox_text_decode(bytes, written, &read), there ? code : VELOX_TEXT_INVALID);
    ASSERT_EQ(read, there ? written : 1u);
    ASSERT_EQ(written == 1 || velox_text_decode(bytes, written - 1, &read) == VELOX_TEXT_INVALID, true) << code;
  }
  for (const std::string_view overlong :
       {"\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xf5\x80\x80\x80"}) {
    size_t read = 0;
    EXPECT_EQ(velox_text_decode(overlong.data(), overlong.size(), &read), VELOX_TEXT_INVALID);
  }
}

TEST(Text, NamesComeOutClean) {
  const struct {
    const char *from, *to;
  } rows[] = {
      {"  a \t\n b\r", "a b"},
      {"caf\xe9", "caf\u00e9"},                                         // Latin-1
      {"\x1b[31mred\x1b[0m and \x1b]0;title\x07gone", "red and gone"},  // terminal escapes
      {"a\u202eb\u2066c\u200bd\ufeff", "a b c d"},                      // overrides and the unseen
      {"\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645", "\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645"},
      {"\U0001f469\u200d\U0001f680", "\U0001f469\u200d\U0001f680"},
      {"\u200da\u200d\u200cb\u200c", "a\u200db"},     // none at an edge, one of a run
      {"a\u200c b \u200dc\u202e\u200cd", "a b c d"},  // none beside a blank
  };
  for (const auto& row : rows) EXPECT_EQ(clean(row.from), row.to) << row.to;
  EXPECT_EQ(clean("abcdef\u200dghi", 10), "abcdef") << "no joiner without what it joins";
  EXPECT_EQ(clean("\u00e9\u00e9\u00e9", 8), "\u00e9\u00e9") << "cut between characters";
}

TEST(Text, SpellingsOfOneNameFoldAlike) {
  for (const char* other : {"beyonce knowles", "BEYONC\u00c9  KNOWLES", "Beyonce\u0301 Know'les",
                            "beyonc\u00e9-knowles!", "beyonc\u00e9\u200dknowles"})
    EXPECT_EQ(folded(other), "beyonce knowles") << other;
  EXPECT_EQ(words("\u00c6on Stra\u00dfe"), (std::vector<std::string>{"aeon", "strasse"}));
  EXPECT_EQ(folded("!!!"), "!!!");
  EXPECT_TRUE(words("!!!").empty());
}

}  // namespace
