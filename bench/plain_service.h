// What the service's queries do, as plain C++ would do it over the same tables: strings in maps by any case, a vector of seeds, a
// recursive mutex. The calls to the manager and their order are those of the library.
#pragma once

#include <strings.h>
#include <velox/velox_options.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "null_manager.h"

namespace plain {

struct any_case {
  bool operator()(const std::string& a, const std::string& b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};

inline constexpr velox_option all_options[] = {VELOX_OPTIONS(VELOX_OPTION_RECORD)};

class query {
 public:
  explicit query(velox_user_handle user) : user_(user) {
    null_manager::g_handles.handle_validate_user(user);
    null_manager::g_users.user_addref(user);
    null_manager::g_handles.handle_add(&null_manager::g_object, this, 0xf6fff666, [](void*) {});
    done("create");
  }
  ~query() {
    null_manager::g_handles.handle_validate(this, 0xf6fff666);
    null_manager::g_handles.handle_release(this);
    null_manager::g_users.user_release(user_);
    for (velox_mdo_handle seed : seeds_) null_manager::g_mdos.mdo_release(seed);
    done("release");
  }

  bool set(const char* key, const char* value) {
    null_manager::g_handles.handle_validate(this, 0xf6fff666);
    const std::lock_guard held(lock_);
    for (const velox_option& one : all_options) {
      if (!one.key || strcasecmp(one.key, key) != 0 || !(one.owners & VELOX_OPTION_OF_QUERY)) continue;
      options_[key] = value;
      return done("option_set");
    }
    return false;
  }

  bool add(velox_mdo_handle seed) {
    null_manager::g_handles.handle_validate(this, 0xf6fff666);
    const std::lock_guard held(lock_);
    null_manager::g_mdos.mdo_addref(seed);
    seeds_.push_back(seed);
    return done("set_mdo");
  }

  velox_mdo_handle recommend() {
    null_manager::g_handles.handle_validate(this, 0xf6fff666);
    const std::lock_guard held(lock_);
    std::vector<velox_mdo_handle> kept;
    for (velox_mdo_handle seed : seeds_) {
      null_manager::g_mdos.mdo_addref(seed);
      if (identified(seed)) kept.push_back(seed);
    }
    for (velox_mdo_handle seed : seeds_) null_manager::g_mdos.mdo_release(seed);
    seeds_ = std::move(kept);

    velox_lookup_interface& lookups = null_manager::g_lookups;
    velox_lookup_handle lookup = nullptr;
    lookups.lookup_create(&lookups, nullptr, this, &lookup);
    lookups.lookup_add_request(lookup, VELOX_LOOKUP_TYPE_RECOMMEND, "cadenzreq1", "radio", 1);
    for (const velox_option& one : all_options) send(lookup, one);
    uint32_t ordinal = 0;
    for (velox_mdo_handle seed : seeds_) send(lookup, seed, ++ordinal);
    velox_mdo_handle answer = nullptr;
    lookups.lookup_execute(lookup, user_, nullptr);
    lookups.lookup_get_result(lookup, "cadenzreq1", &answer);
    lookups.lookup_release(lookup);
    done("recommend");
    return answer;
  }

 private:
  static bool done(const char* operation) {
    return null_manager::g_errorinfo.errorinfo_set(0, 0, operation, nullptr) == 0;
  }
  static std::string context_of(velox_mdo_handle mdo) {
    const char* context = nullptr;
    null_manager::g_mdos.mdo_get_context(mdo, &context);
    return context;
  }
  static const char* value(velox_mdo_handle mdo, const char* key) {
    const char* text = nullptr;
    return null_manager::g_mdos.mdo_value_get(mdo, key, 1, &text) == 0 ? text : nullptr;
  }
  static bool identified(velox_mdo_handle seed) {
    return context_of(seed) == VELOX_CTX_TRACK && value(seed, VELOX_VAL_TUI) && value(seed, VELOX_VAL_TUI_TAG);
  }

  void send(velox_lookup_handle lookup, const velox_option& one) {
    const uint8_t kinds = VELOX_OPTION_FOR_LOOKUP | VELOX_OPTION_FOR_RECOMMEND;
    if (!one.key || !(one.requests & kinds)) return;
    const auto found = options_.find(one.key);
    if (found == options_.end()) return;
    const std::string& text = found->second;
    const bool on = text == "1" || strcasecmp(text.c_str(), "true") == 0;
    if (one.form == VELOX_OPTION_FLAG && !on) return;
    const char* sent = one.form == VELOX_OPTION_FLAG       ? "1"
                       : one.form == VELOX_OPTION_ROTATION ? (on ? "RADIO" : "NONE")
                                                           : text.c_str();
    if (one.requests & VELOX_OPTION_FOR_LOOKUP)
      null_manager::g_lookups.lookup_option_set(lookup, one.request_key, sent);
    else
      null_manager::g_lookups.lookup_request_option_set(lookup, "cadenzreq1", one.request_key, sent);
  }

  // A track's own objects and values, as null_manager has them.
  static void send(velox_lookup_handle lookup, velox_mdo_handle seed, uint32_t ordinal) {
    velox_mdo_interface& mdos = null_manager::g_mdos;
    const std::string context = context_of(seed);
    velox_mdo_handle artist = nullptr;
    mdos.mdo_addref(seed);
    if (context == VELOX_CTX_TRACK) mdos.mdo_child_get(seed, VELOX_CHILD_ARTIST, 1, 0, &artist);
    if (!artist) mdos.mdo_child_get(seed, VELOX_CHILD_ARTIST, 1, 0, &artist);
    const struct {
      const char *key, *read, *text;
    } values[] = {{VELOX_LOOKUP_DATA_SEED_TUI, VELOX_VAL_TUI, value(seed, VELOX_VAL_TUI)},
                  {VELOX_LOOKUP_DATA_SEED_TUI_TAG, VELOX_VAL_TUI_TAG, value(seed, VELOX_VAL_TUI_TAG)},
                  {VELOX_LOOKUP_DATA_SEED_ARTIST_ID, VELOX_VAL_ARTIST_ID, value(seed, VELOX_VAL_ARTIST_ID)},
                  {VELOX_LOOKUP_DATA_SEED_GENRE, VELOX_VAL_GENRE_ID, value(seed, VELOX_VAL_GENRE_ID)},
                  {VELOX_LOOKUP_DATA_SEED_MOOD, VELOX_VAL_MOOD_ID, value(seed, VELOX_VAL_MOOD_ID)}};
    null_manager::g_lookups.lookup_add_data(lookup, "cadenzreq1", VELOX_LOOKUP_DATA_SEED, VELOX_LOOKUP_SEED_TRACK,
                                            ordinal);
    for (const auto& one : values)
      if (one.text) null_manager::g_lookups.lookup_add_data(lookup, "cadenzreq1", one.key, one.text, ordinal);
    mdos.mdo_release(seed);
    mdos.mdo_release(nullptr);
    mdos.mdo_release(nullptr);
  }

  velox_user_handle user_;
  std::recursive_mutex lock_;
  std::map<std::string, std::string, any_case> options_;
  std::vector<velox_mdo_handle> seeds_;
};

}  // namespace plain
