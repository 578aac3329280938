// Queries and filters as objects: creation, options, seeds, values.
#include "service_fixture.h"

namespace {

class Query : public Service {};

TEST_F(Query, IsForAUserThatTheManagerKnows) {
  velox_cadenz_query_handle other = nullptr;
  recording::fail("handle_validate_user", 0);
  EXPECT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &other), 0x90b50077u);
  recording::fail_end();
  EXPECT_EQ(other, nullptr);
}

TEST_F(Query, OptionsKeepWhatWasReadOfThem) {
  const char *seven = nullptr, *now = "";
  EXPECT_EQ(velox_cadenz_query_option_get(query, VELOX_CADENZ_OPTION_RETURN_COUNT, &seven), CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(recording::take_errors(), lines{"90b50003 100d0003 velox_cadenz_query_option_get"});
  EXPECT_EQ(set("VELOX_cadenz_OPTION_return_count", "7"), 0u);
  EXPECT_EQ(velox_cadenz_query_option_get(query, VELOX_CADENZ_OPTION_RETURN_COUNT, &seven), 0u);
  EXPECT_EQ(set(VELOX_CADENZ_OPTION_RETURN_COUNT, nullptr), 0u);
  EXPECT_STREQ(seven, "7") << "a text that was read outlives its replacement";
  EXPECT_EQ(velox_cadenz_query_option_get(query, VELOX_CADENZ_OPTION_RETURN_COUNT, &now), 0u);
  EXPECT_EQ(now, nullptr);
}

TEST_F(Query, HoldsSixLiveSeeds) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const object track(TRACK, {});
  EXPECT_EQ(seed(nullptr) >> 16, 0x90b5u);
  recording::fail("mdo_addref", 0);
  EXPECT_EQ(seed(track), 0x90b50077u);
  recording::fail_end();
  for (int i = 0; i < VELOX_CADENZ_MAX_SEEDS; ++i) EXPECT_EQ(seed(track), 0u);
  forget();
  EXPECT_EQ(seed(track), CADENZ_ERR_TOO_MANY_SEEDS);
  EXPECT_EQ(recording::take_log(),
            (lines{"N|velox_cadenz|1|90b50791|(null)", "0|velox_cadenz_query_set_mdo|1|90b50791|(null)"}));
}

class Filter : public Service {};

TEST_F(Filter, TakesThreeListsWithoutDuplicates) {
  filter_of filter = {{VELOX_LIST_GENRES, 7}, {VELOX_LIST_GENRES, 7}, {VELOX_LIST_GENRES, -8}, {VELOX_LIST_ERAS, 7}};
  EXPECT_EQ(filter.add("velox_list_type_languages", 1), CADENZ_ERR_UNSUPPORTED);
  EXPECT_EQ(filter.add("VELOX_LIST_TYPE_GENRES", 1), CADENZ_ERR_UNSUPPORTED) << "list types compare exactly";
  recording::take();
  EXPECT_EQ(generate(filter), 0u);
  EXPECT_EQ(behind("lookup_add_data cadenzreq1 velox_lookup_data_radio_seed"),
            " ATTRIBUTE 1|_attribute_genre 7 1|_attribute_genre -8 1|_attribute_era 7 1");
}

TEST_F(Filter, ReturnsFailuresFromBelowUnfolded) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  velox_cadenz_filter_handle none = nullptr, released = nullptr;
  filter_of filter = {};
  EXPECT_EQ(velox_cadenz_filter_create(&released), 0u);
  const auto fails = [&](const std::string& operation, const char* call, auto with) {
    forget();
    recording::fail(call, 0);
    EXPECT_EQ(with(), recording::FAILURE);
    EXPECT_TRUE(recording::fail_end());
    EXPECT_EQ(recording::take_errors(), lines{"90b50077 90440077 " + operation});
    EXPECT_EQ(recording::take_log(), lines{"0|" + operation + "|1|90b50077|(null)"});
  };
  fails("velox_cadenz_filter_create", "handle_add", [&] { return velox_cadenz_filter_create(&none); });
  for (const char* call : {"list_element_get_type", "list_element_get_id"})
    fails("velox_cadenz_filter_set", call, [&] { return filter.add(VELOX_LIST_MOODS, 3); });
  fails("velox_cadenz_filter_release", "handle_release", [&] { return velox_cadenz_filter_release(released); });
  EXPECT_EQ(none, nullptr);
}

}  // namespace
