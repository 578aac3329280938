// Everything that can be refused is refused, once each: every allocation, and every call to the manager's tables. Each
// life goes from the service's start to its stop with operations that are tried until they get through; a life names what may fail
// without harm. Nothing may leak, no out-parameter may be touched, and the object must work afterwards.
#include <velox/pask.h>

#include <cstring>

#include "service_fixture.h"

namespace {

constexpr pask_status NO_MEMORY = 0x0002;

struct trial {
  pask_status code;      // the low half of what a refused operation gives
  pask_status also = 0;  // what else the next steps may give
  int failures = 0;

  // Runs an operation that may be made to fail; a second try must get through.
  template <class Operation>
  void step(const char* what, Operation operation) {
    const pask_status first = operation();
    if (first == 0) return;
    const pask_status given = velox_status_code(first);
    EXPECT_TRUE(velox_failed(first) && (given == code || (also && given == also))) << what << std::hex << first;
    ++failures;
    EXPECT_EQ(operation(), 0u) << what << " works afterwards";
  }

  // The same for an operation with an out-parameter, which a failure leaves alone.
  template <class Out, class Operation>
  Out make(const char* what, Operation operation) {
    Out untouched, out;
    std::memset(&untouched, 0x5a, sizeof untouched);
    step(what, [&] {
      out = untouched;
      const pask_status status = operation(&out);
      EXPECT_TRUE(status == 0 || out == untouched) << what << " touches its out-parameter";
      return status;
    });
    return out;
  }

  // What is released for certain isn't tried twice.
  template <class Handle>
  void release(pask_status (*operation)(Handle), Handle handle) {
    if (operation(handle) != 0 && operation(handle) == 0) ++failures;
  }
};

using life = void (*)(trial& t, velox_user_handle user);

// What the service itself is made of. The collections under it have such tests of their own.
void foundations(trial& t, velox_user_handle) {
  using text = char*;
  auto* section = t.make<pask_critsec_handle>("critsec", [](auto* out) { return pask_thread_critsec_create(out); });
  auto* rwlock = t.make<pask_rwlock_handle>("rwlock", [](auto* out) { return pask_thread_rwlock_create(out); });
  auto* event = t.make<pask_event_handle>("event", [](auto* out) { return pask_thread_event_create(out, 1, 0); });
  EXPECT_EQ(pask_thread_critsec_enter(section) | pask_thread_rwlock_writelock(rwlock), 0u);
  EXPECT_EQ(pask_thread_event_wait(event, 0), 0u);
  pask_thread_event_delete(event);
  pask_thread_rwlock_delete(rwlock);
  pask_thread_critsec_delete(section);

  auto* map = t.make<pask_stringmap_handle>("map", [](auto* out) { return pask_stringmap_create(out, 0); });
  const std::string wide(300, 'x');
  t.also = 0x0001;  // the text stays empty without memory, and an empty text is refused
  t.step("add_format", [&] { return pask_stringmap_value_add_format(map, "key", "%s", wide.c_str()); });
  t.also = 0;
  pask_stringmap_delete(map);

  auto* acc = t.make<pask_string_accum*>("accum", [](auto* out) { return pask_string_accum_create(out, nullptr, 8); });
  for (int i = 0; i < 10; ++i) t.step("append", [&] { return pask_string_accum_append(acc, "0123456789", nullptr); });
  const text made[] = {t.make<text>("detach", [&](text* out) { return pask_string_accum_detach(acc, out, nullptr); }),
                       t.make<text>("strdup2", [](text* out) { return pask_string_strdup2("abc", out); }),
                       t.make<text>("strdupn2", [](text* out) { return pask_string_strdupn2("abc", 9, '.', out); }),
                       t.make<text>("worddup2", [](text* out) { return pask_string_worddup2(" abc def", out); })};
  EXPECT_EQ(pask_string_bytelen_nonull(made[0]), 100u);
  for (text one : made) pask_string_free(one);
  pask_string_accum_delete(acc);
}

void filters(trial& t, velox_user_handle) {
  velox_list_element_handle element = nullptr;
  velox_standin_list_element_create(VELOX_LIST_GENRES, 5, "genre", &element);
  auto* filter =
      t.make<velox_cadenz_filter_handle>("create", [](auto* out) { return velox_cadenz_filter_create(out); });
  for (const char* what : {"set", "set again"}) t.step(what, [&] { return velox_cadenz_filter_set(filter, element); });
  velox_standin_list_element_release(element);
  t.release(velox_cadenz_filter_release, filter);
}

velox_cadenz_query_handle make_query(trial& t, velox_user_handle user) {
  return t.make<velox_cadenz_query_handle>(
      "create", [=](auto* out) { return velox_cadenz_query_create(user, nullptr, nullptr, out); });
}

void queries(trial& t, velox_user_handle user) {
  auto* query = make_query(t, user);
  const char* value = nullptr;
  for (const char* key :
       {VELOX_CADENZ_OPTION_RETURN_COUNT, VELOX_CADENZ_OPTION_RETURN_COUNT, VELOX_QUERYOPT_SERVICE_URL}) {
    t.step("option_set", [&] { return velox_cadenz_query_option_set(query, key, "5"); });
    t.step("option_get", [&] { return velox_cadenz_query_option_get(query, key, &value); });
  }
  {
    const object artist(ARTIST, {{ARTIST_ID, "id"}});
    const object track(TRACK, {{TUI, "t"}, {TAG, "g"}}, {{OF_ARTIST, &artist}});
    const object title("velox_ctx_title", {{VELOX_VAL_DISPLAY, "Title"}});
    const object unresolved(TRACK, {}, {{VELOX_CHILD_TITLE, &title}});
    for (const object* one : {&artist, &track, &unresolved})
      t.step("set_mdo", [&] { return velox_cadenz_query_set_mdo(query, *one); });
  }
  t.also = CADENZ_ERR_BAD_SEED & 0xffff;  // a seed that can't be read has nothing to offer
  for (int i = 0; i < 2; ++i)
    velox_standin_mdo_release(t.make<velox_mdo_handle>(
        "generate", [&](auto* out) { return velox_cadenz_query_generate_recommendations(query, nullptr, out); }));
  t.release(velox_cadenz_query_release, query);
}

void stations(trial& t, velox_user_handle user) {
  recording::spare("mdo_addref");  // an event and a playlist rely on their reference
  auto* query = make_query(t, user);
  t.step("option_set", [&] { return velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_STATION_DMCA, "1"); });
  t.also = 0x0003;  // an identifier that can't be read is none
  const velox_cadenz_station_handle both[] = {
      t.make<velox_cadenz_station_handle>(
          "generate",
          [&](auto* out) { return velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, out); }),
      t.make<velox_cadenz_station_handle>(
          "lookup", [=](auto* out) { return velox_cadenz_station_lookup("id", user, nullptr, nullptr, out); })};
  const object track(TRACK, {{TUI, "t"}, {TAG, "g"}});
  for (auto* station : both) {
    t.step("option_set",
           [&] { return velox_cadenz_station_option_set(station, VELOX_CADENZ_OPTION_RETURN_COUNT, "5"); });
    t.step("event", [&] { return velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_LIKE, track); });
    velox_standin_mdo_release(t.make<velox_mdo_handle>(
        "playlist", [&](auto* out) { return velox_cadenz_station_generate_playlist(station, out); }));
    t.release(velox_cadenz_station_release, station);
  }
  t.release(velox_cadenz_query_release, query);
  recording::spare("");
}

class Torture : public testing::Test {
 protected:
  void SetUp() override {
    velox_standin_user_create("listener", &user);
    const velox_standin_provider provider = {nullptr,
                                             [](void*, const velox_standin_lookup* lookup, velox_standin_run* run) {
                                               return answer_with_all(*lookup, run);
                                             }};
    velox_standin_provider_set(&provider);
  }
  void TearDown() override {
    velox_standin_user_release(user);
    velox_standin_provider_set(nullptr);
    recording::stop();
  }

  // A life with the service's start in front of it and its stop behind.
  void live(trial& t, life run) {
    t.also = CADENZ_ERR_INIT_FAILED & 0xffff;
    t.step("initialize", [&] {
      const pask_status status = velox_cadenz_initialize(record);
      velox_standin_error error = {};
      velox_standin_last_error(&error);
      EXPECT_TRUE(!status || error.source == (t.code == NO_MEMORY ? 10u : recording::FAILURE)) << error.source;
      return status;
    });
    t.also = 0;
    run(t, user);
    if (velox_cadenz_shutdown() != 0 && velox_cadenz_shutdown() == 0) ++t.failures;
  }

  // Runs a life again and again, each time with the next thing refused, until nothing is left to refuse. Gives how many
  // refusals were told of, and how many there were.
  template <class Arm, class Disarm>
  std::pair<int, int> sweep(life run, pask_status code, Arm arm, Disarm disarm) {
    int failures = 0;
    for (uint32_t n = 0;; ++n) {
      SCOPED_TRACE("refusal " + std::to_string(n));
      const int64_t blocks = velox_standin_memory_live_blocks(), objects = velox_standin_live_objects();
      const uint32_t starts = velox_standin_memory_starts();
      trial t{code};
      arm(n);
      live(t, run);
      const bool refused = disarm();
      EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);
      EXPECT_EQ(velox_standin_live_objects(), objects);
      EXPECT_EQ(velox_standin_memory_starts(), starts) << "a module stayed up";
      EXPECT_LE(t.failures, 1) << "one refusal, one failure";
      failures += t.failures;
      if (!refused || HasFailure()) return {failures, n};
    }
  }

  const velox_manager_record* record = recording::start();
  velox_user_handle user = nullptr;
};

TEST_F(Torture, EachAllocationIsRefusedOnce) {
  for (const life run : {foundations, filters, queries, stations}) {
    const auto [failures, refusals] = sweep(
        run, NO_MEMORY, [](uint32_t n) { velox_standin_memory_refuse(n, 0); },
        [] { return velox_standin_memory_refuse_end() != 0; });
    EXPECT_TRUE(refusals > 0 && failures >= refusals / 2) << "most refusals are told of";
  }
}

TEST_F(Torture, EachTableCallFailsOnce) {
  for (const life run : {filters, queries, stations}) {
    const auto [failures, refusals] = sweep(
        run, recording::FAILURE & 0xffff, [](uint32_t n) { recording::fail(n); }, [] { return recording::fail_end(); });
    EXPECT_GT(refusals, 0);
  }
}

}  // namespace
