// Lookups against a provider of the test's own: what it sees, what it may report, what the client gets.
#include <functional>
#include <new>
#include <vector>

#include "started_manager.h"

namespace {

using execute_fn = std::function<pask_status(const velox_standin_lookup*, velox_standin_run*)>;

class Lookup : public StartedManager {
 protected:
  void SetUp() override {
    StartedManager::SetUp();
    const velox_standin_provider provider{this,
                                          [](void* context, const velox_standin_lookup* view, velox_standin_run* run) {
                                            return static_cast<Lookup*>(context)->provide(view, run);
                                          }};
    velox_standin_provider_set(&provider);
    user = make_user();
    ASSERT_EQ(lookups->lookup_create(lookups, on_progress, this, &lookup), 0u);
  }
  void TearDown() override {
    lookups->lookup_release(lookup);
    velox_standin_user_release(user);
    velox_standin_provider_set(nullptr);
    StartedManager::TearDown();
  }
  static void on_progress(void* data, const velox_progress* progress, uint8_t* abort) {
    auto* self = static_cast<Lookup*>(data);
    self->heard.push_back(progress->state);
    if (progress->state == self->abort_at) *abort = 1;
  }
  pask_status add_request(const char* name) {
    return lookups->lookup_add_request(lookup, "velox_lookup_type_album", name, "radio", 1);
  }
  pask_status execute() { return lookups->lookup_execute(lookup, user, nullptr); }
  /** Gives the first request an answer, which takes nothing more then. */
  void give(velox_standin_run* run, const char* context) {
    const velox_mdo_handle answer = make_mdo(context);
    EXPECT_EQ(velox_standin_run_result(run, 0, answer), 0u);
    EXPECT_EQ(velox_standin_run_result(run, 2, answer), VELOX_STANDIN_ERR_INVALID_ARG);
    velox_standin_mdo_release(answer);
    EXPECT_EQ(velox_standin_mdo_value_add(answer, "k", "v"), VELOX_STANDIN_ERR_IN_USE);
  }
  /** The status of asking for a request's answer, which is let go again. */
  pask_status result_of(const char* name) {
    velox_mdo_handle result = nullptr;
    const pask_status status = lookups->lookup_get_result(lookup, name, &result);
    EXPECT_EQ(result == nullptr, status != 0);
    velox_standin_mdo_release(result);
    return status;
  }

  velox_user_handle user = nullptr;
  velox_lookup_handle lookup = nullptr;
  execute_fn provide = [](auto*, auto*) { return 0u; };
  std::vector<int32_t> heard;
  int32_t abort_at = -1;
};

std::string shown(const velox_standin_item* items, uint32_t count) {
  std::string all;
  for (uint32_t at = 0; at < count; ++at)
    all += std::string(items[at].key) + "=" + (items[at].value ? items[at].value : "(null)") + "@" +
           std::to_string(items[at].ordinal) + " ";
  return all;
}

}  // namespace

TEST_F(Lookup, ProviderSeesWhatWasRecordedInOrder) {
  char value[] = "tui";
  EXPECT_EQ(lookups->lookup_add_data(lookup, "a", "k", "v", 1), VELOX_STANDIN_ERR_NOT_FOUND);
  ASSERT_EQ(add_request("a"), 0u);
  ASSERT_EQ(add_request("b"), 0u);
  EXPECT_EQ(add_request("a"), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(lookups->lookup_add_data(lookup, "b", "seed", value, 2), 0u);
  EXPECT_EQ(lookups->lookup_add_data(lookup, "b", "tag", nullptr, 1), 0u);
  EXPECT_EQ(lookups->lookup_add_data(lookup, "a", "seed", "", 1), 0u);
  EXPECT_EQ(lookups->lookup_request_option_set(lookup, "b", "count", "5"), 0u);
  EXPECT_EQ(lookups->lookup_request_option_set(lookup, "b", "count", "6"), 0u);
  EXPECT_EQ(lookups->lookup_request_option_set(lookup, "c", "count", "6"), VELOX_STANDIN_ERR_NOT_FOUND);
  EXPECT_EQ(lookups->lookup_option_set(lookup, "url", "sqlite:a.db"), 0u);
  value[0] = '#';
  std::string seen;
  provide = [&](const velox_standin_lookup* view, velox_standin_run*) {
    EXPECT_STREQ(velox_standin_user_name(view->user), "listener");
    seen = shown(view->options, view->option_count);
    for (uint32_t at = 0; at < view->request_count; ++at) {
      const velox_standin_request& request = view->requests[at];
      seen += std::string("| ") + request.name + " " + request.type + ": " +
              shown(request.options, request.option_count) + "/ " + shown(request.data, request.data_count);
    }
    EXPECT_EQ(add_request("later"), VELOX_STANDIN_ERR_IN_USE);
    EXPECT_EQ(execute(), VELOX_STANDIN_ERR_IN_USE);
    return 0u;
  };
  EXPECT_EQ(execute(), 0u);
  EXPECT_EQ(seen,
            "url=sqlite:a.db@0 | a velox_lookup_type_album: / seed=@1 "
            "| b velox_lookup_type_album: count=5@0 count=6@0 / seed=tui@2 tag=(null)@1 ");
  EXPECT_EQ(lookups->lookup_execute(lookup, nullptr, nullptr), VELOX_STANDIN_ERR_HANDLE);
}

TEST_F(Lookup, ResultsOutliveIt) {
  ASSERT_EQ(add_request("answered"), 0u);
  ASSERT_EQ(add_request("silent"), 0u);
  provide = [&](const velox_standin_lookup*, velox_standin_run* run) {
    give(run, "replaced");
    give(run, "answer");
    return 0u;
  };
  EXPECT_EQ(result_of("answered"), VELOX_STANDIN_ERR_NOT_FOUND);
  ASSERT_EQ(execute(), 0u);
  EXPECT_EQ(result_of("silent"), VELOX_STANDIN_ERR_NOT_FOUND);
  EXPECT_EQ(result_of("unknown"), VELOX_STANDIN_ERR_NOT_FOUND);
  velox_mdo_handle result = nullptr;
  ASSERT_EQ(lookups->lookup_get_result(lookup, "answered", &result), 0u);
  EXPECT_EQ(lookups->lookup_release(lookup), 0u);
  EXPECT_STREQ(velox_standin_mdo_context(result), "answer");
  mdos->mdo_release(result);
}

TEST_F(Lookup, ProgressUntilTheAbort) {
  ASSERT_EQ(add_request("a"), 0u);
  provide = [&](const velox_standin_lookup*, velox_standin_run* run) {
    give(run, "answer");
    for (const int32_t state : {8, 10, 11, 12})
      EXPECT_EQ(velox_standin_run_progress(run, 20, state, 5, nullptr),
                abort_at >= 0 && state >= abort_at ? VELOX_STANDIN_ERR_ABORTED : 0u);
    return 0u;
  };
  EXPECT_EQ(execute(), 0u);
  EXPECT_EQ(heard, (std::vector<int32_t>{8, 10, 11, 12}));
  heard.clear();
  abort_at = 10;
  EXPECT_EQ(execute(), VELOX_STANDIN_ERR_ABORTED) << "whatever the provider returns";
  EXPECT_EQ(heard, (std::vector<int32_t>{8, 10})) << "none after the abort";
  EXPECT_EQ(result_of("a"), VELOX_STANDIN_ERR_NOT_FOUND);
}

TEST_F(Lookup, FailureGivesNoResult) {
  ASSERT_EQ(add_request("a"), 0u);
  pask_status outcome = 0;
  provide = [&](const velox_standin_lookup*, velox_standin_run* run) {
    give(run, "answer");
    return outcome;
  };
  for (const pask_status failure : {0x90010400u, 0x10010003u}) {
    outcome = failure;
    EXPECT_EQ(execute(), failure);
    EXPECT_EQ(result_of("a"), VELOX_STANDIN_ERR_NOT_FOUND);
  }
  provide = [](auto*, auto*) -> pask_status { throw std::bad_alloc(); };
  EXPECT_EQ(execute(), VELOX_STANDIN_ERR_NO_MEMORY);
  EXPECT_EQ(add_request("b"), 0u) << "no longer running";
}

TEST_F(Lookup, ReleasedWhileItRuns) {
  ASSERT_EQ(add_request("a"), 0u);
  provide = [&](const velox_standin_lookup* view, velox_standin_run* run) {
    EXPECT_EQ(lookups->lookup_release(lookup), 0u);
    EXPECT_EQ(lookups->lookup_release(lookup), VELOX_STANDIN_ERR_HANDLE);
    EXPECT_STREQ(view->requests[0].name, "a");
    return velox_standin_run_progress(run, 20, 10, 1, nullptr);
  };
  EXPECT_EQ(execute(), 0u);
  EXPECT_EQ(heard.size(), 1u);
}
