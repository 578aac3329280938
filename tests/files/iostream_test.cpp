// Streams: every read against a model while the source falls short, fails and ends; memory; callbacks; refusals.
#include <gtest/gtest.h>
#include <velox/pask_iostream.h>
#include <velox/pask_modules.h>
#include <velox/velox_standin.h>

#include <random>
#include <string>

#include "guarded.h"
#include "stream_model.h"

namespace {

constexpr pask_status INVALID = 0x90220001, NO_MEMORY = 0x90220002, FOREIGN = 0x90220321, END = 0x10220049;
constexpr pask_status SOURCE_FAILED = 0x90440007, SOURCE_TOLD = 0x10440007;

void results(pask_status word, std::initializer_list<pask_status> all) {
  for (const pask_status& status : all) EXPECT_EQ(status, word) << "call " << &status - all.begin();
}

// A stream in a module that is up as long as the stream.
struct stream {
  stream(uint32_t buffer, const pask_iostream_callbacks& callbacks, void* user_data) {
    results(0, {pask_iostream_initialize(), pask_iostream_create(&handle, buffer, &callbacks, user_data)});
  }
  stream(void* data, uint32_t size, pask_iostream_release_fn release = nullptr, void* user_data = nullptr) {
    results(0, {pask_iostream_initialize(), pask_iostream_create_from_buffer(&handle, data, size, release, user_data)});
  }
  ~stream() {
    results(0, {pask_iostream_release(handle), pask_iostream_shutdown()});
    EXPECT_EQ(velox_standin_memory_live_blocks(), live);
  }
  operator pask_iostream_handle() const { return handle; }
  // What a read gave, or its word in digits. The destination ends in front of an inaccessible page.
  std::string read(uint32_t size) const {
    const guarded_text to("", size);
    uint32_t got = 77;
    const pask_status status = pask_iostream_read(handle, to, size, &got);
    EXPECT_TRUE(status == 0 || got == 77);
    return status == 0 ? std::string(to, got) : std::to_string(status);
  }
  pask_status put(const std::string& s) const { return pask_iostream_putback(handle, s.data(), uint32_t(s.size())); }

  pask_iostream_handle handle = nullptr;
  int64_t live = velox_standin_memory_live_blocks();
};

TEST(Iostream, ReadsAsItsModelDoes) {
  std::mt19937 random(7);
  std::string script(200000, '\0');
  for (char& c : script) c = char(random());
  pask_iostream_initialize();
  EXPECT_TRUE(stream_model::holds(script));
  pask_iostream_shutdown();
}

TEST(Iostream, MemoryIsReadPutBackAndReset) {
  char data[] = "0123456789";
  uint32_t releases = 0;
  const auto release = [](void* count) -> pask_status { return ++*static_cast<uint32_t*>(count); };
  for (const auto& by_caller : {pask_iostream_release_fn(nullptr), pask_iostream_release_fn(release)}) {
    const stream s(data, 10, by_caller, &releases);
    const int64_t blocks = velox_standin_memory_live_blocks();
    EXPECT_EQ(s.read(4), "0123");
    EXPECT_EQ(pask_iostream_putback(s, data, 3), 0u);
    EXPECT_EQ(s.read(10), "012456789");
    EXPECT_EQ(s.read(0), std::to_string(END));
    EXPECT_EQ(s.put("abcd"), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);  // the buffer had room
    EXPECT_EQ(s.read(1), "a");
    results(0, {s.put("ABCDEFGHIJ"), s.put("xyz"), s.put("")});  // a front of 3, and a block on top of it
    EXPECT_EQ(s.read(99), "xyzABCDEFGHIJbcd");
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);
    results(0, {s.put("dropped 9876543210"), pask_iostream_reset(s)});
    EXPECT_EQ(s.read(99), "9876543210");
    results(0, {pask_iostream_addref(s), pask_iostream_release(s), releases});
    EXPECT_STREQ(data, by_caller ? "9876543210" : "0123456789");
  }
  EXPECT_EQ(releases, 1u);
}

TEST(Iostream, ReadsEntirelyWithThePromisedGrowth) {
  const uint32_t rows[][3] = {{1, 1, 0}, {1023, 1, 1}, {2047, 1, 0}, {2048, 2, 1}, {100000, 6, 1}};
  for (const auto& [size, growths, shrinks] : rows) {
    std::string data(size, 'x');
    const stream s(data.data(), size);
    for (uint32_t granted = 0; granted <= growths + shrinks; ++granted) {
      char* text = nullptr;
      uint32_t count = 0;
      velox_standin_memory_refuse(granted, 0);
      EXPECT_EQ(pask_iostream_read_entire(s, &text, &count), granted < growths ? NO_MEMORY : 0u) << size;
      EXPECT_EQ(velox_standin_memory_refuse_end(), granted < growths + shrinks) << size;
      EXPECT_TRUE(granted < growths || (count == size && data + '\0' == std::string(text, size + 1))) << size;
      pask_memory_free(text);
      pask_iostream_reset(s);
    }
  }
}

pask_status told(void* word) { return *static_cast<pask_status*>(word); }
pask_status no_bytes(void* word, void*, uint32_t, uint32_t* got) { return *got = 0, told(word); }
pask_status take_half(void* word, const void*, uint32_t size, uint32_t* taken) { return *taken = size / 2, told(word); }
pask_status take_more(void* word, const void*, uint32_t size, uint32_t* taken) { return *taken = size + 1, told(word); }

TEST(Iostream, DoesWhatItsCallbacksCanAndRefusesTheRest) {
  pask_status told_word = 0;
  char byte = 'x', *text = &byte;
  uint8_t answer = 2;
  uint32_t n = 77, taken = 0, no_stream[40] = {1};
  const pask_iostream_callbacks neither = {{}, {}, told, {}, told}, sink = {{}, take_half, told, told, told};
  results(0x90220007, {pask_iostream_create(nullptr, 0, nullptr, nullptr),
                       pask_iostream_create_from_buffer(nullptr, nullptr, 0, nullptr, nullptr)});
  const stream reader(128, {no_bytes, {}, {}, {}, {}}, &told_word), writer(0, sink, &told_word), memory(&byte, 1);
  const std::pair<const stream&, std::string> rows[] = {{reader, "100"}, {writer, "011"}, {memory, "101"}};
  for (const auto& [s, abilities] : rows) {
    std::string answers;
    for (const auto can : {pask_iostream_can_read, pask_iostream_can_write, pask_iostream_can_reset})
      answers += can(s, &answer) == 0 ? char('0' + answer) : '?';
    EXPECT_EQ(answers, abilities);
  }
  for (const pask_status word : {SOURCE_FAILED, SOURCE_TOLD, 0u}) {
    told_word = word;
    results(word, {pask_iostream_write(writer, "12345", 5, &taken), pask_iostream_flush(writer),
                   pask_iostream_reset(writer), pask_iostream_read_entire(reader, &text, &n)});
    EXPECT_EQ(taken, word ? 0u : 2u);
  }
  EXPECT_TRUE(!text && n == 0);
  const stream greedy(0, {{}, take_more, {}, told, {}}, &told_word);
  results(0, {pask_iostream_write(greedy, "12345", 5, &n), n - 5});
  results(0, {pask_iostream_throughput(greedy, nullptr, &n), n - 5});
  results(0, {pask_iostream_throughput(writer, nullptr, &taken), pask_iostream_flush(reader), taken - 2});

  pask_iostream_handle out = nullptr;
  for (auto* s : {pask_iostream_handle(nullptr), reinterpret_cast<pask_iostream_handle>(no_stream)})
    results(s ? FOREIGN : INVALID,
            {pask_iostream_addref(s), pask_iostream_can_read(s, &answer), pask_iostream_can_write(s, &answer),
             pask_iostream_can_reset(s, nullptr), pask_iostream_read(s, &byte, 1, &n),
             pask_iostream_putback(s, nullptr, 1), pask_iostream_write(s, &byte, 1, &n), pask_iostream_flush(s),
             pask_iostream_reset(s), pask_iostream_read_entire(s, nullptr, &n), pask_iostream_throughput(s, &n, &n),
             pask_iostream_release(s) | (s ? 0 : INVALID)});
  results(INVALID, {pask_iostream_create(nullptr, 0, &sink, nullptr), pask_iostream_create(&out, 0, nullptr, nullptr),
                    pask_iostream_create(&out, 0, &neither, nullptr), pask_iostream_can_read(memory, nullptr),
                    pask_iostream_create_from_buffer(&out, nullptr, 1, told, nullptr),
                    pask_iostream_create_from_buffer(&out, &byte, 0, told, nullptr),
                    pask_iostream_read(memory, nullptr, 1, &n), pask_iostream_putback(memory, nullptr, 0),
                    pask_iostream_read_entire(memory, &text, nullptr), pask_iostream_read_entire(memory, nullptr, &n)});
  results(NO_MEMORY, {pask_iostream_create(&out, 0xffffffff, &sink, nullptr), pask_iostream_putback(memory, &byte, ~0u),
                      pask_iostream_create_from_buffer(&out, &byte, 0xffffffe0, nullptr, nullptr)});
  results(0x90220005, {pask_iostream_write(memory, "", 0, &n)});
  results(0x9022000b, {pask_iostream_reset(reader), pask_iostream_throughput(reader, nullptr, nullptr)});
  results(0x90220052, {pask_iostream_read(writer, &byte, 0, &n), pask_iostream_read_entire(writer, &text, &n)});
}

}  // namespace
