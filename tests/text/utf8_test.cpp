// The codec: what decodes and what doesn't, at the end of a page; comparison and copying against a plain model.
#include <gtest/gtest.h>
#include <velox/pask_string.h>
#include <velox/pask_utf8.h>
#include <velox/velox_standin.h>

#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "guarded.h"
#include "random.h"

namespace {

constexpr uint32_t INVALID = 0x900503a0, NO_ROOM = 0x90050008, ALL = PASK_UTF8_NO_LIMIT;

// What calls gave one after the other.
using list = std::vector<int64_t>;

TEST(Utf8, DecodesBothWays) {
  // Size 0: invalid. Overlong characters and surrogates are taken; the terminator cuts.
  const std::tuple<const char*, uint32_t, uint32_t> rows[] = {
      {"A", 'A', 1},          {"\x7f", 0x7f, 1},           {"\xc2\x80", 0x80, 2},
      {"\xdf\xbf", 0x7ff, 2}, {"\xe2\x82\xac", 0x20ac, 3}, {"\xef\xbf\xbf", 0xffff, 3},
      {"\xc0\x80", 0, 2},     {"\xed\xa0\x80", 0xd800, 3}, {"\xf0\x9f\x98\x80", 0, 0},
      {"\x80", 0, 0},         {"\xbf\xbf", 0, 0},          {"\xff", 0, 0},
      {"\xc3", 0, 0},         {"\xe2\x82", 0, 0},          {"\xe2", 0, 0},
      {"\xc3(", 0, 0},        {"\xe2\x82(", 0, 0}};
  for (const auto& [bytes, wanted, size] : rows) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    const guarded_text text(bytes);
    const char* p = text;
    uint32_t c = 0xabcd, lead = 0, written = 99;
    EXPECT_EQ((list{_utf8_get_next_char(&p, &c), p - text, c, pask_string_isvalid(text), pask_string_charlen(text),
                    pask_string_isempty(text)}),
              (list{size ? 0 : INVALID, size, size ? wanted : 0xabcd, size != 0, 1, wanted == 0}));
    if (size == 0) continue;
    c = 0xabcd;
    EXPECT_EQ((list{_utf8_get_prev_char(&p, &c), p - text, c, _utf8_get_next_char_size(p, &lead), lead,
                    pask_string_nextcharsize(p)}),
              (list{0, 0, wanted, size > 1 ? 0 : INVALID, size > 1 ? size : 0, size}));
    if (wanted == 0) continue;
    char out[4] = {};
    EXPECT_EQ((list{_utf8_set_next_char(out, size, wanted, &written), written,
                    _utf8_set_next_char(out, size + 1, wanted, &written), written}),
              (list{NO_ROOM, 99, 0, size}));
    EXPECT_STREQ(out, bytes);
  }
}

TEST(Utf8, StepsBackOnlyOntoWholeCharacters) {
  for (const char* bad : {"a\x80", "ab\x80\x80", "\xc3\x80\x80\x80", "\x80\x80\x80", "a\xff"}) {
    const char* const end = bad + strlen(bad);
    const char* p = end;
    uint32_t c = 7;
    EXPECT_EQ(end - bad >= 3 ? _utf8_get_prev_char(&p, &c) : INVALID, INVALID) << testing::PrintToString(bad);
    EXPECT_EQ((list{pask_string_charprev(bad, &p, nullptr), p - end, c}), (list{0, 0, 7}));
  }
}

// --- A model that takes one character at a time, the slow way.

size_t size_of(uint32_t lead) { return lead < 0x80 ? 1 : lead >> 5 == 6 ? 2 : lead >> 4 == 14 ? 3 : 0; }

std::optional<uint32_t> take(const std::string& s, size_t* at) {
  const auto byte = [&](size_t i) { return i < s.size() ? static_cast<uint8_t>(s[i]) : 0u; };
  const uint32_t lead = byte(*at);
  const size_t size = size_of(lead);
  if (size == 0) return {};
  uint32_t c = size == 1 ? lead : lead & (0xffu >> (size + 1));
  for (size_t i = 1; i < size; ++i) {
    if (byte(*at + i) >> 6 != 2) return {};
    c = c << 6 | (byte(*at + i) & 0x3f);
  }
  *at += size;
  return c;
}

uint32_t folded(uint32_t c, bool exact) { return !exact && c >= 'A' && c <= 'Z' ? c + 32 : c; }

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(folded(static_cast<uint8_t>(c), false));
  return s;
}

struct compared {
  uint32_t status = 0, count = 0;
  int32_t diff = 0;
  size_t a_end = 0, b_end = 0;
  bool operator==(const compared&) const = default;
};

compared model_compare(const std::string& a, const std::string& b, uint32_t budget, bool exact) {
  compared r;
  while (r.a_end < a.size() && r.b_end < b.size() && budget != 0 && r.diff == 0 && r.status == 0) {
    const auto ca = take(a, &r.a_end);
    const auto cb = ca ? take(b, &r.b_end) : ca;
    if (cb)
      r.diff = static_cast<int32_t>(folded(*ca, exact)) - static_cast<int32_t>(folded(*cb, exact));
    else
      r.status = INVALID;
    r.count += r.diff == 0;
    --budget;
  }
  if (budget != 0 && r.diff == 0) r.diff = r.a_end < a.size() ? 1 : r.b_end < b.size() ? -1 : 0;
  return r;
}

// The position of the first occurrence, -1 for none.
ptrdiff_t model_find(const std::string& s, const std::string& needle, bool exact) {
  uint32_t chars = 0;
  size_t end = 0;
  const auto first = take(needle, &end);
  if (!first || *first == 0) return 0;
  for (size_t at = 0; at < needle.size(); ++chars)
    if (!take(needle, &at)) at = needle.size();
  for (size_t at = 0; at < s.size();) {
    const size_t candidate = at;
    const auto c = take(s, &at);
    if (!c) break;
    if (folded(*c, exact) != folded(*first, exact)) continue;
    const compared r = model_compare(s.substr(candidate), needle, chars, exact);
    if (r.status != 0) break;
    if (r.diff == 0) return static_cast<ptrdiff_t>(candidate);
  }
  return -1;
}

std::string model_copy(const std::string& s, size_t size, uint32_t chars, uint32_t* status) {
  std::string out;
  *status = 0;
  for (size_t at = 0; at < s.size() && chars > 0 && out.size() + 1 < size; --chars) {
    const size_t bytes = size_of(static_cast<uint8_t>(s[at]));
    if (bytes != 0 && out.size() + bytes >= size) break;
    if (bytes == 0 || at + bytes > s.size()) {
      *status = INVALID;
      break;
    }
    out += s.substr(at, bytes);
    at += bytes;
  }
  return out;
}

TEST(Utf8, AgreesWithTheModel) {
  TEST_RANDOM(random, std::mt19937);
  // The last five are invalid, or overlong.
  const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const std::string pieces[] = {"a",
                                "A",
                                "b",
                                "Z",
                                "z",
                                "[",
                                "@",
                                "\303\251",
                                "\342\202\254",
                                "abcdefghijklmnop",
                                upper + upper,
                                "\303",
                                "\377",
                                "\301\241",
                                "\342\202",
                                "\360\237\230"};
  // At the end of a page or in front of other bytes, so that starts and ends fall everywhere.
  const auto placed = [&](const std::string& s) {
    return guarded_text(random() % 2 ? s : s + '\0' + std::string(random() % 20, random() % 2 ? 'a' : '\200'));
  };
  const auto text = [&](size_t kinds) {
    std::string s;
    for (size_t n = random() % 12; n > 0; --n) s += pieces[random() % kinds];
    return s;
  };
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    const size_t kinds = round % 4 == 0 ? 16 : 11;
    const std::string common = text(kinds);
    const std::string a = common + text(kinds);
    std::string b = random() % 4 ? common + text(kinds) : a;
    if (random() % 2)
      for (char& c : b)
        if (isalpha(static_cast<uint8_t>(c)) && random() % 2) c ^= 0x20;
    SCOPED_TRACE(testing::PrintToString(a) + testing::PrintToString(b));
    const bool exact = random() % 2;
    const uint32_t limit = random() % 3 ? ALL : static_cast<uint32_t>(random() % 80);
    const guarded_text ga = placed(a), gb = placed(b);
    compared got;
    const char *a_end = nullptr, *b_end = nullptr;
    got.status = _pask_string_utf8_compare(ga, gb, limit, exact, &got.diff, &got.count, &a_end, &b_end);
    got.a_end = static_cast<size_t>(a_end - ga);
    got.b_end = static_cast<size_t>(b_end - gb);
    const compared model = model_compare(a, b, limit, exact);
    EXPECT_EQ(got, model);

    if (limit == ALL && !exact) {
      EXPECT_EQ(pask_string_stricmp(ga, gb), (model.diff > 0) - (model.diff < 0));
    }
    const std::string low_a = lower(a), low_b = lower(b);
    EXPECT_EQ(pask_string_equal(ga, gb, 1), low_a == low_b);
    EXPECT_EQ(pask_string_startswith(ga, gb, 1), !b.empty() && low_a.starts_with(low_b));

    const uint32_t size = 1 + static_cast<uint32_t>(random() % 90);
    const guarded_text out("", size);
    uint32_t status = 0;
    const std::string copy = model_copy(a, size, limit, &status);
    EXPECT_EQ(_pask_string_utf8_copy(out, size, ga, limit), status);
    EXPECT_EQ(copy, out.get());

    size_t bytes = 0;
    uint32_t chars = 0;
    bool valid = true;
    for (; valid && bytes < a.size() && chars < limit; chars += valid) valid = take(a, &bytes).has_value();
    EXPECT_EQ(pask_string_byteclen(ga, limit), bytes);
    if (limit == ALL) {
      EXPECT_EQ((list{pask_string_charlen(ga), pask_string_isvalid(ga)}), (list{chars + !valid, valid}));
    }

    const std::string needle =
        random() % 2 ? pieces[random() % kinds] + pieces[random() % 3] : b.substr(0, 1 + random() % 40);
    const char* const found = _pask_string_substring(ga, placed(needle), nullptr, nullptr, exact);
    EXPECT_EQ(found ? found - ga : -1, model_find(a, needle, exact)) << testing::PrintToString(needle);
    size_t at = 0;
    if (const auto c = take(needle, &at); c && *c != 0) {
      const char* const first = pask_string_strchr(ga, *c);
      EXPECT_EQ(first ? first - ga : -1, model_find(a, needle.substr(0, at), true));
    }
    pask_string_tolower(ga);
    EXPECT_EQ(low_a, ga.get());
  }
}

TEST(Utf8, LimitsAreNotReadPast) {
  const std::string letters(150, 'a');
  const std::string whole = letters + "\303\251\342\202\254" + letters + "\342\202\254z";
  char out[400];
  uint32_t chars = 0;
  size_t next = 0;  // where the last character that begins within the limit ends
  for (uint32_t limit = 0; limit <= whole.size(); ++limit) {
    SCOPED_TRACE(limit);
    const guarded_text text(whole.substr(0, limit), limit);  // no terminator
    const bool cut = next > limit;
    const uint32_t fit = chars - cut;
    EXPECT_EQ(pask_string_charnlen(text, limit), fit);
    EXPECT_EQ(pask_string_bytenlen(text, limit), limit);
    EXPECT_EQ(pask_string_bytenlen_nonull(text, limit), limit);
    EXPECT_EQ(pask_string_strcnspn(text, "z", limit), limit < whole.size() ? limit : limit - 1);
    EXPECT_EQ(pask_string_strnchr(text, 'Z', limit), nullptr);
    EXPECT_EQ(pask_string_strnchr(text, 0x20ac, limit), limit < 155 ? nullptr : text + 152);
    EXPECT_EQ(pask_string_match_prefix(text, limit, whole.c_str()), static_cast<int32_t>(limit));
    if (cut) continue;
    EXPECT_EQ(pask_string_byteclen(text, chars), limit);
    EXPECT_EQ(pask_string_strncmp(text, whole.c_str(), chars), 0);
    EXPECT_EQ(pask_string_strnicmp(whole.c_str(), text, chars), 0);
    EXPECT_EQ(pask_string_strncpy(out, sizeof out, text, chars), whole.substr(0, limit));
    EXPECT_EQ(pask_string_strcpy(out, limit + 1, text), whole.substr(0, limit));
    ++chars;
    next += limit < whole.size() ? size_of(static_cast<uint8_t>(whole[limit])) : 0;
  }
}

TEST(Ucs2, TakesUnitsByThemselves) {
  const uint16_t pair[] = {0xd83d, 0xde00, 0};
  uint32_t size = 0;
  char text[8] = {};
  EXPECT_EQ((list{pask_string_ucs2_to_utf8_buf(pair, 4, text, &(size = 7), 0), strcmp(text, "\xed\xa0\xbd\xed\xb8\x80"),
                  pask_string_ucs2_to_utf8_buf(pair, 3, text, &(size = 8), 0), size, pask_string_bytelen_uni(pair),
                  pask_string_charlen_uni(pair), pask_string_bytelen_uni(pair + 2), pask_string_bytelen_uni(nullptr)}),
            (list{0, 0, 0x900503a1, 0, 6, 2, 2, 0}));
}

// Runs of every kind, both ways and in either order, cut by the end of the input and of the room.
TEST(Ucs2, AgreesWithTheModel) {
  TEST_RANDOM(random, std::mt19937);
  const std::string pieces[] = {"a",        "\177",     std::string(1, '\0'), "abcdefghijklmnopqrstuvwxyz",
                                "\302\200", "\337\277", "\340\240\200",       "\357\277\277"};
  for (int round = 0; round < 5000 && !HasFailure(); ++round) {
    std::string text;
    for (size_t n = random() % 12, kinds = 1 + random() % 8; n > 0; --n) text += pieces[random() % kinds];
    if (random() % 4 == 0) text += random() % 2 ? "\303(" : "\342\202";
    SCOPED_TRACE(testing::PrintToString(text));
    const uint32_t swap = random() % 2;
    std::vector<uint16_t> wanted;
    std::string back;
    const size_t room = random() % (text.size() + 20);
    bool fits = true;
    size_t at = 0;
    while (at < text.size()) {
      const size_t begin = at;
      const auto c = take(text, &at);
      if (!c) break;
      const auto unit = static_cast<uint16_t>(*c);
      wanted.push_back(swap ? __builtin_bswap16(unit) : unit);
      fits = fits && back.size() + at - begin < room;
      if (fits) back += text.substr(begin, at - begin);
    }
    const size_t bytes = 2 * wanted.size();
    const guarded_text in(text, text.size()), units("", bytes), out(std::string(room, '#'), room);
    auto* const to = reinterpret_cast<uint16_t*>(units.get());
    uint32_t size = 99;
    EXPECT_EQ(pask_string_utf8_to_ucs2_buf(in, static_cast<uint32_t>(text.size()), to, &size, swap),
              at == text.size() ? 0 : INVALID);
    EXPECT_EQ(std::vector<uint16_t>(to, to + size / 2), wanted);

    size = static_cast<uint32_t>(room);
    EXPECT_EQ(pask_string_ucs2_to_utf8_buf(to, static_cast<uint32_t>(bytes), out, &size, swap), fits ? 0 : NO_ROOM);
    EXPECT_EQ(size, back.size());
    EXPECT_EQ(std::string(out, room), back + std::string(room - back.size(), '#'));  // nothing behind it is touched
  }
}

TEST(Ucs2, AllocatesOrLeavesTheResult) {
  const int64_t live = velox_standin_memory_live_blocks();
  uint16_t* units = nullptr;
  char* text = nullptr;
  ASSERT_EQ(pask_string_utf8_to_ucs2("a\xc3\xa9", &units, 1), 0u);
  EXPECT_EQ((std::vector<uint16_t>(units, units + 3)), (std::vector<uint16_t>{0x6100, 0xe900, 0}));
  ASSERT_EQ(pask_string_ucs2_to_utf8(units, &text, 1), 0u);
  EXPECT_STREQ(text, "a\xc3\xa9");
  uint16_t* kept = units;
  EXPECT_EQ(pask_string_utf8_to_ucs2("a\xff", &kept, 0), INVALID);
  EXPECT_EQ(kept, units);
  pask_string_free(text);
  pask_memory_free(units);
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

}  // namespace
