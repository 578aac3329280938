// A catalogue in a folder of its own, and the ways in which the tests fill it, look into it and ask it.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <velox/velox_catalog.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/** A found or recommended item. */
struct Item {
  explicit Item(velox_mdo_handle mdo) : held(mdo, velox_standin_mdo_release) { velox_standin_mdo_addref(mdo); }
  std::string at(const char* key) const {
    const char* value = velox_standin_mdo_value(held.get(), key, 1);
    return value ? value : "";
  }
  std::string title() const { return at(VELOX_VAL_TITLE); }
  std::string artist() const { return at(VELOX_VAL_ARTIST); }
  int number(const char* key) const { return std::atoi(at(key).c_str()); }

  std::shared_ptr<velox_mdo> held;
};

class Catalogue : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/velox_catalog_XXXXXX";
    folder = mkdtemp(name);
    url = "sqlite:" + path("catalogue.db");
    live_before = velox_standin_live_objects();
    ASSERT_EQ(velox_standin_start(&record), 0u);
    open();
  }
  void TearDown() override {
    close();
    EXPECT_EQ(velox_standin_stop(), 0u);
    EXPECT_EQ(velox_standin_live_objects(), live_before);
    std::filesystem::remove_all(folder);
  }
  void open() { ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_CREATE, &catalog), 0u) << message(); }
  void close() {
    velox_catalog_close(catalog);
    catalog = nullptr;
  }
  std::string path(const std::string& name) const { return folder + "/" + name; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }
  static std::string message() {
    velox_standin_error error = {};
    velox_standin_last_error(&error);
    return error.message ? error.message : "";
  }
  /** Scans and gives "seen added updated unchanged removed failed", with digests also "moved duplicates". */
  std::string scan(const std::string& what, pask_status expected = 0) {
    velox_catalog_scan_report report = {};
    problems.clear();
    const velox_catalog_scan_events events = {
        this,
        [](void* self, const char* where, const char* why) {
          static_cast<Catalogue*>(self)->problems.push_back(std::string(where) + ": " + why);
        },
        [](void* self, const velox_catalog_scan_report* so_far, const char*) {
          auto& each = static_cast<Catalogue*>(self)->on_step;
          return each ? each(*so_far) : 0;
        },
        digests ? digest : nullptr};
    EXPECT_EQ(velox_catalog_scan(catalog, what.c_str(), &events, &report), expected) << message();
    std::string told;
    for (const uint64_t count :
         {report.seen, report.added, report.updated, report.unchanged, report.removed, report.failed})
      told += (told.empty() ? "" : " ") + std::to_string(count);
    if (digests) told += " " + std::to_string(report.moved) + " " + std::to_string(report.duplicates);
    return told;
  }
  static int digest(void*, const char* path, uint8_t digest[16]) {
    std::ifstream file(path, std::ios::binary);
    const size_t value = std::hash<std::string>()(std::string(std::istreambuf_iterator<char>(file), {}));
    std::memset(digest, 0, 16);
    std::memcpy(digest, &value, sizeof value);
    return 0;
  }
  velox_catalog_counts counts() {
    velox_catalog_counts told = {};
    EXPECT_EQ(velox_catalog_count(catalog, &told), 0u) << message();
    return told;
  }
  std::vector<Item> search(const std::string& text, uint32_t kinds = VELOX_CATALOG_TRACKS, uint32_t limit = 50) {
    std::vector<Item> found;
    EXPECT_EQ(velox_catalog_search(
                  catalog, text.c_str(), kinds, limit,
                  [](void* to, velox_mdo_handle each) {
                    static_cast<std::vector<Item>*>(to)->emplace_back(each);
                    return 0;
                  },
                  &found),
              0u)
        << message();
    return found;
  }
  /** The first number that a query of the database's own gives. */
  int64_t query(const char* sql) const {
    sqlite3* db = nullptr;
    sqlite3_stmt* row = nullptr;
    sqlite3_open_v2(path("catalogue.db").c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(db, "PRAGMA ignore_check_constraints=1", nullptr, nullptr, nullptr);  // for damage
    EXPECT_EQ(sqlite3_prepare_v2(db, sql, -1, &row, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    const int64_t result = sqlite3_step(row) == SQLITE_ROW ? sqlite3_column_int64(row, 0) : -1;
    sqlite3_finalize(row);
    sqlite3_close(db);
    return result;
  }
  /** What is stored twice agrees, and nothing is left of what is gone. */
  void expect_sound() const {
    const char* const k_none_of[] = {
        "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check<>'ok'",
        "SELECT (SELECT count(*) FROM track) - amount FROM total WHERE name='tracks'",
        "SELECT (SELECT count(*) FROM album) - amount FROM total WHERE name='albums'",
        "SELECT (SELECT count(*) FROM artist) - amount FROM total WHERE name='artists'",
        "SELECT count(*) FROM artist WHERE tracks<>(SELECT count(*) FROM track WHERE artist_id=artist.id)",
        "SELECT count(*) FROM album WHERE tracks<>(SELECT count(*) FROM track WHERE album_id=album.id) OR tracks=0",
        ("SELECT count(*) FROM attribute_level l WHERE tracks<>(SELECT count(*) FROM track_attribute t WHERE "
         "t.attribute=l.attribute AND t.level=l.level)"),
        "SELECT (SELECT count(*) FROM track_attribute WHERE attribute=0) - (SELECT count(*) FROM track)",
        "SELECT count(*) FROM track_attribute WHERE track NOT IN (SELECT id FROM track)",
        ("SELECT count(*) FROM (SELECT ifnull(g.id, 0) AS leading, year/10*10 AS of, count(*) AS there FROM track LEFT "
         "JOIN "
         "attribute g ON g.id=CAST(attrs AS INTEGER) AND g.kind=1 GROUP BY 1, 2) FULL JOIN (SELECT * FROM chart WHERE "
         "tracks<>0) ON leading=genre AND of=decade WHERE there IS NOT tracks"),
    };
    for (const char* sql : k_none_of) EXPECT_EQ(query(sql), 0) << sql;
  }

  std::string folder, url;
  velox_catalog_handle catalog = nullptr;
  const velox_manager_record* record = nullptr;
  std::vector<std::string> problems;
  std::function<int(const velox_catalog_scan_report&)> on_step;
  bool digests = false;  // scan by content, not by path alone
  int64_t live_before = 0;
};
