// Metadata objects and list elements: values and children by key and ordinal, what lives how long.
#include <vector>

#include "started_manager.h"

using Mdo = StartedManager;

TEST_F(Mdo, ValuesByKeyAndOrdinal) {
  const velox_mdo_handle track = make_mdo();
  EXPECT_EQ(velox_standin_mdo_value_add(track, "velox_val_genre", "Dream Pop"), 0u);
  EXPECT_EQ(velox_standin_mdo_value_add(track, "velox_val_tui", nullptr), 0u);
  EXPECT_EQ(velox_standin_mdo_value_add(track, "velox_val_mood", ""), 0u);
  EXPECT_EQ(velox_standin_mdo_value_add(track, "velox_val_genre", "Shoegaze"), 0u);
  EXPECT_EQ(velox_standin_mdo_value_add(track, "", "x"), VELOX_STANDIN_ERR_INVALID_ARG);
  struct {
    const char* key;
    uint32_t ordinal;
    pask_status status;
    const char* value;
  } const rows[] = {
      {"velox_val_genre", 1, 0, "Dream Pop"},
      {"velox_val_genre", 2, 0, "Shoegaze"},
      {"velox_val_mood", 1, 0, ""},
      {"velox_val_genre", 0, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},
      {"velox_val_genre", 3, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},
      {"velox_val_tui", 1, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},
      {"velox_xyz_genre", 1, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},  // length and last bytes of a key that is there
      {"genre", 1, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},
      {"", 1, VELOX_STANDIN_ERR_NOT_FOUND, "untouched"},
      {nullptr, 1, VELOX_STANDIN_ERR_INVALID_ARG, "untouched"},
  };
  for (const auto& row : rows) {
    const char* value = "untouched";
    EXPECT_EQ(mdos->mdo_value_get(track, row.key, row.ordinal, &value), row.status) << row.key;
    EXPECT_STREQ(value, row.value) << row.key << row.ordinal;
  }
  const char* context = nullptr;
  EXPECT_EQ(mdos->mdo_get_context(track, &context), 0u);
  EXPECT_STREQ(context, "velox_ctx_track");
  velox_standin_mdo_release(track);
}

TEST_F(Mdo, TextsStayWhereTheyAreWhileItGrows) {
  const velox_mdo_handle object = make_mdo("");
  std::vector<const char*> given;
  const auto key_of = [](size_t at) { return "key" + std::to_string(at % 40); };
  for (size_t at = 0; at < 40 * 33; ++at) {
    const std::string key = key_of(at);
    ASSERT_EQ(velox_standin_mdo_value_add(object, key.c_str(), std::to_string(at).c_str()), 0u);
    given.push_back(velox_standin_mdo_value(object, key.c_str(), static_cast<uint32_t>(at / 40 + 1)));
  }
  for (size_t at = 0; at < given.size(); ++at) {
    const char* value = velox_standin_mdo_value(object, key_of(at).c_str(), static_cast<uint32_t>(at / 40 + 1));
    EXPECT_EQ(value, given[at]);
    EXPECT_EQ(value, std::to_string(at));
  }
  velox_standin_mdo_release(object);
}

TEST_F(Mdo, ParentKeepsItsChildren) {
  const velox_mdo_handle album = make_mdo("velox_ctx_album");
  for (const char* title : {"one", "two"}) {
    const velox_mdo_handle track = make_mdo();
    velox_standin_mdo_value_add(track, "velox_val_title", title);
    EXPECT_EQ(velox_standin_mdo_child_add(album, "velox_ctx_track!", track), 0u);
    velox_standin_mdo_release(track);
  }
  uint32_t count = 7;
  EXPECT_EQ(mdos->mdo_child_count(album, "velox_ctx_track!", &count), 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(mdos->mdo_child_count(album, "velox_ctx_artist!", &count), 0u);
  EXPECT_EQ(count, 0u);

  velox_mdo_handle child = album;
  EXPECT_EQ(mdos->mdo_child_get(album, "velox_ctx_track!", 3, 0, &child), VELOX_STANDIN_ERR_NOT_FOUND);
  EXPECT_EQ(child, album);
  ASSERT_EQ(mdos->mdo_child_get(album, "velox_ctx_track!", 2, 0, &child), 0u);
  const char* title = velox_standin_mdo_value(child, "velox_val_title", 1);
  mdos->mdo_release(child);
  EXPECT_STREQ(title, "two") << "the parent still holds the child";

  ASSERT_EQ(mdos->mdo_child_get(album, "velox_ctx_track!", 1, 0, &child), 0u);
  mdos->mdo_release(album);
  EXPECT_STREQ(velox_standin_mdo_value(child, "velox_val_title", 1), "one");
  mdos->mdo_release(child);
}

TEST_F(Mdo, TakesNothingMoreOnceItIsAChild) {
  const velox_mdo_handle inner = make_mdo(), outer = make_mdo();
  EXPECT_EQ(velox_standin_mdo_child_add(inner, "k", inner), VELOX_STANDIN_ERR_INVALID_ARG);
  ASSERT_EQ(velox_standin_mdo_child_add(outer, "k", inner), 0u);
  EXPECT_EQ(velox_standin_mdo_child_add(inner, "k", outer), VELOX_STANDIN_ERR_IN_USE) << "a ring would never be freed";
  EXPECT_EQ(velox_standin_mdo_value_add(inner, "k", "v"), VELOX_STANDIN_ERR_IN_USE);
  velox_standin_mdo_release(inner);
  velox_standin_mdo_release(outer);
}

TEST_F(Mdo, LongChainIsFreedWithoutRecursion) {
  velox_mdo_handle outermost = make_mdo("");
  for (int depth = 0; depth < 100000; ++depth) {
    const velox_mdo_handle outer = make_mdo("");
    ASSERT_EQ(velox_standin_mdo_child_add(outer, "k", outermost), 0u);
    velox_standin_mdo_release(outermost);
    outermost = outer;
  }
  velox_standin_mdo_release(outermost);
}

TEST_F(Mdo, ListElements) {
  velox_list_element_handle element = nullptr;
  ASSERT_EQ(velox_standin_list_element_create(VELOX_LIST_ERAS, -3, "1990s", &element), 0u);
  const char* type = nullptr;
  int32_t id = 0;
  EXPECT_EQ(lists->list_element_get_type(element, &type), 0u);
  EXPECT_EQ(lists->list_element_get_id(element, &id), 0u);
  EXPECT_STREQ(type, "velox_list_type_eras");
  EXPECT_EQ(id, -3);
  EXPECT_EQ(velox_standin_list_element_addref(element), 0u);
  velox_standin_list_element_release(element);
  EXPECT_STREQ(velox_standin_list_element_name(element), "1990s");
  velox_standin_list_element_release(element);
}
