// Recommendations: outcome, progress and abort.
#include <algorithm>
#include <thread>

#include "service_fixture.h"

namespace {

class Recommend : public Service {
 protected:
  // Asks by a filter alone.
  pask_status recommend() {
    const filter_of filter = {{VELOX_LIST_ERAS, 4}};
    forget();
    return generate(filter);
  }
};

TEST_F(Recommend, TellsOfItsOutcome) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const std::string operation = "velox_cadenz_query_generate_recommendations";
  recording::take();
  EXPECT_EQ(generate(), CADENZ_ERR_NO_SEEDS);
  EXPECT_EQ(behind("lookup_"), "release null");
  EXPECT_EQ(recording::take_errors(), lines{"90b50600 90b50600 " + operation});
  EXPECT_EQ(recording::take_log(),
            (lines{"N|cadenz_preprocess|1|90b50600|(null)", "0|" + operation + "|1|90b50600|(null)"}));
  EXPECT_EQ(recommend(), 0u);
  EXPECT_EQ(recording::take_errors()[0], "00000000 00000000 " + operation);
  for (const pask_status failure : {0u, 0x10770055u}) {
    answer = [=](const velox_standin_lookup&, velox_standin_run*) { return failure; };
    EXPECT_EQ(recommend(), failure ? 0x90b50055u : CADENZ_ERR_NOT_FOUND) << "the lookup ran, but there is no result";
  }
}

// A callback's life, as "status: total_1 total_2".
struct listener {
  velox_cadenz_query_handle& query;
  uint32_t abort_at = 0;
  lines all = {};
  static void hear(void* data, uint32_t status, uint32_t zero, uint32_t total_1, uint32_t total_2, uint8_t* abort) {
    auto* self = static_cast<listener*>(data);
    self->all.push_back(std::to_string(status) + ": " + std::to_string(total_1) + " " + std::to_string(total_2));
    EXPECT_EQ(zero, 0u);
    EXPECT_EQ(velox_cadenz_query_option_set(self->query, VELOX_CADENZ_OPTION_RETURN_COUNT, "3"), 0u) << "no deadlock";
    if (status == self->abort_at) *abort = 1;
  }
};

pask_status report_all(const velox_standin_lookup&, velox_standin_run* run) {
  struct {
    uint32_t kind;
    int32_t state;
    uint32_t count;
  } const records[] = {{20, 8, 9},  {20, 10, 5},           {19, 10, 7}, {20, 9, 1}, {20, 11, 6},
                       {20, 13, 1}, {20, 14, 0x90660044u}, {20, 12, 2}, {20, 7, 1}, {20, 15, 1},
                       {20, -1, 1}};
  for (const auto& [kind, state, count] : records)
    if (const pask_status status = velox_standin_run_progress(run, kind, state, count, "service is tired"))
      return status;
  return velox_standin_run_result(run, 0, object(RESPONSE, {}));
}

TEST_F(Recommend, TranslatesProgress) {
  listener ear{query};
  answer = report_all;
  const auto tells_of_the_error = [this] {
    EXPECT_EQ(recommend(), 0u);
    const lines errors = recording::take_errors();
    return std::count(errors.begin(), errors.end(), "90660044 90660044 (null) service is tired") == 1;
  };
  EXPECT_TRUE(tells_of_the_error()) << "without a callback too";
  renew_query(listener::hear, &ear);
  EXPECT_TRUE(tells_of_the_error());
  EXPECT_EQ(ear.all, (lines{"5: 0 0", "6: 5 0", "6: 5 0", "7: 5 6", "4: 5 6", "8: 5 6"}));
  EXPECT_EQ(recommend(), 0u);
  EXPECT_EQ(ear.all.back(), "8: 10 12") << "totals run over the query's whole life";
}

TEST_F(Recommend, AnAbortEndsTheLookup) {
  velox_standin_log_enable(0xb5, PASK_LOG_TRACE);
  listener ear{query, 7};
  renew_query(listener::hear, &ear);
  answer = report_all;
  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  EXPECT_EQ(generate(filter), 0x90b50010u);
  EXPECT_EQ(ear.all.size(), 4u);
  EXPECT_EQ(recording::take_log().back(),
            "N|velox_cadenz|8|00b50000|Provided callback aborted the Cadenz lookup request.");
  ear.abort_at = 0;
  EXPECT_EQ(generate(filter), 0u) << "the query may be used again";
}

TEST_F(Recommend, RequestsOfOneQueryWaitForEachOther) {
  int inside = 0, most = 0;
  answer = [&](const velox_standin_lookup&, velox_standin_run* run) {
    most = std::max(most, ++inside);
    std::this_thread::yield();
    --inside;
    return velox_standin_run_result(run, 0, object(RESPONSE, {}));
  };
  const auto ask = [&] {
    for (int i = 0; i < 20; ++i) EXPECT_EQ(recommend(), 0u);
  };
  std::thread other(ask);
  ask();
  other.join();
  EXPECT_EQ(most, 1);
}

// Two vector records and the slots of the kept seeds: nothing else may be allocated.
TEST_F(Recommend, SixIdentifiedSeedsTakeThreeAllocations) {
  const object artist(ARTIST, {{ARTIST_ID, "a"}});
  for (int i = 0; i < VELOX_CADENZ_MAX_SEEDS; ++i) EXPECT_EQ(seed(artist), 0u);
  const uint64_t before = velox_standin_memory_allocations();
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(velox_standin_memory_allocations() - before, 3u);
}

}  // namespace
