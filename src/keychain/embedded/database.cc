#include "keychain/embedded/database.h"

#include <sqlite3.h>

#include <utility>

#include "keychain/embedded/failure.h"
#include "keychain/embedded/unresolved_path_vfs.h"

namespace quelto::keychain::embedded {
namespace {

/// Virtual machine instructions between two checks of the deadline: a few hundred microseconds.
constexpr int instructionsBetweenChecks = 10'000;

OSStatus statusOf(int result) {
  switch (result & 0xFF) {  // the low byte tells the kind
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_INTERRUPT:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
      return errSecNotAvailable;
    case SQLITE_TOOBIG:
      return errSecParam;
    default:
      return errSecIO;
  }
}

void require(int result) {
  if (result != SQLITE_OK) throw Failure(statusOf(result));
}

/// - A rollback journal and no write-ahead log: the log needs memory that all users of the database share,
///   which several machines with one home folder on a file server do not have. Truncating the journal commits
///   without a further write to the folder.
/// - What is deleted is overwritten.
/// - No temporary files elsewhere.
/// - A database that somebody changed is only data: nothing in its schema is run.
constexpr const char* connectionSettings =
    "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;"
    "PRAGMA secure_delete = ON; PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL;";

}  // namespace

Statement::~Statement() {
  sqlite3_reset(statement_);  // repeats the failure of the last step, which has been reported
  sqlite3_clear_bindings(statement_);
}

void Statement::bind(int parameter, std::int64_t value) {
  require(sqlite3_bind_int64(statement_, parameter, value));
}

void Statement::bind(int parameter, std::string_view bytes) {
  // A null pointer would bind NULL.
  const char* const data = bytes.data() != nullptr ? bytes.data() : "";
  require(sqlite3_bind_blob64(statement_, parameter, data, bytes.size(), SQLITE_STATIC));
}

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) throw Failure(statusOf(result));
  return result == SQLITE_ROW;
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

std::string_view Statement::bytes(int column) const {
  const void* const data = sqlite3_column_blob(statement_, column);
  return {static_cast<const char*>(data), static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

void Database::Closer::operator()(sqlite3* database) const { sqlite3_close_v2(database); }
void Database::Finalizer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Database::Database(platform::PrivateFolder folder, const char* name, const platform::Deadline& deadline)
    : deadline_(deadline), folder_(std::move(folder)) {
  const char* const vfs = unresolvedPathVfs();
  if (vfs == nullptr) throw Failure(errSecIO);
  // SECURITY: SQLite's usual VFS follows a link that takes the database's place after it was checked.
  open(folder_->pathOf(name).c_str(), vfs);
  requireNoWriteAheadLog();
  waitForLocksAndStopAtDeadline();
  runScript(connectionSettings);
}

Database::Database(const platform::Deadline& deadline) : deadline_(deadline) { open(":memory:", nullptr); }

void Database::open(const char* path, const char* vfs) {
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(path, &opened, flags, vfs);
  database_.reset(opened);  // most failures come with a handle too
  require(result);
  // SQLite opens for reading what it cannot open for writing.
  if (sqlite3_db_readonly(opened, "main") != 0) throw Failure(errSecNotAvailable);
  for (const int runs : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW}) {
    require(sqlite3_db_config(opened, runs, 0, nullptr));
  }
}

void Database::waitForLocksAndStopAtDeadline() {
  const auto onBusy = [](void* self, int) -> int {
    return static_cast<Database*>(self)->deadline_.pause() ? 1 : 0;
  };
  const auto onProgress = [](void* self) -> int {
    return static_cast<Database*>(self)->deadline_.isOver() ? 1 : 0;
  };
  require(sqlite3_busy_handler(database_.get(), onBusy, this));
  sqlite3_progress_handler(database_.get(), instructionsBetweenChecks, onProgress, this);
}

void Database::requireNoWriteAheadLog() const {
  // In the file format's header: 2 for a log, 1 for a journal.
  constexpr sqlite3_int64 readVersionOffset = 19;
  sqlite3_file* const file = openFile();
  char readVersion = 0;
  const int result = file->pMethods->xRead(file, &readVersion, 1, readVersionOffset);
  if (result != SQLITE_IOERR_SHORT_READ) require(result);
  if (readVersion == 2) throw Failure(errSecNotAvailable);
}

sqlite3_file* Database::openFile() const {
  sqlite3_file* file = nullptr;
  require(sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file));
  return file;
}

void Database::runScript(const char* sql) {
  require(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr));
}

sqlite3_stmt* Database::prepared(const char* sql) {
  auto& kept = statements_[sql];
  if (!kept) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    kept.reset(statement);
  }
  return kept.get();
}

std::int64_t Database::changes() const { return sqlite3_changes64(database_.get()); }
std::int64_t Database::lastRow() const { return sqlite3_last_insert_rowid(database_.get()); }
bool Database::isInTransaction() const { return sqlite3_get_autocommit(database_.get()) == 0; }

std::int64_t Database::fileSize() const {
  sqlite3_file* const file = openFile();
  sqlite3_int64 size = 0;
  require(file->pMethods->xFileSize(file, &size));
  return size;
}

std::string Database::image() const {
  struct Freer {
    void operator()(unsigned char* memory) const { sqlite3_free(memory); }
  };
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, Freer> bytes(sqlite3_serialize(database_.get(), "main", &size, 0));
  if (!bytes) throw Failure(errSecIO);
  return {reinterpret_cast<const char*>(bytes.get()), static_cast<std::size_t>(size)};
}

}  // namespace quelto::keychain::embedded
