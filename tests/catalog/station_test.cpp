// Stations of the catalogue, asked for through the service: what steers them, what is kept, and the rules that they keep.
#include <sys/wait.h>
#include <unistd.h>
#include <velox/velox_cadenz.h>

#include <algorithm>
#include <map>
#include <set>
#include <thread>

#include "catalogue.h"

namespace {

constexpr char DMCA[] = VELOX_CADENZ_OPTION_STATION_DMCA;
constexpr char COUNT[] = VELOX_CADENZ_OPTION_RETURN_COUNT;

struct Track {
  Item object;
  std::string title, artist, album;
};
using Tracks = std::vector<Track>;

class Stations : public Catalogue {
 protected:
  void SetUp() override {
    Catalogue::SetUp();
    ASSERT_EQ(velox_cadenz_initialize(record), 0u);
    ASSERT_EQ(velox_standin_user_create("listener", &user), 0u);
    velox_catalog_default_set(url.c_str());
  }
  void TearDown() override {
    last_playlist.reset();
    EXPECT_EQ(velox_cadenz_station_release(station), 0u);
    velox_standin_user_release(user);
    EXPECT_EQ(velox_cadenz_shutdown(), 0u);
    velox_catalog_default_set(nullptr);
    Catalogue::TearDown();
  }
  /** Ten artists with two albums of five tracks each in each of the genres; popularity rises with the artist. */
  void fill(const std::vector<std::string>& genres, int artists = 10) {
    std::string text = "title\tartist\talbum\tgenre\tpopularity\tdate\n";
    for (const std::string& genre : genres) {
      for (int i = 0; i < artists * 10; ++i)
        text += genre + " song " + std::to_string(i) + "\t" + genre + " artist " + std::to_string(i / 10) + "\t" +
                genre + " album " + std::to_string(i / 5) + "\t" + genre + "\t" + std::to_string(i * 99 / artists) +
                "\t1990\n";
    }
    scan(write("music.tsv", text));
  }
  void start(const std::string& seed, const std::vector<std::pair<const char*, const char*>>& options = {},
             pask_status expected = 0) {
    velox_cadenz_query_handle query = nullptr;
    ASSERT_EQ(velox_cadenz_query_create(user, nullptr, nullptr, &query), 0u);
    for (const auto& [key, value] : options) EXPECT_EQ(velox_cadenz_query_option_set(query, key, value), 0u);
    if (!seed.empty()) {
      const Item found = search(seed, VELOX_CATALOG_TRACKS | VELOX_CATALOG_ARTISTS).at(0);
      EXPECT_EQ(velox_cadenz_query_set_mdo(query, found.held.get()), 0u);
    }
    EXPECT_EQ(velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, &station), expected);
    velox_cadenz_query_release(query);
    if (expected != 0) return;
    const char* text = nullptr;
    EXPECT_EQ(velox_cadenz_station_id(station, &text), 0u);
    id = text;
  }
  void reopen(pask_status expected = 0) {
    velox_cadenz_station_release(std::exchange(station, nullptr));
    EXPECT_EQ(velox_cadenz_station_lookup(id.c_str(), user, nullptr, nullptr, &station), expected) << message();
  }
  void tell(uint32_t event, const Track& track) {
    velox_mdo_handle subject = track.object.held.get();
    if (event >= VELOX_CADENZ_EVENT_ARTIST_LIKE) subject = velox_standin_mdo_child(subject, "velox_ctx_artist!", 1);
    EXPECT_EQ(velox_cadenz_station_event(station, event, subject), 0u);
  }
  Tracks play(pask_status expected = 0) {
    velox_mdo_handle playlist = nullptr;
    EXPECT_EQ(velox_cadenz_station_generate_playlist(station, &playlist), expected) << message();
    Tracks tracks;
    for (uint32_t i = 1; velox_mdo_handle album = velox_standin_mdo_child(playlist, "velox_ctx_album!", i); ++i) {
      for (uint32_t j = 1; velox_mdo_handle track = velox_standin_mdo_child(album, "velox_ctx_track!", j); ++j) {
        const Item item(track);
        EXPECT_NE(item.at(VELOX_VAL_REASON), "");
        tracks.push_back({item, item.title(), item.artist(), item.at(VELOX_VAL_ALBUM)});
      }
    }
    if (playlist) last_playlist = Item(playlist);
    velox_standin_mdo_release(playlist);
    return tracks;
  }
  /** Hears all of a playlist, and gives the next one. */
  Tracks hear(const Tracks& tracks) {
    for (const Track& each : tracks) tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, each);
    return play();
  }
  static double share(const Tracks& tracks, const std::string& beginning) {
    const auto hits = std::count_if(tracks.begin(), tracks.end(),
                                    [&](const Track& each) { return each.artist.rfind(beginning, 0) == 0; });
    return tracks.empty() ? 0 : static_cast<double>(hits) / static_cast<double>(tracks.size());
  }
  static std::string titles(const Tracks& tracks) {
    std::string all;
    for (const Track& each : tracks) all += each.title + "|";
    return all;
  }
  /** "played skipped liked disliked" of the only station. */
  std::string sums() {
    std::string told;
    EXPECT_EQ(velox_catalog_stations(
                  catalog,
                  [](void* to, const velox_catalog_station* each) {
                    for (const uint64_t number : {each->played, each->skipped, each->liked, each->disliked})
                      *static_cast<std::string*>(to) += std::to_string(number) + " ";
                    return 0;
                  },
                  &told),
              0u);
    return told;
  }

  velox_user_handle user = nullptr;
  velox_cadenz_station_handle station = nullptr;
  std::string id;
  std::optional<Item> last_playlist;
};

TEST_F(Stations, GoOnWhereTheyWere) {
  fill({"Dub", "Folk"});
  start("dub artist 3", {{COUNT, "5"}});
  const Tracks first = play();
  ASSERT_EQ(first.size(), 5u);
  EXPECT_GT(share(first, "Dub"), 0.9);
  EXPECT_EQ(titles(play()), titles(first));
  reopen();
  EXPECT_EQ(titles(play()), titles(first)) << "settings are kept too";

  std::set<std::string> heard;
  Tracks next = first;
  for (int i = 0; i < 8; ++i) {
    for (const Track& each : next)
      EXPECT_TRUE(heard.insert(each.title).second) << each.title << " comes again too soon";
    next = hear(next);
    if (i % 3 == 0) reopen();
    next = play();
  }
  EXPECT_EQ(sums(), "40 0 0 0 ");
}

TEST_F(Stations, SpreadArtistsHoweverShortThePlaylist) {
  fill({"Dub"});
  start("dub artist 3", {{COUNT, "10"}});
  std::map<std::string, int> of_artist;
  for (const Track& each : play()) EXPECT_LE(++of_artist[each.artist], 2) << "of ten";
  velox_cadenz_station_option_set(station, COUNT, "1");
  Tracks last = play();
  for (int i = 0; i < 20; ++i) {
    const Tracks next = hear({last.back()});
    ASSERT_EQ(next.size(), 1u);
    EXPECT_NE(next[0].artist, last.back().artist) << i;
    last = next;
  }
}

TEST_F(Stations, NeighboursOfOneAlbumShareIt) {
  fill({"Dub"}, 1);  // one artist with two albums
  start("dub artist 0");
  const Tracks tracks = play();
  EXPECT_LT(velox_standin_mdo_child_count(last_playlist->held.get(), VELOX_CHILD_ALBUM), tracks.size());
}

TEST_F(Stations, AreSteeredByEvents) {
  fill({"Dub", "Folk", "Jazz"});
  start("dub artist 3", {{COUNT, "10"}});
  Tracks tracks = play();
  const Track banned = tracks[0], banned_artist = tracks[1];
  const double folk_before = share(tracks, "Folk");
  tell(VELOX_CADENZ_EVENT_TRACK_DISLIKE, banned);
  tell(VELOX_CADENZ_EVENT_ARTIST_DISLIKE, banned_artist);
  for (const char* liked : {"folk song 7", "folk song 44"}) {
    const Item song = search(liked).at(0);
    EXPECT_EQ(velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_LIKE, song.held.get()), 0u);
  }
  tracks = play();
  EXPECT_GT(share(tracks, "Folk"), folk_before + 0.2) << "what is like a liked track draws nearer";
  EXPECT_TRUE(std::any_of(tracks.begin(), tracks.end(), [](const Track& each) {
    return each.object.at(VELOX_VAL_REASON).find("(liked)") != std::string::npos;
  })) << "and says so";
  reopen();
  for (int i = 0; i < 40; ++i) {
    for (const Track& each : tracks) {
      EXPECT_NE(each.title, banned.title);
      EXPECT_NE(each.artist, banned_artist.artist);
    }
    if (i == 20) scan(path("music.tsv"));
    tracks = hear(tracks);
  }
  EXPECT_EQ(sums().substr(sums().find(' ')), " 0 2 2 ");
  tell(VELOX_CADENZ_EVENT_TRACK_LIKE, banned);
  tracks = play();
  EXPECT_EQ(query("SELECT count(*) FROM station_verdict WHERE banned=1"), 1) << "a like takes a dislike back";
}

TEST_F(Stations, KeepTheRuleOfInternetRadio) {
  fill({"Dub", "Folk"}, 7);
  start("", {{DMCA, "yes"}});
  std::map<std::string, int> artists, albums;
  Tracks all, tracks = play();
  for (std::string before; titles(tracks) != before; tracks = hear(tracks)) {
    before = titles(tracks);
    all.insert(all.end(), tracks.begin(), tracks.end());
  }  // until nothing is left, and the earlier playlist stays
  for (const Track& each : all) {
    EXPECT_LE(++artists[each.artist], 4);
    EXPECT_LE(++albums[each.album], 3);
  }
  EXPECT_EQ(all.size(), 56u) << "fourteen artists with four tracks each";
  reopen(CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(query("UPDATE station_event SET time=time-10800-1 RETURNING 1"), 1);
  reopen();
  EXPECT_EQ(play().size(), 25u) << "three hours later";
}

TEST_F(Stations, SettingsAreToldAndFocusShows) {
  fill({"Dub"}, 30);
  start("dub artist 3", {{VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "0100"}});
  const auto mean = [](const Tracks& tracks) {
    double sum = 0;
    for (const Track& each : tracks) sum += each.object.number(VELOX_VAL_POPULARITY);
    return sum / static_cast<double>(tracks.size());
  };
  const double low = mean(play());
  EXPECT_EQ(last_playlist->at("_sdkmgr_val_cadenz_option_focus_popularity"), "0100") << "as it was given";
  velox_cadenz_station_option_set(station, VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "900");
  EXPECT_GT(mean(play()), low + 200);
  velox_cadenz_station_option_set(station, DMCA, "1");
  play();
  reopen();
  play();
  EXPECT_EQ(last_playlist->at("_sdkmgr_val_cadenz_option_focus_popularity") +
                last_playlist->at("_sdkmgr_val_cadenz_option_dmca"),
            "9001");
}

TEST_F(Stations, RefuseWhatTheyDontKnowAndTakeAllEventsOrNone) {
  start("", {}, CADENZ_ERR_NOT_FOUND);
  EXPECT_EQ(query("SELECT count(*) FROM station"), 0) << "nothing to play makes no station";
  fill({"Dub"});
  for (const char* wrong : {"no such station", "vcs-", "' OR 1=1 --"}) {
    id = wrong;
    reopen(CADENZ_ERR_NOT_FOUND);
  }
  start("dub artist 3");
  const Tracks tracks = play();
  velox_mdo_handle nameless = nullptr;
  velox_standin_mdo_create("velox_ctx_track", &nameless);
  velox_standin_mdo_value_add(nameless, "velox_val_tui", "");
  velox_standin_mdo_value_add(nameless, "velox_val_tui_tag", "1");
  tell(VELOX_CADENZ_EVENT_TRACK_PLAYED, tracks[0]);
  EXPECT_EQ(velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_PLAYED, nameless), 0u);
  velox_standin_mdo_release(nameless);
  play(0x90b50001u);
  EXPECT_EQ(sums(), "0 0 0 0 ");

  EXPECT_EQ(velox_catalog_station_rename(catalog, id.c_str(), " \n"), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(velox_catalog_station_rename(catalog, id.c_str(), "Mine\x1b[31m"), 0u);
  EXPECT_EQ(query("SELECT count(*) FROM station WHERE name='Mine'"), 1);
  EXPECT_EQ(velox_catalog_station_rename(catalog, "other", "x"), VELOX_STANDIN_ERR_NOT_FOUND);
  tell(VELOX_CADENZ_EVENT_TRACK_LIKE, tracks[0]);
  play();
  EXPECT_EQ(velox_catalog_station_remove(catalog, id.c_str()), 0u);
  for (const char* table : {"station_event", "station_verdict", "station_datum", "station_setting"})
    EXPECT_EQ(query(("SELECT count(*) FROM " + std::string(table)).c_str()), 0) << table;
  tell(VELOX_CADENZ_EVENT_TRACK_LIKE, tracks[0]);
  play();  // the service has no such station: its playlist stays
  reopen(CADENZ_ERR_NOT_FOUND);
}

TEST_F(Stations, SeveralProcessesLoseNoEvent) {
  fill({"Dub"});
  start("dub artist 3", {{COUNT, "5"}});
  const Tracks tracks = play();
  constexpr int k_threads = 4, k_rounds = 10;
  const auto listen = [&] {
    velox_cadenz_station_handle mine = nullptr;
    EXPECT_EQ(velox_cadenz_station_lookup(id.c_str(), user, nullptr, nullptr, &mine), 0u);
    for (int i = 0; i < k_rounds; ++i) {
      EXPECT_EQ(velox_cadenz_station_event(mine, VELOX_CADENZ_EVENT_TRACK_PLAYED, tracks[0].object.held.get()), 0u);
      velox_mdo_handle playlist = nullptr;
      EXPECT_EQ(velox_cadenz_station_generate_playlist(mine, &playlist), 0u);
      velox_standin_mdo_release(playlist);
    }
    velox_cadenz_station_release(mine);
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < k_threads; ++i) threads.emplace_back(listen);  // each has a connection of its own
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(sums(), std::to_string(k_threads * k_rounds) + " 0 0 0 ");
}

TEST_F(Stations, AnOlderCatalogueIsBroughtUp) {
  fill({"Dub"});
  close();
  for (const char* sql :
       {"DROP TABLE station", "DROP TABLE station_event", "DROP TABLE station_datum", "DROP TABLE station_setting",
        "DROP TABLE station_verdict", "DROP TABLE duplicate", "DROP TABLE sound", "DROP TABLE sound_record",
        "DROP TABLE sound_list", "DROP TABLE sound_gone", "DROP INDEX artist_by_name", "DROP INDEX album_by_title",
        "DROP TABLE place", "DROP TABLE chart",
        "DELETE FROM total WHERE name IN ('sounds', 'settled', 'settled_last', 'shortest')", "DROP INDEX track_digest",
        "ALTER TABLE track DROP COLUMN digest", "PRAGMA user_version=1"})
    query(sql);
  start("", {{VELOX_QUERYOPT_SERVICE_URL, url.c_str()}});  // by the first that reads it
  EXPECT_EQ(query("SELECT count(*) FROM station"), 1);
  EXPECT_EQ(query("PRAGMA user_version"), 6);
  open();
  expect_sound();
  EXPECT_EQ(counts().tracks, 100u);
}

TEST_F(Stations, ADamagedCatalogueGivesAMessage) {
  const struct {
    const char *damage, *repair;
    bool in_history; /* or in the next playlist */
  } rows[] = {
      {"UPDATE attribute SET kind=5 WHERE kind=3", "UPDATE attribute SET kind=3 WHERE kind=5", false},
      {"UPDATE attribute SET kind=-1 WHERE kind=1", "UPDATE attribute SET kind=1 WHERE kind=-1", false},
      {"UPDATE attribute_level SET level=level+9", "UPDATE attribute_level SET level=level-9", false},
      {"UPDATE attribute_level SET tracks=tracks-9223372036854775807",
       "UPDATE attribute_level SET tracks=tracks+9223372036854775807", false},
      {"UPDATE track SET attrs='1 x'", "UPDATE track SET attrs='1 2'", false},
      {"UPDATE track SET attrs='99999999999999999999'", "UPDATE track SET attrs='1 2'", false},
      {"UPDATE track SET popularity=popularity+100000", "UPDATE track SET popularity=popularity-100000", false},
      {"UPDATE track SET year=-2147483649", "UPDATE track SET year=1990", false},
      {"UPDATE station_event SET kind=7", "UPDATE station_event SET kind=3", true},
      {"UPDATE station_event SET kind=7, time=0", "UPDATE station_event SET kind=3", false},
      {"UPDATE station SET played=9223372036854775807", "UPDATE station SET played=0", false},
  };
  fill({"Dub"});
  start("dub artist 3");
  tell(VELOX_CADENZ_EVENT_TRACK_LIKE, play().front());
  play();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.damage);
    query(row.damage);
    if (row.in_history) {
      const auto any = [](void*, const velox_catalog_station_event*) { return 0; };
      EXPECT_EQ(velox_catalog_station_history(catalog, id.c_str(), any, nullptr), VELOX_STANDIN_ERR_CATALOG);
    } else {
      reopen(0x90b50000u | (VELOX_STANDIN_ERR_CATALOG & 0xffff));
    }
    EXPECT_NE(message().find("is damaged"), std::string::npos) << message();
    query(row.repair);
    reopen();
    EXPECT_FALSE(play().empty());
  }
}

TEST_F(Stations, AReaderStaysOne) {
  fill({"Dub"});
  velox_catalog_handle reader = nullptr;
  ASSERT_EQ(velox_catalog_open(url.c_str(), VELOX_CATALOG_READ, &reader), 0u);
  start("dub artist 3");
  velox_catalog_scan_report report = {};
  EXPECT_EQ(velox_catalog_scan(reader, path("music.tsv").c_str(), nullptr, &report), VELOX_STANDIN_ERR_INVALID_ARG);
  EXPECT_EQ(velox_catalog_station_remove(reader, id.c_str()), VELOX_STANDIN_ERR_INVALID_ARG);
  velox_catalog_close(reader);
  reopen();
}

}  // namespace
