/* A station of music that goes with the first find for a text, or one that is gone on with by its identifier. The listener likes
 * the first track and bans the second one's artist; what comes then follows it: radio CATALOG TEXT | radio CATALOG --station ID
 *   cc radio.c $(pkg-config --cflags --libs velox_cadenz) */
#include <stdio.h>
#include <string.h>
#include <velox/velox_cadenz.h>
#include <velox/velox_catalog.h>

struct seeding {
  velox_cadenz_query_handle query;
  pask_status status; /* not found, until something is */
};

static int add_seed(void* context, velox_mdo_handle found) {
  struct seeding* seeds = context;
  seeds->status = velox_cadenz_query_set_mdo(seeds->query, found);
  return seeds->status != 0;
}

/* A new station: the query serves for making it only. */
static pask_status make(const char* url, const char* text, velox_user_handle user,
                        velox_cadenz_station_handle* station) {
  velox_catalog_handle catalog = NULL;
  struct seeding seeds = {NULL, VELOX_STANDIN_ERR_NOT_FOUND};
  pask_status status = velox_cadenz_query_create(user, NULL, NULL, &seeds.query);
  if (!status) status = velox_cadenz_query_option_set(seeds.query, VELOX_CADENZ_OPTION_STATION_DMCA, "true");
  if (!status) status = velox_catalog_open(url, VELOX_CATALOG_READ, &catalog);
  if (!status) status = velox_catalog_search(catalog, text, VELOX_CATALOG_ARTISTS, 1, add_seed, &seeds);
  if (!status) status = seeds.status;
  if (!status) status = velox_cadenz_query_generate_station(seeds.query, NULL, NULL, NULL, station);
  velox_catalog_close(catalog);
  velox_cadenz_query_release(seeds.query);
  return status;
}

/* Track number `wanted` of a playlist, from 1, which belongs to the playlist; null behind the last one. */
static velox_mdo_handle track_of(velox_mdo_handle playlist, uint32_t wanted) {
  velox_mdo_handle album = NULL;
  for (uint32_t i = 1; (album = velox_standin_mdo_child(playlist, "velox_ctx_album!", i)); ++i) {
    const uint32_t tracks = velox_standin_mdo_child_count(album, "velox_ctx_track!");
    if (wanted <= tracks) return velox_standin_mdo_child(album, "velox_ctx_track!", wanted);
    wanted -= tracks;
  }
  return NULL;
}

/* Reports what was recorded, and shows the playlist that the station then has. */
static pask_status draw(velox_cadenz_station_handle station, velox_mdo_handle* playlist) {
  velox_mdo_handle drawn = NULL, track = NULL;
  const pask_status status = velox_cadenz_station_generate_playlist(station, &drawn);
  if (status) return status;
  velox_standin_mdo_release(*playlist);
  *playlist = drawn;
  for (uint32_t i = 1; (track = track_of(drawn, i)); ++i)
    printf("%2u  %s - %s\n", (unsigned)i, velox_standin_mdo_value(track, VELOX_VAL_ARTIST, 1),
           velox_standin_mdo_value(track, VELOX_VAL_TITLE, 1));
  return 0;
}

int main(int argc, char** argv) {
  const velox_manager_record* manager = NULL;
  velox_user_handle user = NULL;
  velox_cadenz_station_handle station = NULL;
  velox_mdo_handle playlist = NULL;
  const char* id = NULL;
  char url[4096];

  const int reopen = argc == 4 && strcmp(argv[2], "--station") == 0;
  if (argc != 3 && !reopen) return 2;
  snprintf(url, sizeof url, "sqlite:%s", argv[1]);
  pask_status status = velox_standin_start(&manager);
  if (!status) status = velox_cadenz_initialize(manager);
  if (!status) status = velox_standin_user_create("listener", &user);
  if (!status) status = velox_catalog_default_set(url);
  if (!status)
    status =
        reopen ? velox_cadenz_station_lookup(argv[3], user, NULL, NULL, &station) : make(url, argv[2], user, &station);
  if (!status) status = velox_cadenz_station_id(station, &id);
  if (!status) printf("station %s\n", id);
  if (!status) status = draw(station, &playlist);

  if (!status) status = velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_LIKE, track_of(playlist, 1));
  if (!status)
    status = velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_ARTIST_DISLIKE,
                                        velox_standin_mdo_child(track_of(playlist, 2), "velox_ctx_artist!", 1));
  if (!status) printf("the first one liked, the artist of the second one banned:\n");
  if (!status) status = draw(station, &playlist);
  if (status) fprintf(stderr, "failed with 0x%08x\n", (unsigned)status);

  velox_standin_mdo_release(playlist);
  velox_cadenz_station_release(station);
  velox_standin_user_release(user);
  velox_cadenz_shutdown();
  velox_standin_stop();
  return status ? 1 : 0;
}
