/* Recommends tracks that go with the first find for a text: recommend CATALOG TEXT
 *   cc recommend.c $(pkg-config --cflags --libs velox_cadenz) */
#include <stdio.h>
#include <velox/velox_cadenz.h>
#include <velox/velox_catalog.h>

static int add_seed(void* query, velox_mdo_handle found) {
  return (int)velox_cadenz_query_set_mdo((velox_cadenz_query_handle)query, found);
}

int main(int argc, char** argv) {
  const velox_manager_record* manager = NULL;
  velox_user_handle user = NULL;
  velox_cadenz_query_handle query = NULL;
  velox_catalog_handle catalog = NULL;
  velox_mdo_handle answer = NULL, track = NULL;
  char url[4096];

  if (argc != 3) return 2;
  snprintf(url, sizeof url, "sqlite:%s", argv[1]);
  pask_status status = velox_standin_start(&manager);
  if (!status) status = velox_cadenz_initialize(manager);
  if (!status) status = velox_standin_user_create("listener", &user);
  if (!status) status = velox_cadenz_query_create(user, NULL, NULL, &query);
  if (!status) status = velox_cadenz_query_option_set(query, VELOX_QUERYOPT_SERVICE_URL, url);
  if (!status) status = velox_catalog_open(url, VELOX_CATALOG_READ, &catalog);
  if (!status) status = velox_catalog_search(catalog, argv[2], VELOX_CATALOG_ARTISTS, 1, add_seed, query);
  if (!status) status = velox_cadenz_query_generate_recommendations(query, NULL, &answer);
  for (uint32_t i = 1; !status && (track = velox_standin_mdo_child(answer, "velox_ctx_track!", i)); ++i)
    printf("%s - %s: %s\n", velox_standin_mdo_value(track, VELOX_VAL_ARTIST, 1),
           velox_standin_mdo_value(track, VELOX_VAL_TITLE, 1), velox_standin_mdo_value(track, VELOX_VAL_REASON, 1));
  if (status) fprintf(stderr, "failed with 0x%08x\n", (unsigned)status);

  velox_standin_mdo_release(answer);
  velox_catalog_close(catalog);
  velox_cadenz_query_release(query);
  velox_standin_user_release(user);
  velox_cadenz_shutdown();
  velox_standin_stop();
  return status ? 1 : 0;
}
