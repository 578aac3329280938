// MD5 against the digests of RFC 1321 and of another implementation, in any split; the form of a hash; streams.
#include <gtest/gtest.h>
#include <velox/pask_md5.h>
#include <velox/pask_modules.h>
#include <velox/velox_standin.h>

#include <random>
#include <string>

#include "guarded.h"
#include "report_log.h"

namespace {

std::string result(pask_md5_ctx& ctx) {
  EXPECT_EQ(pask_md5_end(&ctx), 0u);
  char hex[33];
  for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", ctx.digest[i]);
  EXPECT_STREQ(hex, ctx.hex);
  return hex;
}

// The digest of a message that ends in front of an inaccessible page, taken in random pieces.
std::string md5_of(const std::string& message) {
  static std::mt19937 random(13);
  const guarded_text data(message, message.size());
  pask_md5_ctx ctx;
  EXPECT_EQ(pask_md5_start(&ctx), 0u);
  for (size_t at = 0, n = 0; at < message.size(); at += n) {
    n = std::min<size_t>(random() % (70u << random() % 16), message.size() - at);
    EXPECT_EQ(pask_md5_compute(&ctx, data + at, uint32_t(n)), 0u);
    EXPECT_EQ(pask_md5_compute(&ctx, nullptr, 0), 0u);
  }
  return result(ctx);
}

TEST(Md5, GivesTheKnownDigestsInAnySplit) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyz", digits = "1234567890";
  const std::pair<std::string, const char*> rows[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {letters, "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZ" + letters + "0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {digits + digits + digits + digits + digits + digits + digits + digits, "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"}};
  for (const auto& [message, hex] : rows) EXPECT_EQ(md5_of(message), hex);

  std::string all;
  for (uint32_t size = 0; size < 700; ++size) {
    std::string message(size, '\0');
    for (uint32_t i = 0; i < size; ++i) message[i] = char((i * i * 31 + size) >> 3);
    all += md5_of(message);
  }
  EXPECT_EQ(md5_of(all), "3ae3da2d1e72166792b647a7a80c854f");     // as another implementation has it of its own digests
  pask_md5_ctx ctx = {{0xfffffff8, 0xffffffff}, {}, {}, {}, {}};  // the length runs over both of its words
  _pask_md5_update(&ctx, "xyz", 3);
  EXPECT_TRUE(ctx.count[0] == 16 && ctx.count[1] == 0);
  const uint32_t words[16] = {1, 2, 3};
  uint32_t state[4] = {};
  _pask_md5_transform(state, words);
  ctx = {};
  _pask_md5_update(&ctx, words, sizeof words);
  EXPECT_EQ(memcmp(state, ctx.state, sizeof state), 0);
}

TEST(Md5, KnowsTheFormOfAHash) {
  const std::string digits = "0123456789abcdefABCDEF0123456789", blanks = "\x01 \n\t\x1f";
  for (const std::string& text : {digits, blanks + digits + blanks, std::string("f")})
    EXPECT_EQ(pask_md5_isvalidhash(guarded_text(text)), 1) << text;
  for (const std::string& text :
       {blanks, digits + "0", digits + "g", digits + " 0", std::string("\xa0 1"), std::string()})
    EXPECT_EQ(pask_md5_isvalidhash(guarded_text(text)), 0) << text;
  EXPECT_EQ(pask_md5_isvalidhash(nullptr), 0);
}

// A source and sink whose word a test chooses; it takes half of what it is given.
pask_status s_word;
pask_status give(void*, void* buffer, uint32_t size, uint32_t* got) { return memset(buffer, 'r', *got = size), s_word; }
pask_status take_half(void*, const void*, uint32_t size, uint32_t* taken) { return *taken = size / 2, s_word; }
pask_status fail(void*) { return 0x90440007; }

TEST(Md5, HashesWhatPassesThroughAStream) {
  const int64_t live = velox_standin_memory_live_blocks();
  pask_iostream_initialize();
  report_log log({0x06, 0x22, 0x44});
  // Calls that all give this word, and the reports of all of them.
  const auto expect = [&](size_t reports, pask_status word, std::initializer_list<pask_status> all) {
    velox_standin_memory_refuse_end();
    char line[40];
    std::snprintf(line, sizeof line, "pask_md5 %08x", word);
    for (const pask_status& status : all) EXPECT_EQ(status, word) << "call " << &status - all.begin();
    EXPECT_EQ(log.taken(), std::vector<std::string>(reports, line));
  };
  pask_md5_ctx ctx, unused;
  pask_iostream_handle inner = nullptr, stream = nullptr;
  const pask_iostream_callbacks table = {give, take_half, fail, fail, nullptr};
  char bytes[2000];
  uint32_t n = 0;
  expect(0, 0,
         {pask_iostream_create(&inner, 1500, &table, nullptr), pask_md5_hash_stream(inner, &stream, &ctx),
          pask_iostream_release(inner), pask_iostream_write(stream, "taken, not", 10, &n),
          pask_iostream_read(stream, bytes, 100, &n)});
  s_word = 0x90440010;
  expect(2, s_word, {pask_iostream_write(stream, "not taken", 9, &n), pask_iostream_read(stream, bytes, 2000, &n)});
  EXPECT_EQ(result(ctx), md5_of("taken" + std::string(1024, 'r')));
  s_word = 0;
  expect(0, 0,
         {pask_iostream_flush(stream), pask_iostream_reset(stream), pask_iostream_write(stream, "anew", 4, nullptr),
          pask_iostream_release(stream), pask_md5_hash_stream(nullptr, &stream, &unused)});
  EXPECT_EQ(result(ctx), md5_of("an"));
  expect(1, 0x90220001, {pask_iostream_write(stream, "", 0, &n)});
  expect(0, 0,
         {pask_iostream_release(stream), pask_iostream_create_from_buffer(&inner, bytes, 100, nullptr, nullptr),
          pask_md5_hash_stream(inner, &stream, &ctx), pask_iostream_read(stream, bytes, 2000, &n)});
  expect(0, 0x10220049, {pask_iostream_read(stream, bytes, 1, &n)});
  EXPECT_EQ(result(ctx), md5_of(std::string(100, 'r')));

  expect(5, 0x90060001,
         {pask_md5_start(nullptr), pask_md5_compute(nullptr, nullptr, 0), pask_md5_compute(&ctx, nullptr, 1),
          pask_md5_end(nullptr), pask_md5_hash_stream(inner, nullptr, &ctx)});
  expect(2, 0x90060001, {pask_md5_hash_stream(inner, &stream, nullptr)});
  velox_standin_memory_refuse(0, 0);
  expect(1, 0x90060002, {pask_md5_hash_stream(inner, &stream, &ctx)});
  velox_standin_memory_refuse(1, 0);
  expect(1, 0x90220002, {pask_md5_hash_stream(inner, &stream, &ctx)});
  expect(0, 0, {pask_iostream_release(stream), pask_iostream_release(inner), pask_iostream_shutdown()});
  expect(1, 0x90220007, {pask_md5_hash_stream(inner, &stream, &ctx)});
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

}  // namespace
