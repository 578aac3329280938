// Everything that can be refused is refused, once each: every allocation, and every call to the manager's tables. Each row
// is a life from creation to release whose operations are tried until they get through; a row names what may fail without
// harm. Nothing may leak, no out-parameter may be touched, and the object must work afterwards.
#include <velox/pask.h>

#include <cstring>

#include "service_fixture.h"

namespace {

// One life. `again` repeats an operation until it succeeds and notes how it failed in between.
class trial {
 public:
  explicit trial(pask_status code) : code_(code) {}

  // What else the next steps may say of a refusal.
  pask_status also = 0;

  // Runs an operation that may be made to fail: then the low half of its word must be the expected one, and a second try
  // must get through.
  template <class Operation>
  void step(const char* what, Operation operation) {
    const pask_status first = operation();
    if (first == 0) return;
    EXPECT_TRUE(velox_failed(first)) << what;
    EXPECT_TRUE(velox_status_code(first) == code_ || (also && velox_status_code(first) == also))
        << what << " gives " << std::hex << first;
    ++failures;
    EXPECT_EQ(operation(), 0u) << what << " works afterwards";
  }

  // The same for an operation with an out-parameter, which a failure leaves alone.
  template <class Out, class Operation>
  Out make(const char* what, Operation operation) {
    unsigned char pattern[sizeof(Out)];
    std::memset(pattern, 0x5a, sizeof pattern);
    Out out;
    step(what, [&] {
      std::memcpy(&out, pattern, sizeof out);
      const pask_status status = operation(&out);
      const bool untouched = std::memcmp(&out, pattern, sizeof out) == 0;
      EXPECT_TRUE(status == 0 || untouched) << what << " touches its out-parameter";
      return status;
    });
    return out;
  }

  int failures = 0;

 private:
  pask_status code_;
};

struct life {
  const char* name;
  void (*run)(trial& t);
};

void ignore_value(uintptr_t) {}

// ---- Lives of the support library: they allocate ------------------------------------------------------------------------

void locks(trial& t) {
  auto* section = t.make<pask_critsec_handle>("critsec", [](auto* out) { return pask_thread_critsec_create(out); });
  auto* rwlock = t.make<pask_rwlock_handle>("rwlock", [](auto* out) { return pask_thread_rwlock_create(out); });
  auto* event = t.make<pask_event_handle>("event", [](auto* out) { return pask_thread_event_create(out, 1, 0); });
  EXPECT_EQ(pask_thread_critsec_enter(section) | pask_thread_rwlock_writelock(rwlock), 0u);
  EXPECT_EQ(pask_thread_event_wait(event, 0), 0u);
  pask_thread_event_delete(event);
  pask_thread_rwlock_delete(rwlock);
  pask_thread_critsec_delete(section);
}

void vectors(trial& t) {
  auto* v = t.make<pask_vector_handle>(
      "create", [](auto* out) { return pask_vector_create(out, PASK_VECTOR_THREADSAFE, nullptr, ignore_value); });
  for (uintptr_t i = 1; i <= 20; ++i) t.step("add", [&] { return pask_vector_add(v, i); });
  t.step("insert", [&] { return pask_vector_insert(v, 3, 77); });
  t.step("set_min_size", [&] { return pask_vector_set_min_size(v, 500); });
  auto* copy = t.make<pask_vector_handle>("copy", [&](auto* out) { return pask_vector_copy(v, nullptr, out); });
  uint32_t count = 0;
  EXPECT_EQ(pask_vector_count(copy, &count), 0u);
  EXPECT_EQ(count, 21u);
  uintptr_t value = 0;
  for (uintptr_t i = 0; i < 21; ++i) {
    EXPECT_EQ(pask_vector_getindex(copy, static_cast<uint32_t>(i), &value), 0u);
    EXPECT_EQ(value, i < 3 ? i + 1 : i == 3 ? 77 : i);
  }
  pask_vector_delete(copy);
  pask_vector_delete(v);
}

template <uint32_t flags>
void tables(trial& t) {
  auto* table =
      t.make<pask_hashtable_handle>("create", [](auto* out) { return pask_hashtable_create(out, flags, nullptr); });
  char key[16];
  for (uint32_t i = 0; i < 40; ++i) {
    pask_string_u32toa(i, key, sizeof key);
    t.step("add", [&] { return pask_hashtable_value_add(table, key, key, static_cast<uint32_t>(strlen(key)) + 1, 1); });
  }
  const void* data = nullptr;
  uint32_t size = 0;
  for (const char* fresh : {"one", "two"}) {
    EXPECT_EQ(pask_hashtable_value_find_ex(table, "7", 0, &data, &size), 0u);
    t.step("update", [&] { return pask_hashtable_value_update_ex(table, "7", 0, fresh, 4, 1); });
  }
  auto* copy = t.make<pask_hashtable_handle>("copy", [&](auto* out) { return pask_hashtable_copy(table, out); });
  EXPECT_EQ(pask_hashtable_value_find_ex(copy, "7", 0, &data, &size), 0u);
  EXPECT_STREQ(static_cast<const char*>(data), "two");
  uint32_t count = 0;
  EXPECT_EQ(pask_hashtable_count(copy, &count), 0u);
  EXPECT_EQ(count, 40u);
  pask_hashtable_delete(copy);
  pask_hashtable_delete(table);
}

void string_maps(trial& t) {
  auto* map = t.make<pask_stringmap_handle>(
      "create", [](auto* out) { return pask_stringmap_create(out, PASK_HASHTABLE_MULTI_VALUE); });
  for (const char* value : {"a", "b", "c", "d"})
    t.step("add", [&] { return pask_stringmap_value_add(map, "key", value); });
  const std::string text(300, 'x');
  t.also = 0x0001;  // the text stays empty without memory, and an empty text is refused
  t.step("add_format", [&] { return pask_stringmap_value_add_format(map, "long", "%s", text.c_str()); });
  t.also = 0;
  auto* copy = t.make<pask_stringmap_handle>("copy", [&](auto* out) { return pask_stringmap_copy(map, out); });
  uint32_t count = 0;
  EXPECT_EQ(pask_stringmap_count(copy, &count), 0u);
  EXPECT_EQ(count, 5u);
  pask_stringmap_delete(copy);
  pask_stringmap_delete(map);
}

void texts(trial& t) {
  using text = char*;
  text made[] = {t.make<text>("strdup2", [](text* out) { return pask_string_strdup2("abc", out); }),
                 t.make<text>("strndup2", [](text* out) { return pask_string_strndup2("abc", 2, out); }),
                 t.make<text>("strdupn2", [](text* out) { return pask_string_strdupn2("abc", 9, '.', out); }),
                 t.make<text>("worddup2", [](text* out) { return pask_string_worddup2(" abc def", out); }),
                 t.make<text>("ucs2", [](text* out) {
                   return pask_string_utf8_to_ucs2("abc", reinterpret_cast<uint16_t**>(out), 0);
                 })};
  for (text one : made) pask_string_free(one);
}

void accumulators(trial& t) {
  auto* acc = t.make<pask_string_accum*>("create", [](auto* out) { return pask_string_accum_create(out, nullptr, 8); });
  for (int i = 0; i < 10; ++i) t.step("append", [&] { return pask_string_accum_append(acc, "0123456789", nullptr); });
  EXPECT_EQ(acc->length, 100u);
  auto* text = t.make<char*>("detach", [&](auto* out) { return pask_string_accum_detach(acc, out, nullptr); });
  EXPECT_EQ(pask_string_bytelen_nonull(text), 100u);
  pask_string_free(text);
  pask_string_accum_delete(acc);
}

// ---- Lives of the service: they allocate, and they call the manager -------------------------------------------------------

velox_user_handle s_user;

void filters(trial& t) {
  velox_list_element_handle element = nullptr;
  velox_standin_list_element_create(VELOX_LIST_GENRES, 5, "genre", &element);
  auto* filter =
      t.make<velox_cadenz_filter_handle>("create", [](auto* out) { return velox_cadenz_filter_create(out); });
  t.step("set", [&] { return velox_cadenz_filter_set(filter, element); });
  t.step("set again", [&] { return velox_cadenz_filter_set(filter, element); });
  velox_standin_list_element_release(element);
  // What is released for certain isn't tried twice.
  const pask_status released = velox_cadenz_filter_release(filter);
  if (released && velox_cadenz_filter_release(filter) == 0) ++t.failures;
}

void queries(trial& t) {
  auto* query = t.make<velox_cadenz_query_handle>(
      "create", [](auto* out) { return velox_cadenz_query_create(s_user, nullptr, nullptr, out); });
  t.step("option_set", [&] { return velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_RETURN_COUNT, "5"); });
  const char* value = nullptr;
  t.step("option_get", [&] { return velox_cadenz_query_option_get(query, VELOX_CADENZ_OPTION_RETURN_COUNT, &value); });
  t.step("option_set", [&] { return velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_RETURN_COUNT, "6"); });
  t.step("option_set", [&] { return velox_cadenz_query_option_set(query, VELOX_QUERYOPT_SERVICE_URL, "url"); });
  {
    const object artist("velox_ctx_artist", {{"_sdkmgr_val_artist_id", "id"}});
    const object album("velox_ctx_album", {}, {{"velox_ctx_artist!", &artist}});
    const object track("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}},
                       {{"velox_ctx_artist!", &artist}});
    const object title("velox_ctx_title", {{"velox_val_display", "Title"}});
    const object unresolved("velox_ctx_track", {}, {{"velox_ctx_title!off", &title}});
    for (const object* one : {&artist, &track, &unresolved})
      t.step("set_mdo", [&] { return velox_cadenz_query_set_mdo(query, *one); });
  }
  t.also = CADENZ_ERR_BAD_SEED & 0xffff;  // a seed that can't be read has nothing to offer
  for (int i = 0; i < 2; ++i) {
    auto* result = t.make<velox_mdo_handle>(
        "generate", [&](auto* out) { return velox_cadenz_query_generate_recommendations(query, nullptr, out); });
    velox_standin_mdo_release(result);
  }
  if (velox_cadenz_query_release(query) != 0) {
    ++t.failures;
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
  }
}

void stations(trial& t) {
  recording::spare("mdo_addref");  // an event and a playlist rely on their reference
  auto* query = t.make<velox_cadenz_query_handle>(
      "create", [](auto* out) { return velox_cadenz_query_create(s_user, nullptr, nullptr, out); });
  t.step("option_set", [&] { return velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_STATION_DMCA, "1"); });
  t.also = 0x0003;  // an identifier that can't be read is none
  velox_cadenz_station_handle both[] = {
      t.make<velox_cadenz_station_handle>(
          "generate",
          [&](auto* out) { return velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, out); }),
      t.make<velox_cadenz_station_handle>(
          "lookup", [](auto* out) { return velox_cadenz_station_lookup("id", s_user, nullptr, nullptr, out); })};
  const object track("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}});
  for (auto* station : both) {
    t.step("option_set",
           [&] { return velox_cadenz_station_option_set(station, VELOX_CADENZ_OPTION_RETURN_COUNT, "5"); });
    t.step("event", [&] { return velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_LIKE, track); });
    auto* playlist = t.make<velox_mdo_handle>(
        "playlist", [&](auto* out) { return velox_cadenz_station_generate_playlist(station, out); });
    velox_standin_mdo_release(playlist);
    if (velox_cadenz_station_release(station) != 0) {
      ++t.failures;
      EXPECT_EQ(velox_cadenz_station_release(station), 0u);
    }
  }
  if (velox_cadenz_query_release(query) != 0) {
    ++t.failures;
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
  }
}

pask_status answer_all(void*, const velox_standin_lookup* lookup, velox_standin_run* run) {
  for (uint32_t i = 0; i < lookup->request_count; ++i) {
    const object track("velox_ctx_track", {{"velox_val_tui", "t"}, {"velox_val_tui_tag", "g"}});
    const object album("velox_ctx_album", {{"_sdkmgr_val_artist_id", "id"}}, {{"velox_ctx_track!matching", &track}});
    const object response("velox_ctx_response",
                          {{"_sdkmgr_val_cadenz_radio_id", "id"}, {"_sdkmgr_val_response_code", "velox_result_ok"}},
                          {{"velox_ctx_album!", &album}});
    velox_standin_run_result(run, i, response);
  }
  return 0;
}

class Torture : public testing::TestWithParam<life> {
 protected:
  void SetUp() override {
    const velox_manager_record* record = recording::start();
    ASSERT_EQ(velox_cadenz_initialize(record), 0u);
    velox_standin_user_create("listener", &s_user);
    const velox_standin_provider provider = {nullptr, answer_all};
    velox_standin_provider_set(&provider);
  }
  void TearDown() override {
    recording::spare("");
    velox_standin_provider_set(nullptr);
    velox_standin_user_release(s_user);
    EXPECT_EQ(velox_cadenz_shutdown(), 0u);
    recording::stop();
  }

  // Runs the life again and again, each time with the next thing refused, until nothing is left to refuse.
  template <class Arm, class Disarm>
  void sweep(pask_status code, Arm arm, Disarm disarm) {
    for (uint32_t n = 0;; ++n) {
      ASSERT_LT(n, 5000u) << "never gets through";
      const int64_t blocks = velox_standin_memory_live_blocks();
      const int64_t objects = velox_standin_live_objects();
      trial t(code);
      arm(n);
      GetParam().run(t);
      const bool refused = disarm();
      EXPECT_EQ(velox_standin_memory_live_blocks(), blocks) << "blocks leak when refusal " << n << " strikes";
      EXPECT_EQ(velox_standin_live_objects(), objects) << "objects leak when refusal " << n << " strikes";
      EXPECT_LE(t.failures, 1) << "one refusal, one failure";
      failures += t.failures;
      if (!refused) return;
      ++refusals;
    }
  }
  int refusals = 0;
  int failures = 0;
};

class Allocations : public Torture {};
class TableCalls : public Torture {};

TEST_P(Allocations, EachIsRefusedOnce) {
  sweep(
      0x0002, [](uint32_t n) { velox_standin_memory_refuse(n, 0); },
      [] { return velox_standin_memory_refuse_end() != 0; });
  EXPECT_GT(refusals, 0);
  EXPECT_GE(failures, refusals / 2) << "most refusals are told of";
}

TEST_P(TableCalls, EachFailsOnce) {
  sweep(
      recording::FAILURE & 0xffff, [](uint32_t n) { recording::fail(n); }, [] { return recording::fail_end(); });
  EXPECT_GT(refusals, 0);
}

std::string life_name(const testing::TestParamInfo<life>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(Lives, Allocations,
                         testing::Values(life{"locks", locks}, life{"vectors", vectors},
                                         life{"tables", tables<PASK_HASHTABLE_THREADSAFE>},
                                         life{"tables_unlocked", tables<PASK_HASHTABLE_MULTI_VALUE>},
                                         life{"string_maps", string_maps}, life{"texts", texts},
                                         life{"accumulators", accumulators}, life{"filters", filters},
                                         life{"queries", queries}, life{"stations", stations}),
                         life_name);
INSTANTIATE_TEST_SUITE_P(Lives, TableCalls,
                         testing::Values(life{"filters", filters}, life{"queries", queries},
                                         life{"stations", stations}),
                         life_name);

}  // namespace
