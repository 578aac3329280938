// Every call that SQLite makes to the disk fails in its turn, under a scan, a search, a recommendation and a station's life. Whoever asked is told so,
// the file is whole afterwards, and the same question is answered through the same handles.
#include <velox/velox_cadenz.h>

#include <optional>

#include "catalogue.h"
#include "failing_disk.h"
#include "sweep.h"

namespace {

namespace fs = std::filesystem;
using failing_disk::fault;

constexpr char SONGS[] = "title\tartist\talbum\tgenre\tdate\n";

class FailingDisk : public Catalogue {
 protected:
  void SetUp() override {
    failing_disk::install();
    Catalogue::SetUp();
    std::string text = SONGS;
    for (int i = 0; i < 60; ++i)
      text += "Song " + std::to_string(i) + "\tSinger " + std::to_string(i / 6) + "\tAlbum\tDub\t1990\n";
    write("songs.tsv", text);
    scan(path("songs.tsv"));
    songs = search("song");
    close();
    fs::copy_file(path("catalogue.db"), path("filled.db"));
    ASSERT_EQ(velox_cadenz_initialize(record), 0u);
    ASSERT_EQ(velox_standin_user_create("listener", &user), 0u);
    velox_catalog_default_set(url.c_str());
  }
  void TearDown() override {
    songs.clear();
    velox_standin_user_release(user);
    EXPECT_EQ(velox_cadenz_shutdown(), 0u);
    velox_catalog_default_set(nullptr);
    Catalogue::TearDown();
  }
  /** The catalogue as it was when filled, or not there at all. */
  void restore(bool filled = true) {
    close();
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) fs::remove(path("catalogue.db") + ending);
    if (filled) fs::copy_file(path("filled.db"), path("catalogue.db"));
  }
  pask_status open_as(uint32_t mode) {
    if (catalog) return 0;
    const pask_status status = velox_catalog_open(url.c_str(), mode, &catalog);
    told = message();
    return status;
  }
  pask_status find(uint32_t* found) {
    *found = 0;
    const pask_status status = velox_catalog_search(
        catalog, "song", VELOX_CATALOG_TRACKS, 10,
        [](void* to, velox_mdo_handle) { return ++*static_cast<uint32_t*>(to), 0; }, found);
    told = message();
    return status;
  }
  pask_status take_in() {
    velox_catalog_scan_report report = {};
    const pask_status status = velox_catalog_scan(catalog, path("songs.tsv").c_str(), nullptr, &report);
    told = message();
    return status ? status : report.failed ? 1 : 0;
  }
  velox_cadenz_query_handle ask() {
    velox_cadenz_query_handle query = nullptr;
    EXPECT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
    EXPECT_EQ(velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_RETURN_COUNT, "5"), 0u);
    EXPECT_EQ(velox_cadenz_query_set_mdo(query, songs[0].held.get()), 0u);
    return query;
  }
  /** A station, and three playlists after an event each; gives the first failure, and goes on behind it. */
  pask_status listen() {
    acknowledged.clear();
    uint32_t failed = 0;
    const auto tried = [&](pask_status status) {
      if (status && !failed) told = message();
      failed = failed ? failed : status;
      return status == 0;
    };
    velox_cadenz_query_handle query = ask();
    velox_cadenz_station_handle station = nullptr;
    if (tried(velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, &station))) {
      for (size_t i = 1; i < 4; ++i) {
        velox_mdo_handle playlist = nullptr;
        EXPECT_EQ(velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_LIKE, songs[i].held.get()), 0u);
        if (tried(velox_cadenz_station_generate_playlist(station, &playlist))) {
          acknowledged.push_back(songs[i].at(VELOX_VAL_TUI));
        } else {
          EXPECT_EQ(playlist, nullptr) << "a failure touches its out-parameter";
        }
        velox_standin_mdo_release(playlist);
      }
    } else {
      EXPECT_EQ(station, nullptr) << "a failure touches its out-parameter";
    }
    EXPECT_EQ(velox_cadenz_station_release(station), 0u);
    velox_cadenz_query_release(query);
    return failed;
  }
  pask_status recommend() {
    velox_cadenz_query_handle query = ask();
    velox_mdo_handle answer = nullptr;
    const pask_status status = velox_cadenz_query_generate_recommendations(query, nullptr, &answer);
    told = message();
    EXPECT_EQ(!answer, status != 0) << "a failure touches its out-parameter";
    velox_standin_mdo_release(answer);
    velox_cadenz_query_release(query);
    return status;
  }
  void expect_told(pask_status status) const {
    EXPECT_EQ(velox_status_code(status), velox_status_code(VELOX_STANDIN_ERR_CATALOG)) << std::hex << status;
    EXPECT_NE(told.find(path("catalogue.db")), std::string::npos) << told;
    EXPECT_EQ(told.find("belongs to something else"), std::string::npos) << told;
  }
  /** Runs an operation while the disk fails; the same one must get through on the same handle afterwards. */
  void expect_survives(const char* name, std::function<void()> set_up, std::function<pask_status()> operation,
                       std::function<void()> afterwards) {
    for (const auto& [kind, kind_name] :
         {std::pair(fault::once, "a call fails"), {fault::on, "the disk fails"}, {fault::full, "the disk is full"}}) {
      int64_t objects = 0;
      const fault_source disk = {kind_name, [kind = kind](uint32_t n) { failing_disk::arm(kind, n); },
                                 failing_disk::disarm};
      const scenario each = {name, [&] { set_up(), objects = velox_standin_live_objects(); }, operation,
                             [&](uint32_t status, bool) {
                               if (status) expect_told(status);
                               EXPECT_EQ(velox_standin_live_objects(), objects);
                               afterwards();
                             }};
      sweep(each, disk);
    }
  }

  std::vector<Item> songs;
  std::vector<std::string> acknowledged;
  std::string told;  // the message of the operation's failure
  velox_user_handle user = nullptr;
};

TEST_F(FailingDisk, LeavesACatalogueThatIsMade) {
  expect_survives(
      "making", [&] { restore(false); }, [&] { return open_as(VELOX_CATALOG_CREATE); },
      [&] {
        EXPECT_EQ(open_as(VELOX_CATALOG_CREATE), 0u) << message();
        EXPECT_EQ(take_in(), 0u) << message();
        close();
        EXPECT_EQ(query("SELECT count(*) FROM pragma_journal_mode WHERE journal_mode='wal'"), 1)
            << "readers and writers would keep each other waiting";
        EXPECT_EQ(query("SELECT count(*) FROM track"), 60);
      });
}

TEST_F(FailingDisk, LeavesWhatIsScanned) {
  expect_survives(
      "scan",
      [&] {
        restore();
        write("songs.tsv",
              std::string(SONGS) + "Other\tSomebody\tAlbum\tFolk\t2001\nSong 1\tSinger 0\tAlbum\tDub\t1990\n");
        EXPECT_EQ(open_as(VELOX_CATALOG_CREATE), 0u);
      },
      [&] { return take_in(); },
      [&] {
        EXPECT_EQ(take_in(), 0u) << message();
        EXPECT_EQ(counts().tracks, 2u);
        expect_sound();
      });
}

TEST_F(FailingDisk, LeavesWhatIsFoundAndRecommended) {
  uint32_t found = 0;
  expect_survives(
      "search",
      [&] {
        restore();
        EXPECT_EQ(open_as(VELOX_CATALOG_READ), 0u);
      },
      [&] { return find(&found); }, [&] { EXPECT_TRUE(find(&found) == 0 && found == 10) << message(); });
  expect_survives(
      "recommendation", [&] { restore(); }, [&] { return recommend(); },
      [&] { EXPECT_EQ(recommend(), 0u) << message(); });
}

TEST_F(FailingDisk, LosesNoEventThatWasAcknowledgedAndKeepsNoneTwice) {
  expect_survives(
      "station", [&] { restore(); }, [&] { return listen(); },
      [&] {
        for (const std::string& subject : acknowledged)
          EXPECT_EQ(query(("SELECT count(*) FROM station_event WHERE subject='" + subject + "'").c_str()), 1);
        EXPECT_EQ(query("SELECT count(*) - count(DISTINCT subject) FROM station_event"), 0);
        EXPECT_EQ(listen(), 0u) << message();
        expect_sound();
      });
}

}  // namespace
