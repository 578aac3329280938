// What the stand-in's sources share: the tables, the guard at the C boundary, and how C++ code inside the manager builds
// metadata objects and installs the built-in provider.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "velox_standin.h"

namespace standin {

/** Runs the body of a C operation; what it throws becomes a status word. Nothing but want of memory throws here. */
template <class Body>
pask_status guarded(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return VELOX_STANDIN_ERR_NO_MEMORY;
  }
}

/** True for a text that stands for nothing: null or empty. */
inline bool missing(const char* text) { return !text || *text == '\0'; }

/** The interface tables, each in the source of its subject. They are only read. */
extern const velox_errorinfo_interface g_errorinfo_table;
extern const velox_handlemanager_interface g_handlemanager_table;
extern const velox_userinfo_interface g_userinfo_table;
extern const velox_lookup_interface g_lookup_table;
extern const velox_mdo_interface g_mdo_table;
extern const velox_listmanager_interface g_listmanager_table;
/** Tables are static: nothing to give back. */
pask_status interface_release(void* table);

// Clients and the registry of their objects (handles.cpp).
pask_status client_register(uint32_t package, const char* name, velox_client_shutdown_fn shutdown, uintptr_t zero,
                            velox_client_ref* client);
pask_status client_unregister(velox_client_ref client);
/** The manager's stop: deletes what is registered, newest first, while its clients are still up; then ends the clients. */
void clients_end();

int64_t registered_handles();
int64_t live_users();
int64_t live_mdos();
int64_t live_list_elements();
int64_t live_lookups();

// Users and objects (users.cpp, mdo.cpp).
bool user_alive(velox_user_handle user);
bool mdo_alive(velox_mdo_handle mdo);
/** No further value or child goes into the object from now on. */
void mdo_seal(velox_mdo_handle mdo);

/** A key or child key for the builder, measured by the compiler. */
struct key {
  const char* text;
  uint32_t length;
  uint32_t tail;  // the last four bytes: keys of one length mostly differ there

  constexpr explicit key(std::string_view name)
      : text(name.data()), length(static_cast<uint32_t>(name.size())), tail(tail_of(name)) {}
  template <size_t N>
  consteval key(const char (&literal)[N]) : key(std::string_view(literal, N - 1)) {}

  friend constexpr bool operator==(const key& a, const key& b) {
    return a.length == b.length && a.tail == b.tail &&
           (a.text == b.text || std::string_view(a.text, a.length) == std::string_view(b.text, b.length));
  }

 private:
  static constexpr uint32_t tail_of(std::string_view name) {
    uint32_t tail = 0;
    for (const char byte : name.substr(name.size() < 4 ? 0 : name.size() - 4))
      tail = tail << 8 | static_cast<unsigned char>(byte);
    return tail;
  }
};

/** A reference to a metadata object. */
class mdo_ref {
 public:
  mdo_ref() = default;
  /** Takes over a reference that the caller holds. */
  explicit mdo_ref(velox_mdo_handle held) : handle_(held) {}
  mdo_ref(mdo_ref&& other) noexcept : handle_(other.release()) {}
  mdo_ref& operator=(mdo_ref other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~mdo_ref() { velox_standin_mdo_release(handle_); }

  velox_mdo_handle get() const { return handle_; }
  velox_mdo_handle release() { return std::exchange(handle_, nullptr); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  velox_mdo_handle handle_ = nullptr;
};

struct mdo;

/** Builds one object from C++: context and keys are literals that aren't copied; values are. Throws std::bad_alloc. */
class mdo_builder {
 public:
  /** `bytes` estimates the room in the first allocation: some 50 for each value and child on top of its text. */
  template <size_t N>
  explicit mdo_builder(const char (&context)[N], size_t bytes = 256) : mdo_builder(bytes, context) {}
  mdo_builder(const mdo_builder&) = delete;
  mdo_builder& operator=(const mdo_builder&) = delete;
  ~mdo_builder();

  mdo_builder& value(const key& name, std::string_view text);
  mdo_builder& value(const key& name, int64_t number);
  /** The object takes a reference of its own. A dead handle is left out. */
  mdo_builder& child(const key& name, velox_mdo_handle child);
  mdo_builder& child(const key& name, const mdo_ref& held) { return child(name, held.get()); }
  /** Hands the object out; the builder is then empty. */
  mdo_ref finish();

 private:
  mdo_builder(size_t bytes, const char* context);
  mdo* object_;
};

/** Installs the provider of lookups for which none is set, from a static initialiser or later, and what to do at the
 *  manager's last stop (may be null). */
void default_provider_set(const velox_standin_provider& provider, void (*on_stop)());
/** Runs what default_provider_set was told for the stop. */
void default_provider_stop();

}  // namespace standin
