// A started stand-in with its tables at hand; at the end nothing of the test's may be left.
#pragma once

#include <gtest/gtest.h>
#include <velox/velox_standin.h>

#include <string>

class StartedManager : public testing::Test {
 protected:
  void SetUp() override {
    live_before = velox_standin_live_objects();
    ASSERT_EQ(velox_standin_start(&record), 0u);
    errorinfo = table<velox_errorinfo_interface>(VELOX_INTERFACE_ERRORINFO);
    handles = table<velox_handlemanager_interface>(VELOX_INTERFACE_HANDLEMANAGER);
    users = table<velox_userinfo_interface>(VELOX_INTERFACE_USERINFO);
    lookups = table<velox_lookup_interface>(VELOX_INTERFACE_LOOKUP);
    mdos = table<velox_mdo_interface>(VELOX_INTERFACE_MDO);
    lists = table<velox_listmanager_interface>(VELOX_INTERFACE_LISTMANAGER);
  }
  void TearDown() override {
    EXPECT_EQ(velox_standin_stop(), 0u);
    EXPECT_EQ(velox_standin_live_objects(), live_before);
  }
  template <class Table>
  Table* table(const char* name) {
    void* got = nullptr;
    EXPECT_EQ(record->interface_get(name, 0, 0, &got), 0u) << name;
    return static_cast<Table*>(got);
  }
  velox_mdo_handle make_mdo(const char* context = "velox_ctx_track") {
    velox_mdo_handle made = nullptr;
    EXPECT_EQ(velox_standin_mdo_create(context, &made), 0u);
    return made;
  }
  velox_user_handle make_user() {
    velox_user_handle made = nullptr;
    EXPECT_EQ(velox_standin_user_create("listener", &made), 0u);
    return made;
  }

  const velox_manager_record* record = nullptr;
  velox_errorinfo_interface* errorinfo = nullptr;
  velox_handlemanager_interface* handles = nullptr;
  velox_userinfo_interface* users = nullptr;
  velox_lookup_interface* lookups = nullptr;
  velox_mdo_interface* mdos = nullptr;
  velox_listmanager_interface* lists = nullptr;
  int64_t live_before = 0;
};
