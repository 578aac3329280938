// Start and stop, and the frame that every exported operation has.
#include <velox/pask.h>

#include "service_fixture.h"

namespace {

const lines REGISTRATION = {"client_register 181 VELOX Cadenz",
                            "interface_get _velox_errorinfo_interface",
                            "interface_get _velox_handlemanager_interface",
                            "interface_get _velox_userinfo_interface",
                            "interface_get _velox_lookup_interface",
                            "interface_get _velox_mdo_interface",
                            "interface_get _velox_listmanager_interface"};
const lines FAREWELL = {"client_unregister",          "interface_release listmanager",   "interface_release mdo",
                        "interface_release lookup",   "interface_release handlemanager", "interface_release userinfo",
                        "interface_release errorinfo"};

class Start : public testing::Test {
 protected:
  void SetUp() override {
    record = recording::start();
    blocks = velox_standin_memory_live_blocks();
    starts = velox_standin_memory_starts();
  }
  void TearDown() override {
    EXPECT_EQ(velox_cadenz_initchecks(), 0);
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);
    EXPECT_EQ(velox_standin_memory_starts(), starts) << "a module stayed up";
    for (uint32_t package : {0xb5u, 0x31u}) velox_standin_log_enable(package, 0);
    recording::stop();
  }
  const velox_manager_record* record = nullptr;
  int64_t blocks = 0;
  uint32_t starts = 0;
};

TEST_F(Start, RegistersOnceAndLeavesAtTheLastStop) {
  EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  EXPECT_EQ(recording::take(), REGISTRATION);
  EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  EXPECT_EQ(velox_cadenz_initchecks(), 2);
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
  EXPECT_EQ(recording::take(), lines{});
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
  EXPECT_EQ(recording::take(), FAREWELL);
  velox_standin_error error = {};
  velox_standin_last_error(&error);
  EXPECT_STREQ(error.operation, "velox_cadenz_initialize") << "a stop sets no error information";
  EXPECT_EQ(velox_cadenz_shutdown(), CADENZ_ERR_NOT_INITED);
  EXPECT_EQ(velox_cadenz_initialize(record), 0u) << "a stopped service starts again";
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
}

TEST_F(Start, RefusesABadRecord) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  velox_manager_record bad = *record;
  velox_standin_error error = {};
  EXPECT_EQ(velox_cadenz_initialize(nullptr), CADENZ_ERR_INVALID_ARG);
  velox_standin_last_error(&error);
  EXPECT_STREQ(error.message, "given manager handle was null");
  bad.magic = 1;
  EXPECT_EQ(velox_cadenz_initialize(&bad), CADENZ_ERR_BAD_RECORD);
  for (const char* version : {static_cast<const char*>(nullptr), "3.10.2", "3.10.1x", ""}) {
    bad = *record;
    bad.version = version;
    EXPECT_EQ(velox_cadenz_initialize(&bad), CADENZ_ERR_WRONG_VERSION);
    velox_standin_last_error(&error);
    EXPECT_EQ(error.source, CADENZ_ERR_WRONG_VERSION);
    EXPECT_STREQ(error.message, "given manager handle was from a different version SDK");
  }
  EXPECT_EQ(recording::take(), lines{});
  const lines log = recording::take_log();
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[0], "0|velox_cadenz_initialize|1|90b50001|(null)");
}

TEST_F(Start, RollsBackWhicheverCallFails) {
  velox_standin_log_enable(0x44, PASK_LOG_ERROR);
  for (uint32_t nth = 0; nth < REGISTRATION.size(); ++nth) {
    recording::fail(nth);
    EXPECT_EQ(velox_cadenz_initialize(record), CADENZ_ERR_INIT_FAILED);
    EXPECT_TRUE(recording::fail_end());
    velox_standin_error error = {};
    velox_standin_last_error(&error);
    EXPECT_EQ(error.source, recording::FAILURE);
    EXPECT_EQ(recording::take("client_unregister"), lines{nth == 0 ? "client_unregister null" : "client_unregister"});
    EXPECT_EQ(recording::take_log(), lines{"N|velox_cadenz|1|90440077|(null)"});
    EXPECT_EQ(velox_cadenz_initchecks(), 0);
    EXPECT_EQ(velox_standin_memory_starts(), starts);
  }
  velox_standin_log_enable(0x44, 0);
}

TEST_F(Start, AModuleThatFailsGivesTheBareNumber) {
  for (uint32_t granted = 0;; ++granted) {
    velox_standin_memory_refuse(granted, 0);
    const pask_status status = velox_cadenz_initialize(record);
    const bool refused = velox_standin_memory_refuse_end() != 0;
    velox_standin_error error = {};
    velox_standin_last_error(&error);
    // The random module comes up without the file module, and then lets go of a start that it never had.
    if (status == 0) {
      EXPECT_EQ(velox_cadenz_shutdown(), 0u);
      if (!refused) break;
    } else {
      EXPECT_EQ(status, CADENZ_ERR_INIT_FAILED);
      EXPECT_EQ(error.source, 10u);
    }
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks) << granted;
  }
}

TEST_F(Start, TellsOfStartRefusalAndStop) {
  for (uint32_t package : {0xb5u, 0x31u}) velox_standin_log_enable(package, PASK_LOG_ERROR | PASK_LOG_INFO);
  EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  EXPECT_EQ(recording::take_log(), (lines{"0|(null)|4|00b50000|Cadenz Initialize: Version %s  Built %s",
                                          "0|(null)|4|00310000|Cadenz Initialize: Version %s  Built %s"}));
  recording::fail("client_unregister", 0, 0x10440099);
  EXPECT_EQ(velox_cadenz_shutdown(), 0x90b50099u);
  recording::fail_end();
  EXPECT_EQ(velox_cadenz_initchecks(), 1);
  EXPECT_EQ(recording::take_log(), (lines{"0|(null)|1|00b50000|Cadenz Shutdown Failed: services still in use",
                                          "0|(null)|1|00310000|Cadenz Shutdown Failed: services still in use",
                                          "0|velox_cadenz_shutdown|1|90b50099|(null)"}));
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
  EXPECT_EQ(recording::take_log(),
            (lines{"0|(null)|4|00b50000|Cadenz Shutdown", "0|(null)|4|00310000|Cadenz Shutdown"}));
}

TEST(ForcedStop, EndsAnyCount) {
  const velox_manager_record* record = recording::start();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  velox_user_handle user = nullptr;
  velox_cadenz_query_handle query = nullptr;
  velox_standin_user_create("listener", &user);
  EXPECT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
  velox_standin_user_release(user);
  recording::stop();
  EXPECT_EQ(velox_cadenz_initchecks(), 0);
  EXPECT_EQ(velox_cadenz_shutdown(), CADENZ_ERR_NOT_INITED);
  EXPECT_EQ(velox_standin_live_objects(), 0) << "the manager frees what the application left";
}

// Every operation, called with a handle of another kind, a null handle, or null out-parameters.
struct operation_case {
  const char* name;
  const char* trace;
  pask_status (*with)(void* handle);
  bool null_is_success;
  bool null_is_log_only;
};

template <class Handle>
Handle as(void* handle) {
  return static_cast<Handle>(handle);
}

char s_element;

const operation_case k_operations[] = {
    {"velox_cadenz_query_release", "( %p )",
     [](void* h) { return velox_cadenz_query_release(as<velox_cadenz_query_handle>(h)); }, true, false},
    {"velox_cadenz_query_option_set", "( %p, %s, %s )",
     [](void* h) { return velox_cadenz_query_option_set(as<velox_cadenz_query_handle>(h), "k", "v"); }, false, false},
    {"velox_cadenz_query_option_get", "( %p, %s, %p )",
     [](void* h) {
       const char* value = nullptr;
       return velox_cadenz_query_option_get(as<velox_cadenz_query_handle>(h), "k", &value);
     },
     false, false},
    {"velox_cadenz_query_set_mdo", "( %p, %p )",
     [](void* h) { return velox_cadenz_query_set_mdo(as<velox_cadenz_query_handle>(h), nullptr); }, false, false},
    {"velox_cadenz_query_generate_recommendations", "( %p, %p, %p )",
     [](void* h) {
       velox_mdo_handle result = nullptr;
       return velox_cadenz_query_generate_recommendations(as<velox_cadenz_query_handle>(h), nullptr, &result);
     },
     false, false},
    {"velox_cadenz_query_generate_station", "( %p, %p, %p, %p, %p )",
     [](void* h) {
       velox_cadenz_station_handle station = nullptr;
       return velox_cadenz_query_generate_station(as<velox_cadenz_query_handle>(h), nullptr, nullptr, nullptr,
                                                  &station);
     },
     false, false},
    {"velox_cadenz_station_id", "( %p, %p )",
     [](void* h) {
       const char* id = nullptr;
       return velox_cadenz_station_id(as<velox_cadenz_station_handle>(h), &id);
     },
     false, false},
    {"velox_cadenz_station_release", "( %p )",
     [](void* h) { return velox_cadenz_station_release(as<velox_cadenz_station_handle>(h)); }, true, false},
    {"velox_cadenz_station_option_set", "( %p, %s, %s )",
     [](void* h) { return velox_cadenz_station_option_set(as<velox_cadenz_station_handle>(h), "k", "v"); }, false,
     false},
    {"velox_cadenz_station_option_get", "( %p, %s, %p )",
     [](void* h) {
       const char* value = nullptr;
       return velox_cadenz_station_option_get(as<velox_cadenz_station_handle>(h), "k", &value);
     },
     false, false},
    {"velox_cadenz_station_event", "( %p, %u, %p )",
     [](void* h) { return velox_cadenz_station_event(as<velox_cadenz_station_handle>(h), 1, nullptr); }, false, false},
    {"velox_cadenz_station_generate_playlist", "( %p, %p )",
     [](void* h) {
       velox_mdo_handle playlist = nullptr;
       return velox_cadenz_station_generate_playlist(as<velox_cadenz_station_handle>(h), &playlist);
     },
     false, false},
    {"velox_cadenz_filter_release", "( %p )",
     [](void* h) { return velox_cadenz_filter_release(as<velox_cadenz_filter_handle>(h)); }, true, false},
    {"velox_cadenz_filter_set", "( %p, %p )",
     [](void* h) {
       return velox_cadenz_filter_set(as<velox_cadenz_filter_handle>(h),
                                      reinterpret_cast<velox_list_element_handle>(&s_element));
     },
     false, true},
};

class Frame : public Service, public testing::WithParamInterface<operation_case> {};

TEST_P(Frame, ChecksItsHandle) {
  const operation_case& op = GetParam();
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const std::string name = op.name;

  const pask_status on_null = op.with(nullptr);
  EXPECT_EQ(on_null, op.null_is_success ? 0u : CADENZ_ERR_INVALID_ARG);
  EXPECT_EQ(recording::take_errors(), op.null_is_log_only  ? lines{}
                                      : op.null_is_success ? lines{"00000000 00000000 " + name}
                                                           : lines{"90b50001 90b50001 " + name});
  EXPECT_EQ(recording::take_log(), op.null_is_success ? lines{} : lines{"0|" + name + "|1|90b50001|(null)"});

  uint32_t stranger[16] = {};
  EXPECT_EQ(op.with(stranger), 0x90b50321u);
  EXPECT_EQ(recording::take_errors(), lines{"90b50321 90010321 " + name});
  EXPECT_EQ(recording::take_log(), lines{"0|" + name + "|1|90b50321|(null)"});

  recording::fail("handle_validate", 0, 0x10330003);
  EXPECT_EQ(op.with(stranger), 0x90b50003u) << "an information word is folded into an error";
  recording::fail_end();
  EXPECT_EQ(recording::take_errors(), lines{"90b50003 10330003 " + name});

  recording::fail("handle_validate", 0, 0x10b50042);
  recording::take_log();
  EXPECT_EQ(op.with(stranger), 0x10b50042u) << "a word of the service's own stands";
  recording::fail_end();
  EXPECT_EQ(recording::take_log(), lines{}) << "an information word isn't logged";
}

TEST_P(Frame, TracesFirst) {
  velox_standin_log_enable(0xb5, PASK_LOG_TRACE);
  GetParam().with(nullptr);
  EXPECT_EQ(recording::take_log(),
            lines{"0|[api_trace]|8|00b50000|" + std::string(GetParam().name) + GetParam().trace});
}

INSTANTIATE_TEST_SUITE_P(Operations, Frame, testing::ValuesIn(k_operations),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Down, OperationsTellThatTheServiceIsnt) {
  recording::start();
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  for (const operation_case& op : k_operations) {
    EXPECT_EQ(op.with(&s_element), CADENZ_ERR_NOT_INITED) << op.name;
    velox_standin_error error = {};
    velox_standin_last_error(&error);
    EXPECT_STREQ(error.operation, op.name);
    EXPECT_STREQ(error.message, "cadenz not initialized!");
    EXPECT_EQ(recording::take_log(), lines{"0|" + std::string(op.name) + "|1|90b50007|cadenz not initialized!"});
  }
  EXPECT_EQ(velox_cadenz_filter_set(nullptr, nullptr), CADENZ_ERR_INVALID_ARG) << "looked at first";
  EXPECT_STREQ(velox_cadenz_get_version(), "3.10.1");
  EXPECT_STREQ(velox_cadenz_get_build_date(), "2016-08-22 10:21-0700");
  velox_standin_log_enable(0xb5, 0);
  recording::stop();
}

}  // namespace
