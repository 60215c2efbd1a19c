// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Connection.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "platform/database/Schema.h"

namespace DB {

namespace {

constexpr int BUSY_TIMEOUT_MS = 1000;
// SQLite calls back after this many of its steps. A walk over 1000 interfaces with an address each takes 3 million
// where nothing has an index; pages that were made to refer to each other would take for ever.
constexpr int STEPS_PER_STRIDE = 10'000;
constexpr unsigned MAX_STRIDES = 2'000;
constexpr std::size_t MAX_MESSAGE_LENGTH = 256;

constexpr std::pair<int, int> LIMITS[] = {
    {SQLITE_LIMIT_LENGTH, 1 << 20},         {SQLITE_LIMIT_SQL_LENGTH, 100'000}, {SQLITE_LIMIT_EXPR_DEPTH, 100},
    {SQLITE_LIMIT_COMPOUND_SELECT, 50},     {SQLITE_LIMIT_ATTACHED, 0},         {SQLITE_LIMIT_TRIGGER_DEPTH, 10},
    {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 50}, {SQLITE_LIMIT_WORKER_THREADS, 0},
};

constexpr std::pair<int, int> SETTINGS[] = {
    {SQLITE_DBCONFIG_DEFENSIVE, 1},
    {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
    {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
    {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
};

// SQLite's way to be told that nobody writes: it then looks for no log and takes no lock.
String immutableName(const std::string& path) {
  String name("file:");
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      name.concatf("%%%02X", static_cast<unsigned char>(c));
    } else {
      name.append({&c, 1});
    }
  }
  return name.append("?immutable=1");
}

}  // namespace

// Statements hold the connection, so none is left.
Connection::~Connection() { sqlite3_close(handle_); }

Connection::Connection(const String& title, std::shared_ptr<WriteAheadLog::Hold> hold)
    : title_(title), hold_(hold != nullptr ? std::move(hold) : std::make_shared<WriteAheadLog::Hold>()) {}

XCode Connection::openFile(const String& path) {
  XCode started = startOnFile(path);
  return started.isErr() ? started : commit();
}

XCode Connection::startOnFile(const String& path) {
  const XCode regular = readState(path, opened_);
  if (regular.isErr()) return error(regular.toString());
  // SQLite gives names like ":memory:" and "file:x" a meaning of their own, but no path.
  const String name = path.view().starts_with('/') ? path : String("./").append(path);
  XCode opened = open(name, SQLITE_OPEN_READONLY);
  if (opened.isSuccess() && WriteAheadLog::isUsedBy(handle_)) opened = openLogged();
  if (opened.isErr()) {
    hold_->release();
    return opened;
  }
  const XCode started = start();
  if (started.isErr()) return started;
  Schema::verify(*this);
  if (failure_.isErr()) return commit();
  isFile_ = true;
  Schema::indexAddresses(*this);
  return XCode();
}

XCode Connection::openLogged() {
  logged_ = sqlite3_db_filename(handle_, "main");
  const XCode held = hold_->take(logged_, BUSY_TIMEOUT_MS);
  if (held.isErr()) return error(held.toString());
  if (WriteAheadLog::existsFor(logged_)) {
    WriteAheadLog::keepIndexOnHeap(handle_);
    return XCode();
  }
  sqlite3_close(std::exchange(handle_, nullptr));
  return open(immutableName(logged_), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

XCode Connection::openInMemory() {
  const XCode opened = open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (opened.isErr()) return opened;
  const XCode started = start();
  if (started.isErr()) return started;
  Schema::create(*this);
  return commit();
}

XCode Connection::open(const String& name, int flags) {
  failure_ = XCode();
  const int result = sqlite3_open_v2(name.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (result != SQLITE_OK) {
    reportFailure(result);
    return failure_;
  }
  configure();
  return XCode();
}

void Connection::configure() {
  for (const auto& [limit, value] : LIMITS) sqlite3_limit(handle_, limit, value);
  for (const auto& [setting, value] : SETTINGS) {
    static_cast<void>(sqlite3_db_config(handle_, setting, value, nullptr));
  }
  static_cast<void>(sqlite3_busy_timeout(handle_, BUSY_TIMEOUT_MS));
  static_cast<void>(
      sqlite3_exec(handle_, "PRAGMA cell_size_check = ON; PRAGMA mmap_size = 0", nullptr, nullptr, nullptr));
  sqlite3_progress_handler(handle_, STEPS_PER_STRIDE, &Connection::onProgress, this);
}

int Connection::onProgress(void* connection) {
  return ++static_cast<Connection*>(connection)->strides_ > MAX_STRIDES ? 1 : 0;
}

XCode Connection::readState(const String& path, KX::FileState& state) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return XCode::fromErrno(errno);
  state = KX::FileState::of(status);
  // Opening a FIFO would wait for its other end.
  return S_ISREG(status.st_mode) ? XCode() : XCode::error("Not a regular file");
}

bool Connection::isOutdated(const String& path) const {
  KX::FileState now;
  const bool isThere = readState(path, now).isSuccess();
  return !isThere || !now.isSameFile(opened_) || !logged_.empty() || WriteAheadLog::isUsedBy(handle_);
}

// In WAL mode, whether somebody has come in between who is not held off.
bool Connection::hasChanged() const {
  if (logged_.empty()) return false;
  if (!hold_->isStillGood(logged_)) return true;
  KX::FileState now;
  return !hold_->isTaken() && (readState(String(logged_), now).isErr() || !(now == opened_));
}

XCode Connection::start() {
  if (transaction_ != 0) return error("A transaction is already running");
  failure_ = XCode();
  strides_ = 0;
  execute("BEGIN");
  // BEGIN by itself takes no lock: it is the first read that fixes the state which all further ones see.
  if (failure_.isSuccess()) execute("SELECT count(*) FROM sqlite_schema");
  if (failure_.isErr()) {
    rollback();
    return failure_;
  }
  if (isFile_) Schema::indexAddresses(*this);
  if (++lastTransaction_ == 0) ++lastTransaction_;
  transaction_ = lastTransaction_;
  return XCode();
}

XCode Connection::commit() {
  if (transaction_ == 0) return error("No transaction is running");
  resetStatements();
  if (hasChanged()) reportFailure("Changed while it was read"_s);
  if (failure_.isSuccess()) execute("COMMIT");
  rollback();
  return failure_;
}

void Connection::rollback() {
  resetStatements();
  if (isFile_) Schema::dropIndex(*this);
  transaction_ = 0;
  strides_ = 0;
  // Whatever happened, SQLite ends the transaction: it has nothing to report.
  if (sqlite3_get_autocommit(handle_) == 0) {
    static_cast<void>(sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr));
  }
  if (!logged_.empty()) hold_->release();
}

// A statement in the middle of its rows would keep the lock of the transaction beyond its end.
void Connection::resetStatements() {
  for (sqlite3_stmt* each = sqlite3_next_stmt(handle_, nullptr); each != nullptr;
       each = sqlite3_next_stmt(handle_, each)) {
    static_cast<void>(sqlite3_reset(each));
  }
}

void Connection::execute(const char* sql) {
  const int result = sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) reportFailure(result);
}

void Connection::reportFailure(int code) {
  const int cause = sqlite3_system_errno(handle_);
  const int kind = code & 0xFF;
  if (kind == SQLITE_CANTOPEN && cause != 0) {
    reportFailure(XCode::fromErrno(cause).toString());
  } else if (kind == SQLITE_INTERRUPT) {
    reportFailure("Too much to read"_s);
  } else {
    // The text may quote the file, which may hold anything.
    reportFailure(String(std::string_view(sqlite3_errmsg(handle_)).substr(0, MAX_MESSAGE_LENGTH)));
  }
}

void Connection::reportFailure(const String& text) {
  if (failure_.isSuccess()) failure_ = error(text);
}

XCode Connection::error(const String& text) const {
  XCode result = XCode::error(text);
  result.extendString(title_, ": ");
  return result;
}

}  // namespace DB
