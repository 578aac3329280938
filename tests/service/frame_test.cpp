// Start and stop, and the frame that every exported operation has.
#include "service_fixture.h"

extern "C" {
extern const velox_manager_record* g_cadenz_manager_interface;
extern velox_client_ref g_cadenz_client_ref;
extern velox_errorinfo_interface* g_cadenz_errorinfo_interface;
extern velox_handlemanager_interface* g_cadenz_handlemanager_interface;
extern velox_userinfo_interface* g_cadenz_userinfo_interface;
extern velox_lookup_interface* g_cadenz_lookup_interface;
extern velox_mdo_interface* g_cadenz_mdo_interface;
extern velox_listmanager_interface* g_cadenz_lists_interface;
}

namespace {

/** Nothing of the manager's is kept while the service is down. */
void expect_nothing_kept() {
  for (const void* kept :
       {static_cast<const void*>(g_cadenz_manager_interface), static_cast<const void*>(g_cadenz_client_ref),
        static_cast<const void*>(g_cadenz_errorinfo_interface),
        static_cast<const void*>(g_cadenz_handlemanager_interface),
        static_cast<const void*>(g_cadenz_userinfo_interface), static_cast<const void*>(g_cadenz_lookup_interface),
        static_cast<const void*>(g_cadenz_mdo_interface), static_cast<const void*>(g_cadenz_lists_interface)})
    EXPECT_EQ(kept, nullptr);
}

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

velox_standin_error last_error() {
  velox_standin_error error = {};
  velox_standin_last_error(&error);
  return error;
}

class Start : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(velox_cadenz_initchecks(), 0);
    expect_nothing_kept();
    EXPECT_EQ(velox_standin_memory_live_blocks(), blocks);
    EXPECT_EQ(velox_standin_memory_starts(), starts) << "a module stayed up";
    for (const uint32_t package : {0xb5u, 0x31u, 0x44u}) velox_standin_log_enable(package, 0);
    recording::stop();
  }
  const velox_manager_record* record = recording::start();
  const int64_t blocks = velox_standin_memory_live_blocks();
  const uint32_t starts = velox_standin_memory_starts();
};

TEST_F(Start, RegistersOnceAndLeavesAtTheLastStop) {
  for (const lines& calls : {REGISTRATION, lines{}}) {
    EXPECT_EQ(velox_cadenz_initialize(record), 0u);
    EXPECT_EQ(recording::take(), calls);
  }
  EXPECT_EQ(velox_cadenz_initchecks(), 2);
  for (const lines& calls : {lines{}, FAREWELL}) {
    EXPECT_EQ(velox_cadenz_shutdown(), 0u);
    EXPECT_EQ(recording::take(), calls);
  }
  EXPECT_STREQ(last_error().operation, "velox_cadenz_initialize") << "a stop sets no error information";
  EXPECT_EQ(velox_cadenz_shutdown(), CADENZ_ERR_NOT_INITED);
  EXPECT_EQ(velox_cadenz_initialize(record), 0u) << "a stopped service starts again";
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
}

TEST_F(Start, RefusesABadRecord) {
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  const auto refuses = [](const velox_manager_record* bad, pask_status word, const char* message) {
    EXPECT_EQ(velox_cadenz_initialize(bad), word);
    EXPECT_EQ(last_error().source, word);
    EXPECT_STREQ(last_error().message, message);
    char text[64];
    std::snprintf(text, sizeof text, "0|velox_cadenz_initialize|1|%x|(null)", word);
    EXPECT_EQ(recording::take_log(), lines{text});
  };
  refuses(nullptr, CADENZ_ERR_INVALID_ARG, "given manager handle was null");
  velox_manager_record bad = *record;
  for (const char* version : {static_cast<const char*>(nullptr), "3.10.2", "3.10.1x", ""}) {
    bad.version = version;
    refuses(&bad, CADENZ_ERR_WRONG_VERSION, "given manager handle was from a different version SDK");
  }
  bad.magic = 1;
  refuses(&bad, CADENZ_ERR_BAD_RECORD, nullptr);
  EXPECT_EQ(recording::take(), lines{});
}

TEST_F(Start, RollsBackWhicheverCallFails) {
  velox_standin_log_enable(0x44, PASK_LOG_ERROR);
  for (uint32_t nth = 0; nth < REGISTRATION.size(); ++nth) {
    recording::fail(nth);
    EXPECT_EQ(velox_cadenz_initialize(record), CADENZ_ERR_INIT_FAILED);
    EXPECT_TRUE(recording::fail_end());
    EXPECT_EQ(recording::take("client_unregister"), lines{nth == 0 ? "client_unregister null" : "client_unregister"});
    EXPECT_EQ(recording::take_log(), lines{"N|velox_cadenz|1|90440077|(null)"});
  }
}

TEST_F(Start, TellsOfStartRefusalAndStop) {
  const auto told = [](const std::string& level, const std::string& text) {
    return lines{"0|(null)|" + level + "|00b50000|" + text, "0|(null)|" + level + "|00310000|" + text};
  };
  for (const uint32_t package : {0xb5u, 0x31u}) velox_standin_log_enable(package, PASK_LOG_ERROR | PASK_LOG_INFO);
  EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  EXPECT_EQ(recording::take_log(), told("4", "Cadenz Initialize: Version %s  Built %s"));
  recording::fail("client_unregister", 0, 0x10440099);
  EXPECT_EQ(velox_cadenz_shutdown(), 0x90b50099u);
  recording::fail_end();
  EXPECT_EQ(velox_cadenz_initchecks(), 1);
  lines refusal = told("1", "Cadenz Shutdown Failed: services still in use");
  refusal.push_back("0|velox_cadenz_shutdown|1|90b50099|(null)");
  EXPECT_EQ(recording::take_log(), refusal);
  EXPECT_EQ(velox_cadenz_shutdown(), 0u);
  EXPECT_EQ(recording::take_log(), told("4", "Cadenz Shutdown"));
  velox_standin_log_enable(0x31, 0);
  velox_standin_log_enable(0xb5, PASK_LOG_TRACE);
  EXPECT_TRUE(velox_cadenz_initialize(record) == 0 && velox_cadenz_shutdown() == 0);
  EXPECT_EQ(recording::take_log(), (lines{"0|[api_trace]|8|00b50000|velox_cadenz_initialize( %p )",
                                          "0|[api_trace]|8|00b50000|velox_cadenz_shutdown"}));
}

TEST(ForcedStop, EndsAnyCount) {
  const velox_manager_record* record = recording::start();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(velox_cadenz_initialize(record), 0u);
  velox_user_handle user = nullptr;
  velox_cadenz_query_handle query = nullptr;
  velox_standin_user_create("listener", &user);
  EXPECT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
  velox_standin_user_release(user);
  recording::take();
  recording::fail("client_unregister", 0);
  recording::stop();
  EXPECT_TRUE(recording::fail_end()) << "it is asked, and its refusal doesn't count";
  EXPECT_EQ(recording::take("interface_release"), lines(FAREWELL.begin() + 1, FAREWELL.end()));
  expect_nothing_kept();
  EXPECT_EQ(velox_cadenz_initchecks(), 0);
  EXPECT_EQ(velox_cadenz_shutdown(), CADENZ_ERR_NOT_INITED);
  EXPECT_EQ(velox_standin_live_objects(), 0) << "the manager frees what the application left";
}

// Every operation on a handle, with whatever else it takes: the handle is looked at first.
struct operation_row {
  std::string name, trace;
  std::function<pask_status(void* handle)> with;
  bool null_is_success = false;
};

template <class T>
T anything() {
  alignas(void*) static char s_object[64];
  if constexpr (std::is_integral_v<T>)
    return 1;
  else
    return reinterpret_cast<T>(s_object);
}

template <class Handle, class... Rest>
auto on_handle(pask_status (*operation)(Handle, Rest...)) {
  return [=](void* handle) { return operation(static_cast<Handle>(handle), anything<Rest>()...); };
}

const operation_row k_operations[] = {
    {"velox_cadenz_query_release", "( %p )", on_handle(velox_cadenz_query_release), true},
    {"velox_cadenz_query_option_set", "( %p, %s, %s )", on_handle(velox_cadenz_query_option_set)},
    {"velox_cadenz_query_option_get", "( %p, %s, %p )", on_handle(velox_cadenz_query_option_get)},
    {"velox_cadenz_query_set_mdo", "( %p, %p )", on_handle(velox_cadenz_query_set_mdo)},
    {"velox_cadenz_query_generate_recommendations", "( %p, %p, %p )",
     on_handle(velox_cadenz_query_generate_recommendations)},
    {"velox_cadenz_query_generate_station", "( %p, %p, %p, %p, %p )", on_handle(velox_cadenz_query_generate_station)},
    {"velox_cadenz_station_id", "( %p, %p )", on_handle(velox_cadenz_station_id)},
    {"velox_cadenz_station_release", "( %p )", on_handle(velox_cadenz_station_release), true},
    {"velox_cadenz_station_option_set", "( %p, %s, %s )", on_handle(velox_cadenz_station_option_set)},
    {"velox_cadenz_station_option_get", "( %p, %s, %p )", on_handle(velox_cadenz_station_option_get)},
    {"velox_cadenz_station_event", "( %p, %u, %p )", on_handle(velox_cadenz_station_event)},
    {"velox_cadenz_station_generate_playlist", "( %p, %p )", on_handle(velox_cadenz_station_generate_playlist)},
    {"velox_cadenz_filter_release", "( %p )", on_handle(velox_cadenz_filter_release), true},
    {"velox_cadenz_filter_set", "( %p, %p )", on_handle(velox_cadenz_filter_set)},
};

class Frame : public Service {};

TEST_F(Frame, TracesThenChecksTheHandle) {
  uint32_t stranger[16] = {};
  for (const auto& [name, trace, with, null_is_success] : k_operations) {
    SCOPED_TRACE(name);
    velox_standin_log_enable(0xb5, PASK_LOG_ERROR | PASK_LOG_TRACE);
    forget();
    EXPECT_EQ(with(nullptr), null_is_success ? 0u : CADENZ_ERR_INVALID_ARG);
    lines log = {"0|[api_trace]|8|00b50000|" + name + trace};
    if (!null_is_success) log.push_back("0|" + name + "|1|90b50001|(null)");
    EXPECT_EQ(recording::take_log(), log);
    EXPECT_EQ(recording::take_errors(), name == "velox_cadenz_filter_set" ? lines{}  // told to the log only
                                        : null_is_success                 ? lines{"00000000 00000000 " + name}
                                                                          : lines{"90b50001 90b50001 " + name});

    velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
    EXPECT_EQ(with(stranger), 0x90b50321u);
    EXPECT_EQ(recording::take_errors(), lines{"90b50321 90010321 " + name});
    EXPECT_EQ(recording::take_log(), lines{"0|" + name + "|1|90b50321|(null)"});

    recording::fail("handle_validate", 0, 0x10330003);
    EXPECT_EQ(with(stranger), 0x90b50003u) << "an information word is folded into an error";
    EXPECT_EQ(recording::take_errors(), lines{"90b50003 10330003 " + name});
    recording::take_log();
    recording::fail("handle_validate", 0, 0x10b50042);
    EXPECT_EQ(with(stranger), 0x10b50042u) << "a word of the service's own stands";
    EXPECT_EQ(recording::take_log(), lines{}) << "an information word isn't logged";
    recording::fail_end();
  }
}

// Refused arguments, behind a live handle where there is one. Some are told to the log only.
TEST_F(Frame, RefusesBadArguments) {
  answer = answer_with_all;
  const filter_of filter = {};
  velox_cadenz_station_handle station = nullptr;
  ASSERT_EQ(velox_cadenz_station_lookup("id", user, nullptr, nullptr, &station), 0u);
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR);
  forget();
  const auto logged = [](const std::string& operation, pask_status status) {
    EXPECT_EQ(status, CADENZ_ERR_INVALID_ARG) << operation;
    EXPECT_EQ(recording::take_log(), lines{"0|" + operation + "|1|90b50001|(null)"});
    EXPECT_EQ(recording::take_errors(), lines{}) << operation;
  };
  const auto told = [&](const std::string& operation, pask_status status, const std::string& message = "") {
    EXPECT_EQ(recording::take_errors(), lines{"90b50001 90b50001 " + operation + message});
    logged(operation, status);
  };
  velox_cadenz_query_handle none = nullptr;
  told("velox_cadenz_query_create", velox_cadenz_query_create(user, nullptr, nullptr, nullptr),
       " Missing [out] parameter p_cadenz_query_handle.");
  told("velox_cadenz_query_create", velox_cadenz_query_create(nullptr, nullptr, nullptr, &none));
  told("velox_cadenz_filter_create", velox_cadenz_filter_create(nullptr), " Parameter p_cadenz_filter_handle is null.");
  told("velox_cadenz_station_event", velox_cadenz_station_event(station, 1, nullptr));
  logged("velox_cadenz_filter_set", velox_cadenz_filter_set(filter, nullptr));
  logged("velox_cadenz_query_generate_recommendations",
         velox_cadenz_query_generate_recommendations(query, nullptr, nullptr));
  logged("velox_cadenz_query_generate_station",
         velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, nullptr));
  logged("velox_cadenz_station_lookup", velox_cadenz_station_lookup("id", user, nullptr, nullptr, nullptr));
  for (const char* id : {static_cast<const char*>(nullptr), ""})
    logged("velox_cadenz_station_lookup", velox_cadenz_station_lookup(id, user, nullptr, nullptr, &station));
  logged("velox_cadenz_station_id", velox_cadenz_station_id(station, nullptr));
  logged("velox_cadenz_station_generate_playlist", velox_cadenz_station_generate_playlist(station, nullptr));

  for (const char* key :
       {static_cast<const char*>(nullptr), "", "velox_cadenz_option", "velox_queryopt_service_url "}) {
    told("velox_cadenz_query_option_set", set(key, "1"));
    told("velox_cadenz_station_option_set", velox_cadenz_station_option_set(station, key, "1"));
  }
  for (const char* key : {VELOX_CADENZ_OPTION_CATALOG_FILTER, VELOX_CADENZ_OPTION_ROTATION_RADIO,
                          VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST})
    told("velox_cadenz_station_option_set", velox_cadenz_station_option_set(station, key, "1"));
  const char* value = nullptr;
  logged("velox_cadenz_query_option_get", velox_cadenz_query_option_get(query, nullptr, &value));
  logged("velox_cadenz_query_option_get", velox_cadenz_query_option_get(query, VELOX_QUERYOPT_SERVICE_URL, nullptr));
  logged("velox_cadenz_station_option_get", velox_cadenz_station_option_get(station, nullptr, &value));
  logged("velox_cadenz_station_option_get",
         velox_cadenz_station_option_get(station, VELOX_QUERYOPT_SERVICE_URL, nullptr));
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(velox_cadenz_station_release(station), 0u);
}

TEST(Down, OperationsTellThatTheServiceIsnt) {
  recording::start();
  velox_standin_log_enable(0xb5, PASK_LOG_ERROR | PASK_LOG_TRACE);
  std::vector<operation_row> all(std::begin(k_operations), std::end(k_operations));
  all.push_back({"velox_cadenz_query_create", "( %p, %p, %p, %p )", [](void* made) {
                   return velox_cadenz_query_create(nullptr, nullptr, nullptr,
                                                    static_cast<velox_cadenz_query_handle*>(made));
                 }});
  all.push_back({"velox_cadenz_filter_create", "( %p )", [](void* made) {
                   return velox_cadenz_filter_create(static_cast<velox_cadenz_filter_handle*>(made));
                 }});
  all.push_back({"velox_cadenz_station_lookup", "( %s, %p, %p, %p, %p )", [](void* made) {
                   return velox_cadenz_station_lookup("id", nullptr, nullptr, nullptr,
                                                      static_cast<velox_cadenz_station_handle*>(made));
                 }});
  for (const operation_row& row : all) {
    EXPECT_EQ(row.with(anything<void*>()), CADENZ_ERR_NOT_INITED) << row.name;
    EXPECT_EQ(last_error().operation, row.name);
    EXPECT_STREQ(last_error().message, "cadenz not initialized!");
    EXPECT_EQ(recording::take_log(), (lines{"0|[api_trace]|8|00b50000|" + row.name + row.trace,
                                            "0|" + row.name + "|1|90b50007|cadenz not initialized!"}));
  }
  EXPECT_EQ(velox_cadenz_filter_set(nullptr, nullptr), CADENZ_ERR_INVALID_ARG) << "looked at first";
  EXPECT_STREQ(velox_cadenz_get_version(), "3.10.1");
  EXPECT_STREQ(velox_cadenz_get_build_date(), "2016-08-22 10:21-0700");
  velox_standin_log_enable(0xb5, 0);
  recording::stop();
}

}  // namespace
