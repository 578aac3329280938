// A started service over the recording manager, with a user, a query and a provider that answers from a script.
#pragma once

#include <gtest/gtest.h>
#include <velox/velox_cadenz.h>
#include <velox/velox_standin.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "recording_manager.h"

using lines = std::vector<std::string>;

// Contexts, values and children of metadata objects, in short; spelling_test.cpp holds the vocabulary to its promise.
constexpr auto TRACK = VELOX_CTX_TRACK, ALBUM = VELOX_CTX_ALBUM, ARTIST = VELOX_CTX_ARTIST;
constexpr auto CONTRIBUTOR = VELOX_CTX_CONTRIBUTOR, RESPONSE = "velox_ctx_response";
constexpr auto TUI = VELOX_VAL_TUI, TAG = VELOX_VAL_TUI_TAG, ARTIST_ID = VELOX_VAL_ARTIST_ID;
constexpr auto GENRE = VELOX_VAL_GENRE_ID, ERA = VELOX_VAL_ERA_ID, MOOD = VELOX_VAL_MOOD_ID;
constexpr auto OF_ARTIST = VELOX_CHILD_ARTIST, OF_ALBUM = VELOX_CHILD_ALBUM, OF_TRACK = VELOX_CHILD_TRACK;

// A metadata object that drops its reference at the brace.
class object {
 public:
  object(const char* context, std::initializer_list<std::pair<const char*, const char*>> values,
         std::initializer_list<std::pair<const char*, const object*>> children = {}) {
    velox_standin_mdo_create(context, &handle_);
    for (const auto& [key, value] : values) velox_standin_mdo_value_add(handle_, key, value);
    for (const auto& [key, child] : children) velox_standin_mdo_child_add(handle_, key, child->handle_);
  }
  object(const object&) = delete;
  object& operator=(const object&) = delete;
  ~object() { velox_standin_mdo_release(handle_); }
  operator velox_mdo_handle() const { return handle_; }

 private:
  velox_mdo_handle handle_ = nullptr;
};

using answer_fn = std::function<pask_status(const velox_standin_lookup& lookup, velox_standin_run* run)>;

// Answers every request with an album that has a matching track, and with a station's identifier.
inline pask_status answer_with_all(const velox_standin_lookup& lookup, velox_standin_run* run) {
  const object track(TRACK, {{TUI, "t"}, {TAG, "g"}});
  const object album(ALBUM, {{ARTIST_ID, "id"}}, {{VELOX_CHILD_MATCHING_TRACK, &track}});
  const object response(RESPONSE, {{VELOX_VAL_STATION_ID, "id"}, {VELOX_VAL_RESPONSE_CODE, VELOX_RESULT_OK}},
                        {{OF_ALBUM, &album}});
  for (uint32_t i = 0; i < lookup.request_count; ++i) velox_standin_run_result(run, i, response);
  return 0;
}

class Service : public testing::Test {
 protected:
  void SetUp() override {
    const velox_manager_record* record = recording::start();
    blocks_before_ = velox_standin_memory_live_blocks();
    ASSERT_EQ(velox_cadenz_initialize(record) | velox_standin_user_create("listener", &user), 0u);
    ASSERT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
    const velox_standin_provider provider = {
        this, [](void* self, const velox_standin_lookup* lookup, velox_standin_run* run) {
          return static_cast<Service*>(self)->answer(*lookup, run);
        }};
    velox_standin_provider_set(&provider);
    forget();
  }

  void TearDown() override {
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
    velox_standin_user_release(user);
    EXPECT_EQ(velox_cadenz_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks_before_) << "leaked";
    EXPECT_EQ(velox_standin_live_objects(), 0) << "leaked";
    velox_standin_provider_set(nullptr);
    velox_standin_log_enable(0xb5, 0);
    recording::stop();
  }

  void forget() {
    recording::take();
    recording::take_errors();
    recording::take_log();
  }

  // What stands behind the prefix in the calls that begin with it, a bar between each two.
  static std::string behind(const std::string& prefix) {
    std::string all;
    for (const std::string& line : recording::take(prefix))
      all += (all.empty() ? "" : "|") + line.substr(prefix.size());
    return all;
  }
  // Goes on with a query that has nothing set.
  void renew_query(velox_cadenz_callback_fn callback = nullptr, void* data = nullptr) {
    EXPECT_EQ(velox_cadenz_query_release(query), 0u);
    ASSERT_EQ(velox_cadenz_query_create(user, callback, data, &query), 0u);
    forget();
  }

  pask_status set(const char* key, const char* value) { return velox_cadenz_query_option_set(query, key, value); }
  pask_status seed(velox_mdo_handle mdo) { return velox_cadenz_query_set_mdo(query, mdo); }
  // Asks for recommendations and drops the answer.
  pask_status generate(velox_cadenz_filter_handle filter = nullptr) {
    velox_mdo_handle result = nullptr;
    const pask_status status = velox_cadenz_query_generate_recommendations(query, filter, &result);
    EXPECT_EQ(status == 0, result != nullptr) << "the out-parameter is written on success only";
    velox_standin_mdo_release(result);
    return status;
  }

  velox_user_handle user = nullptr;
  velox_cadenz_query_handle query = nullptr;
  answer_fn answer = [](const velox_standin_lookup&, velox_standin_run* run) {
    return velox_standin_run_result(run, 0, object(RESPONSE, {}));
  };

 private:
  int64_t blocks_before_ = 0;
};

// A filter over (list type, number) pairs.
class filter_of {
 public:
  filter_of(std::initializer_list<std::pair<const char*, int32_t>> elements) {
    velox_cadenz_filter_create(&handle_);
    for (const auto& [type, id] : elements) EXPECT_EQ(add(type, id), 0u);
  }
  filter_of(const filter_of&) = delete;
  filter_of& operator=(const filter_of&) = delete;
  ~filter_of() { velox_cadenz_filter_release(handle_); }
  pask_status add(const char* type, int32_t id) {
    velox_list_element_handle element = nullptr;
    velox_standin_list_element_create(type, id, "name", &element);
    const pask_status status = velox_cadenz_filter_set(handle_, element);
    velox_standin_list_element_release(element);
    return status;
  }
  operator velox_cadenz_filter_handle() const { return handle_; }

 private:
  velox_cadenz_filter_handle handle_ = nullptr;
};
