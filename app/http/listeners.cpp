/* Passwords are stretched by libsodium; of a cookie's secret only a digest is kept, so that the file signs nobody in. */
#include "http/listeners.h"

#include <sodium.h>

#include <algorithm>
#include <ctime>

#include "core/handles.h"

namespace app::http {

namespace {

constexpr int64_t sign_in_seconds = 60 * 24 * 60 * 60;  // without use
constexpr size_t secret_bytes = 32;
constexpr size_t app_password_digits = 32;  // 128 bits
constexpr int forgiven = 4, longest_wait = 60;
constexpr size_t most_addresses = 10'000;

std::string hex(const unsigned char* bytes, size_t size) {
  std::string text(2 * size + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes, size);
  text.pop_back();
  return text;
}

std::string digest_of(const std::string& secret) {
  unsigned char digest[crypto_generichash_BYTES];
  crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(secret.data()), secret.size(),
                     nullptr, 0);
  return hex(digest, sizeof digest);
}

std::string stretched(const std::string& password) {
  char text[crypto_pwhash_STRBYTES];
  if (crypto_pwhash_str(text, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
    throw failure("no memory to stretch a password");
  return text;
}

bool fits(const std::string& kept, const std::string& password) {
  return crypto_pwhash_str_verify(kept.c_str(), password.data(), password.size()) == 0;
}

std::string random_text() {
  unsigned char random[secret_bytes];
  randombytes_buf(random, sizeof random);
  return hex(random, sizeof random);
}

int64_t now() { return static_cast<int64_t>(std::time(nullptr)); }

}  // namespace

listeners::listeners(database& in) : in_(in) {
  if (sodium_init() < 0) throw failure("the cryptographic library can't be used");
}

void listeners::put(const std::string& name, const std::string& password) {
  const std::string kept = stretched(password);
  in_.run("INSERT INTO listener(name, password) VALUES (?1, ?2) ON CONFLICT(name) DO UPDATE SET password=?2", name,
          kept);
  in_.run("DELETE FROM sign_in WHERE listener=(SELECT id FROM listener WHERE name=?)", name);
}

bool listeners::remove(const std::string& name) {
  database::transaction all(in_);
  const std::optional<person> gone = named(name);
  if (!gone) return false;
  for (const char* sql : {"DELETE FROM sign_in WHERE listener=?", "DELETE FROM owner WHERE listener=?",
                          "DELETE FROM app_password WHERE listener=?", "DELETE FROM star WHERE listener=?",
                          "DELETE FROM rating WHERE listener=?", "DELETE FROM play WHERE listener=?",
                          "DELETE FROM playlist_entry WHERE playlist IN (SELECT id FROM playlist WHERE listener=?)",
                          "DELETE FROM playlist WHERE listener=?", "DELETE FROM play_queue WHERE listener=?",
                          "DELETE FROM listener WHERE id=?"})
    in_.run(sql, gone->id);
  all.commit();
  return true;
}

std::vector<std::string> listeners::names() {
  std::vector<std::string> names;
  database::statement row(in_, "SELECT name FROM listener ORDER BY name");
  while (row.step()) names.push_back(row.text(0));
  return names;
}

bool listeners::anybody() { return database::statement(in_, "SELECT 1 FROM listener LIMIT 1").step(); }

std::optional<person> listeners::named(const std::string& name) {
  database::statement row(in_, "SELECT id, name FROM listener WHERE name=?");
  if (!row.with(name).step()) return std::nullopt;
  return person{row.number(0), row.text(1)};
}

std::optional<std::string> listeners::sign_in(const std::string& name, const std::string& password) {
  int64_t id = 0;
  std::string kept;
  {
    database::statement row(in_, "SELECT id, password FROM listener WHERE name=?");
    if (row.with(name).step()) id = row.number(0), kept = row.text(1);
  }
  if (id == 0) {
    static const std::string nobodys =
        stretched("nobody");  // so that an unknown name takes as long as a wrong password
    fits(nobodys, password);
    return std::nullopt;
  }
  if (!fits(kept, password)) return std::nullopt;

  const std::string secret = random_text();
  in_.run("DELETE FROM sign_in WHERE used<?", now() - sign_in_seconds);
  in_.run("INSERT INTO sign_in VALUES (?, ?, ?)", digest_of(secret), id, now());
  return secret;
}

void listeners::sign_out(const std::string& secret) {
  in_.run("DELETE FROM sign_in WHERE secret=?", digest_of(secret));
}

std::optional<person> listeners::who(const std::string& secret) {
  constexpr int64_t noted_every = 60 * 60;
  const std::string digest = digest_of(secret);
  database::statement row(
      in_, "SELECT l.id, l.name, used FROM sign_in s JOIN listener l ON l.id=s.listener WHERE secret=? AND used>=?");
  if (!row.with(digest, now() - sign_in_seconds).step()) return std::nullopt;
  person found{row.number(0), row.text(1)};
  if (row.number(2) < now() - noted_every) in_.run("UPDATE sign_in SET used=? WHERE secret=?", now(), digest);
  return found;
}

void listeners::own(const person& who, const std::string& station) {
  if (who.id != 0) in_.run("INSERT OR REPLACE INTO owner VALUES (?, ?)", station, who.id);
}

bool listeners::owns(const person& who, const std::string& station) {
  if (who.id == 0) return true;
  return database::statement(in_, "SELECT 1 FROM owner WHERE station=? AND listener=?").with(station, who.id).step();
}

void listeners::disown(const std::string& station) { in_.run("DELETE FROM owner WHERE station=?", station); }

// ---- Apps ----------------------------------------------------------------------------------------------------------

std::string listeners::add_app(const person& who, const std::string& app) {
  const std::string password = random_text().substr(0, app_password_digits);
  in_.run("INSERT OR REPLACE INTO app_password VALUES (?, ?, ?)", who.id, app, password);
  return password;
}

bool listeners::remove_app(const person& who, const std::string& app) {
  return in_.run("DELETE FROM app_password WHERE listener=? AND app=?", who.id, app) > 0;
}

std::vector<std::string> listeners::app_passwords(const person& who) {
  std::vector<std::string> passwords;
  database::statement row(in_, "SELECT password FROM app_password WHERE listener=?");
  row.with(who.id);
  while (row.step()) passwords.push_back(row.text(0));
  return passwords;
}

std::optional<person> listeners::of_app_password(const std::string& password) {
  database::statement row(
      in_, "SELECT l.id, l.name FROM app_password a JOIN listener l ON l.id=a.listener WHERE a.password=?");
  if (!row.with(password).step()) return std::nullopt;
  return person{row.number(0), row.text(1)};
}

// ---- Guessing ------------------------------------------------------------------------------------------------------

int guessing::wait_of(const std::string& address) {
  const std::lock_guard held(mutex_);
  const auto found = records_.find(address);
  return found == records_.end() ? 0 : static_cast<int>(std::max<int64_t>(found->second.until - now(), 0));
}

void guessing::failed(const std::string& address) {
  const std::lock_guard held(mutex_);
  if (records_.size() >= most_addresses)
    std::erase_if(records_, [](const auto& one) { return one.second.until < now(); });
  record& of = records_[address];
  ++of.failures;
  if (of.failures > forgiven) of.until = now() + std::min(1 << std::min(of.failures - forgiven, 6), longest_wait);
}

void guessing::succeeded(const std::string& address) {
  const std::lock_guard held(mutex_);
  records_.erase(address);
}

}  // namespace app::http
