#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/private_folder.h"
#include "platform/threads/deadline.h"

struct sqlite3;
struct sqlite3_file;
struct sqlite3_stmt;

/// SQLite with owners. Every call throws Failure: errSecNotAvailable when the file cannot be opened for
/// writing or another process keeps it locked until the deadline, errSecParam for a value that is too large,
/// errSecIO for everything else (damage, full disk, failing disk). One thread at a time.
namespace quelto::keychain::embedded {

/// One run of a prepared statement. The destructor resets it, which also releases the read lock of a run that
/// was left before its last row.
class Statement {
 public:
  /// Texts among the values are borrowed for the life of this object.
  template <typename... Values>
  explicit Statement(sqlite3_stmt* statement, const Values&... values) : statement_(statement) {
    int parameter = 0;
    (bind(++parameter, values), ...);
  }
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  /// Whether there is a (next) row.
  [[nodiscard]] bool step();
  /// Columns of the row count from 0. The bytes are valid until the next step.
  [[nodiscard]] std::int64_t integer(int column) const;
  [[nodiscard]] std::string_view bytes(int column) const;

 private:
  void bind(int parameter, std::int64_t value);
  void bind(int parameter, std::string_view bytes);

  sqlite3_stmt* statement_;
};

class Database {
 public:
  /// Opens a database that exists, and keeps its folder open, through which SQLite finds the journal beside
  /// it. Waits for locks until `deadline`. errSecNotAvailable, with nothing written, when it has a
  /// write-ahead log.
  Database(platform::PrivateFolder folder, const char* name, const platform::Deadline& deadline);
  /// An empty one in memory.
  explicit Database(const platform::Deadline& deadline);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Only for a database in a folder.
  [[nodiscard]] const platform::PrivateFolder& folder() const { return *folder_; }

  /// Until when the calls that follow may wait and work.
  void setDeadline(const platform::Deadline& deadline) { deadline_ = deadline; }
  [[nodiscard]] const platform::Deadline& deadline() const noexcept { return deadline_; }

  /// Starts a statement with its values in the order of its parameters. `sql` is a literal with one run at a
  /// time: the statement is prepared once and kept under the literal's address.
  template <typename... Values>
  [[nodiscard]] Statement query(const char* sql, const Values&... values) {
    return Statement(prepared(sql), values...);
  }

  /// Runs a statement for its effect; returns how many rows it changed.
  template <typename... Values>
  std::int64_t run(const char* sql, const Values&... values) {
    Statement statement(prepared(sql), values...);
    while (statement.step()) {
    }
    return changes();
  }

  /// The first row's first column; 0 without a row.
  template <typename... Values>
  [[nodiscard]] std::int64_t number(const char* sql, const Values&... values) {
    Statement statement(prepared(sql), values...);
    return statement.step() ? statement.integer(0) : 0;
  }

  /// Runs statements that are separated by semicolons and have no parameters.
  void runScript(const char* sql);
  /// The row that the last INSERT made.
  [[nodiscard]] std::int64_t lastRow() const;
  [[nodiscard]] bool isInTransaction() const;
  /// The file's size in bytes as it is on disk.
  [[nodiscard]] std::int64_t fileSize() const;
  /// The whole database as the bytes of a file.
  [[nodiscard]] std::string image() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };

  void open(const char* path, const char* vfs);
  void waitForLocksAndStopAtDeadline();
  /// We never make one, and SQLite would merge it into the file before the version can be checked.
  void requireNoWriteAheadLog() const;
  [[nodiscard]] sqlite3_file* openFile() const;
  [[nodiscard]] sqlite3_stmt* prepared(const char* sql);
  [[nodiscard]] std::int64_t changes() const;

  platform::Deadline deadline_;
  // Destroyed in the reverse of this order: the statements, the connection, its folder.
  std::optional<platform::PrivateFolder> folder_;
  std::unique_ptr<sqlite3, Closer> database_;
  std::map<const void*, std::unique_ptr<sqlite3_stmt, Finalizer>> statements_;
};

}  // namespace quelto::keychain::embedded
