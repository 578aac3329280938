// Recommendations: outcome, progress and abort.
#include <algorithm>
#include <thread>

#include "null_manager.h"
#include "service_fixture.h"

namespace {

class Recommend : public Service {};

TEST_F(Recommend, TellsOfItsOutcome) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  static const std::string OPERATION = "velox_cadenz_query_generate_recommendations";
  EXPECT_EQ(velox_cadenz_query_generate_recommendations(query, nullptr, nullptr), CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(recording::take_errors(), lines{});
  EXPECT_EQ(recording::take_log(), lines{"0|" + OPERATION + "|1|90b50001|(null)"});

  recording::take();
  EXPECT_EQ(generate(), CADENZ_ERR_NO_SEEDS);
  EXPECT_EQ(recording::take("lookup_"), lines{"lookup_release null"});
  EXPECT_EQ(recording::take_errors(), lines{"90b50600 90b50600 " + OPERATION});
  EXPECT_EQ(recording::take_log(),
            (lines{"N|cadenz_preprocess|1|90b50600|(null)", "0|" + OPERATION + "|1|90b50600|(null)"}));

  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  forget();
  EXPECT_EQ(generate(filter), 0u);
  EXPECT_EQ(recording::take_errors(), lines{"00000000 00000000 " + OPERATION});

  answer = [](const velox_standin_lookup&, velox_standin_run*) { return 0u; };
  EXPECT_EQ(generate(filter), CADENZ_ERR_NOT_FOUND) << "the lookup ran, but there is no result";
  answer = [](const velox_standin_lookup&, velox_standin_run*) { return 0x10770055u; };
  EXPECT_EQ(generate(filter), 0x90b50055u);
}

struct heard {
  uint32_t status, zero, total_1, total_2;
  bool operator==(const heard& other) const {
    return status == other.status && zero == other.zero && total_1 == other.total_1 && total_2 == other.total_2;
  }
};

struct listener {
  velox_cadenz_query_handle query = nullptr;
  std::vector<heard> all;
  uint32_t abort_at = 0;
  static void hear(void* data, uint32_t status, uint32_t zero, uint32_t total_1, uint32_t total_2, uint8_t* abort) {
    auto* self = static_cast<listener*>(data);
    self->all.push_back({status, zero, total_1, total_2});
    if (self->query) {  // the query's own operations don't block inside its request
      EXPECT_EQ(velox_cadenz_query_option_set(self->query, VELOX_CADENZ_OPTION_RETURN_COUNT, "3"), 0u);
    }
    if (status == self->abort_at) *abort = 1;
  }
};

const velox_progress k_records[] = {{20, 8, 9, nullptr},
                                    {20, 10, 5, nullptr},
                                    {19, 10, 7, nullptr},
                                    {20, 9, 1, nullptr},
                                    {20, 11, 6, nullptr},
                                    {20, 13, 1, nullptr},
                                    {20, 14, 0x90660044u, "service is tired"},
                                    {20, 12, 2, nullptr},
                                    {20, 7, 1, nullptr},
                                    {20, 15, 1, nullptr},
                                    {20, -1, 1, nullptr}};

pask_status report_all(const velox_standin_lookup&, velox_standin_run* run) {
  for (const velox_progress& p : k_records)
    if (const pask_status status = velox_standin_run_progress(run, p.kind, p.state, p.count, p.message)) return status;
  const object response("velox_ctx_response", {});
  return velox_standin_run_result(run, 0, response);
}

TEST_F(Recommend, TranslatesProgress) {
  listener ear;
  velox_cadenz_query_release(query);
  ASSERT_EQ(velox_cadenz_query_create(user, listener::hear, &ear, &query), 0u);
  ear.query = query;
  answer = report_all;
  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  forget();
  EXPECT_EQ(generate(filter), 0u);
  const std::vector<heard> once = {{5, 0, 0, 0}, {6, 0, 5, 0}, {6, 0, 5, 0}, {7, 0, 5, 6}, {4, 0, 5, 6}, {8, 0, 5, 6}};
  EXPECT_TRUE(ear.all == once);
  const lines errors = recording::take_errors();
  EXPECT_EQ(std::count(errors.begin(), errors.end(), "90660044 90660044 (null) service is tired"), 1);
  EXPECT_EQ(generate(filter), 0u);
  EXPECT_TRUE(ear.all.back() == (heard{8, 0, 10, 12})) << "totals run over the query's whole life";
}

TEST_F(Recommend, WithoutACallbackErrorsAreStillTold) {
  answer = report_all;
  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  forget();
  EXPECT_EQ(generate(filter), 0u);
  EXPECT_EQ(recording::take_errors()[0], "90660044 90660044 (null) service is tired");
}

TEST_F(Recommend, AnAbortEndsTheLookup) {
  velox_standin_log_enable(0xb5, PASK_LOG_TRACE);
  listener ear;
  ear.abort_at = 7;
  velox_cadenz_query_release(query);
  ASSERT_EQ(velox_cadenz_query_create(user, listener::hear, &ear, &query), 0u);
  answer = report_all;
  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  forget();
  EXPECT_EQ(generate(filter), 0x90b50010u);
  EXPECT_EQ(ear.all.size(), 4u);
  const lines log = recording::take_log();
  EXPECT_EQ(log.back(), "N|velox_cadenz|8|00b50000|Provided callback aborted the Cadenz lookup request.");
  ear.abort_at = 0;
  EXPECT_EQ(generate(filter), 0u) << "the query may be used again";
}

TEST_F(Recommend, RequestsOfOneQueryWaitForEachOther) {
  int inside = 0;
  int most = 0;
  answer = [&](const velox_standin_lookup&, velox_standin_run* run) {
    most = std::max(most, ++inside);
    std::this_thread::yield();
    --inside;
    const object response("velox_ctx_response", {});
    return velox_standin_run_result(run, 0, response);
  };
  const filter_of filter = {{VELOX_LIST_ERAS, 4}};
  const auto ask = [&] {
    for (int i = 0; i < 20; ++i) {
      velox_mdo_handle result = nullptr;
      EXPECT_EQ(velox_cadenz_query_generate_recommendations(query, filter, &result), 0u);
      velox_standin_mdo_release(result);
    }
  };
  std::thread other(ask);
  ask();
  other.join();
  EXPECT_EQ(most, 1);
}

// Two vector records and the slots of the kept seeds: nothing else may be allocated.
TEST(Cost, SixIdentifiedSeedsTakeThreeAllocations) {
  ASSERT_EQ(velox_cadenz_initialize(&null_manager::g_record), 0u);
  velox_cadenz_query_handle query = nullptr;
  ASSERT_EQ(velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query), 0u);
  for (int i = 0; i < VELOX_CADENZ_MAX_SEEDS; ++i)
    EXPECT_EQ(velox_cadenz_query_set_mdo(query, null_manager::any<velox_mdo_handle>()), 0u);
  const uint64_t before = velox_standin_memory_allocations();
  velox_mdo_handle result = nullptr;
  EXPECT_EQ(velox_cadenz_query_generate_recommendations(query, nullptr, &result), 0u);
  EXPECT_EQ(velox_standin_memory_allocations() - before, 3u);
  EXPECT_EQ(velox_cadenz_query_release(query), 0u);
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
}

}  // namespace
