// Opening a catalogue's file. It is looked at before SQLite may touch it: only the identifier in the header decides whether it
// is ours. What a connection may write is settled when it is opened, by an authorizer that every statement passes once.
#include "store/sqlite/connection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "model/text.h"
#include "store/sqlite/schema.h"

namespace velox::catalog::sqlite {
namespace {

constexpr int k_busy_ms = 5000;

// Readers jump about in a file that may be large. It isn't mapped: a file that is cut short, or on a failing disk, would then end
// the program. What is kept of it instead is what was read, up to the size of a catalogue of a million tracks.
#if UINTPTR_MAX > 0xffffffffu
constexpr char k_cache_of_readers[] = "PRAGMA cache_size=-262144";
#else
constexpr char k_cache_of_readers[] = "PRAGMA cache_size=-32768";
#endif
constexpr int k_steps_between_looks = 2000;

std::string named(const std::string& path) { return "catalogue \"" + path + "\""; }

bool may_write(const std::string& path) { return ::access(path.c_str(), W_OK) == 0; }

std::string folder_of(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

/** Which of the files that a catalogue is written by can't be. */
std::string unwritable_part(const std::string& path) {
  for (const char* ending : {"", "-wal", "-shm"}) {
    const std::string part = path + ending;
    if (::access(part.c_str(), F_OK) == 0 && !may_write(part)) return *ending ? "\"" + part + "\"" : "the file";
  }
  return may_write(folder_of(path)) ? "something of it" : "its folder";
}

/** Tells what SQLite told last, in words for the cases that a person can do something about. */
[[noreturn]] void fail_with(sqlite3* db, const std::string& path) {
  switch (sqlite3_errcode(db) & 0xff) {
    case SQLITE_BUSY:
      refuse(path, "is in use: another program has been writing to it for more than five seconds");
    case SQLITE_FULL:
      refuse(path, "can't grow: the disk is full");
    case SQLITE_READONLY:
    case SQLITE_PERM:
      refuse(path, "can't be written: " + unwritable_part(path) + " is read-only for this user");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      refuse(path, std::string("is damaged: ") + sqlite3_errmsg(db));
    case SQLITE_NOMEM:
      throw failure{VELOX_STANDIN_ERR_NO_MEMORY, "no memory for " + named(path)};
    default:
      refuse(path, std::string("can't be used: ") + sqlite3_errmsg(db));
  }
}

uint32_t big_endian(const uint8_t* at) {
  return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16 | static_cast<uint32_t>(at[2]) << 8 |
         at[3];
}

enum class found { nothing, empty, ours };

/** Looks at the file's header before anything is written beside a stranger's database. The file is opened by SQLite all the same:
 *  to close a descriptor of our own would end the locks that the process has on the file, and let other processes take away the
 *  log under a connection that is open. */
found inspect(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return found::nothing;
    refuse(path, std::string("can't be opened: ") + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) refuse(path, "isn't a file");
  if (status.st_size == 0) return found::empty;

  sqlite3* raw = nullptr;
  sqlite3_file* file = nullptr;
  uint8_t header[100] = {};
  const int opened = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
  const int reason = raw ? sqlite3_system_errno(raw) : ENOMEM;
  int read = opened;
  if (read == SQLITE_OK) read = sqlite3_file_control(raw, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (read == SQLITE_OK) read = file->pMethods->xRead(file, header, sizeof header, 0);
  sqlite3_close(raw);
  if (opened != SQLITE_OK) refuse(path, std::string("can't be opened: ") + std::strerror(reason));
  if (read != SQLITE_OK && read != SQLITE_IOERR_SHORT_READ)
    refuse(path, std::string("can't be read: ") + sqlite3_errstr(read));
  if (read != SQLITE_OK || std::memcmp(header, "SQLite format 3", 16) != 0 ||
      big_endian(header + 68) != k_application_id)
    refuse(path, "isn't a music catalogue: the file belongs to something else and stays as it is");
  if (big_endian(header + 60) > schema_versions().size())
    refuse(path, "was written by a newer version of this program and stays as it is");
  return found::ours;
}

/** A catalogue holds what somebody has listened to: it is its owner's, and so are the files that SQLite makes beside it. */
void make_file(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(folder_of(path), error);
  if (error) refuse(path, "can't be made: " + error.message());
  const int made = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (made < 0) refuse(path, std::string("can't be made: ") + std::strerror(errno));
  ::close(made);
}

/** Percent-encoded for a file's URI. */
std::string uri_of(const std::string& path, const char* options) {
  std::string uri = "file:";
  for (const char c : path) {
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, "%%%02x", static_cast<unsigned char>(c));
    uri += c == '?' || c == '#' || c == '%' ? escaped : std::string(1, c);
  }
  return uri + options;
}

/** A reader stays one: the pragma that made it so can't be taken back. */
int allow_reading(void*, int action, const char* pragma, const char*, const char*, const char*) {
  return action == SQLITE_PRAGMA && pragma && std::string_view(pragma) == "query_only" ? SQLITE_DENY : SQLITE_OK;
}

/** Rows of stations, and what SQLite keeps for itself. */
int allow_stations(void*, int action, const char* table, const char*, const char*, const char*) {
  if (action != SQLITE_INSERT && action != SQLITE_UPDATE && action != SQLITE_DELETE) return SQLITE_OK;
  const std::string_view name = table ? table : "";
  return name.starts_with("station") || name.starts_with("sqlite_") ? SQLITE_OK : SQLITE_DENY;
}

}  // namespace

void refuse(const std::string& path, const std::string& why) {
  throw failure{VELOX_STANDIN_ERR_CATALOG, named(path) + " " + why};
}

bool statement::step() {
  const int result = sqlite3_step(prepared_);
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  sqlite3* db = sqlite3_db_handle(prepared_);
  const char* name = sqlite3_db_filename(db, "main");
  fail_with(db, name ? name : "");
}

void statement::run() {
  while (step()) continue;
  rewind();
}

void statement::rewind() {
  sqlite3_reset(prepared_);
  bound_ = 0;
}

std::string_view statement::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared_, column));
  return text ? std::string_view(text, static_cast<size_t>(sqlite3_column_bytes(prepared_, column)))
              : std::string_view();
}

bytes statement::blob(int column) const {
  const auto* data = static_cast<const std::byte*>(sqlite3_column_blob(prepared_, column));
  return {data, static_cast<size_t>(sqlite3_column_bytes(prepared_, column))};
}

void statement::damaged(int column) const {
  const char* name = sqlite3_db_filename(sqlite3_db_handle(prepared_), "main");
  const char* what = sqlite3_column_name(prepared_, column);
  refuse(name ? name : "", std::string("is damaged: a row holds a value that can't be, in ") + (what ? what : "?"));
}

connection::connection(std::string path, role as) : path_(std::move(path)) {
  const bool fill = as == role::fill;
  const found state = inspect(path_);
  if (state != found::ours && !fill)
    refuse(path_, state == found::empty ? "is empty" : "doesn't exist: scan some music into it first");
  if (state == found::nothing) make_file(path_);
  try {
    if (as == role::read && !(may_write(path_) && may_write(folder_of(path_)))) {
      open_without_a_trace();
    } else {
      open(path_, SQLITE_OPEN_READWRITE);
    }
    bring_up();
    // The log is a property of the file, but not of a transaction: whoever made the file may have ended before it.
    if (fill) execute("PRAGMA journal_mode=WAL");
    execute(fill ? "PRAGMA synchronous=NORMAL; PRAGMA cache_size=-131072; PRAGMA temp_store=MEMORY;"
                   "PRAGMA wal_autocheckpoint=8192"
                 : "PRAGMA synchronous=NORMAL");
    if (!fill) execute(k_cache_of_readers);
  } catch (...) {
    sqlite3_close_v2(raw_);
    throw;
  }
  if (as == role::read) {
    execute("PRAGMA query_only=1");
    sqlite3_set_authorizer(raw_, allow_reading, nullptr);
  }
  if (as == role::stations) sqlite3_set_authorizer(raw_, allow_stations, nullptr);
  struct stat status = {};
  if (::stat(path_.c_str(), &status) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
    changed_ = status.st_mtim;
  }
}

connection::~connection() {
  for (const auto& [sql, prepared] : statements_) sqlite3_finalize(prepared);
  sqlite3_close_v2(raw_);
}

/** For a reader who mayn't write the catalogue: SQLite would leave files beside it that its owner can't use. Where somebody is
 *  writing, the owner's are there and are read; else the file alone is whole, and stays so until it changes (see current()). */
void connection::open_without_a_trace() {
  const bool in_use = ::access((path_ + "-wal").c_str(), R_OK) == 0 && ::access((path_ + "-shm").c_str(), R_OK) == 0;
  open(uri_of(path_, in_use ? "?mode=ro&readonly_shm=1" : "?mode=ro&immutable=1"),
       SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  frozen_ = !in_use;
}

void connection::open(const std::string& name, int flags) {
  const int result = sqlite3_open_v2(name.c_str(), &raw_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (raw_ == nullptr) throw failure{VELOX_STANDIN_ERR_NO_MEMORY, "no memory for " + named(path_)};
  if (result != SQLITE_OK) fail();
  sqlite3_extended_result_codes(raw_, 1);
  sqlite3_busy_timeout(raw_, k_busy_ms);
}

/** Brings the file from its version to the present one, in one transaction. */
void connection::bring_up() {
  const auto present = static_cast<uint32_t>(schema_versions().size());
  const auto version = [&] {
    sqlite3_stmt* row = nullptr;
    if (sqlite3_prepare_v2(raw_, "PRAGMA user_version", -1, &row, nullptr) != SQLITE_OK) fail();
    const int64_t told = sqlite3_step(row) == SQLITE_ROW ? sqlite3_column_int64(row, 0) : -1;
    sqlite3_finalize(row);
    if (told < 0) fail();
    return static_cast<uint32_t>(told);
  };
  const uint32_t found = version();
  if (found > present) refuse(path_, "was written by a newer version of this program and stays as it is");
  if (found == present) return;
  // folded(text): a name as the indexes of words have it.
  const auto fold = [](sqlite3_context* to, int, sqlite3_value** given) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(given[0]));
    const std::string result = folded(text ? text : "");
    sqlite3_result_text(to, result.data(), static_cast<int>(result.size()), SQLITE_TRANSIENT);
  };
  constexpr int pure = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
  if (sqlite3_create_function_v2(raw_, "folded", 1, pure, nullptr, fold, nullptr, nullptr, nullptr) != SQLITE_OK)
    fail();
  execute("BEGIN EXCLUSIVE");
  const uint32_t first = version();  // another process may have been first
  for (uint32_t next = first; next < present; ++next) execute(schema_versions()[next]);
  if (first < present)
    execute(("PRAGMA application_id=" + std::to_string(k_application_id) +
             ";PRAGMA user_version=" + std::to_string(present))
                .c_str());
  execute("COMMIT");
}

void connection::fail() const { fail_with(raw_, path_); }

statement connection::prepared(const char* sql) {
  sqlite3_stmt*& kept = statements_[sql];
  if (!kept && sqlite3_prepare_v3(raw_, sql, -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr) != SQLITE_OK) fail();
  return statement(kept);
}

void connection::execute(const char* sql) {
  if (sqlite3_exec(raw_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

bool connection::current() const {
  struct stat status = {};
  if (::stat(path_.c_str(), &status) != 0 || status.st_dev != device_ || status.st_ino != inode_) return false;
  return !frozen_ || (status.st_mtim.tv_sec == changed_.tv_sec && status.st_mtim.tv_nsec == changed_.tv_nsec &&
                      ::access((path_ + "-wal").c_str(), F_OK) != 0);
}

void connection::watch(std::function<bool()> go_on) {
  go_on_ = std::move(go_on);
  const auto asked = [](void* self) { return static_cast<connection*>(self)->go_on_() ? 0 : 1; };
  sqlite3_progress_handler(raw_, go_on_ ? k_steps_between_looks : 0, go_on_ ? +asked : nullptr, this);
}

}  // namespace velox::catalog::sqlite
