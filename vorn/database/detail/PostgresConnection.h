// Internal: do not include this file directly.
//
// One libpq connection with the statements it has prepared, binary
// parameters and results, and the two ways a statement fails: the
// connection is gone (PostgresConnectionLost) or the server refused the
// statement (PostgresStatementError). PostgresEntryStore is its only user.
#ifndef VORN_DATABASE_DETAIL_POSTGRESCONNECTION_H_
#define VORN_DATABASE_DETAIL_POSTGRESCONNECTION_H_

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

struct pg_conn;
struct pg_result;

namespace vorn::detail {

// The server cannot be reached, or the connection broke during a statement.
class PostgresConnectionLost : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The server reported an error for a statement; the connection still works.
class PostgresStatementError : public std::runtime_error {
 public:
  PostgresStatementError(const std::string& message, std::string state)
      : std::runtime_error(message), state_(std::move(state)) {}
  // The SQLSTATE code, e.g. "42P04".
  const std::string& state() const noexcept { return state_; }

 private:
  std::string state_;
};

// A statement result; every column is read in binary form.
class PostgresResult {
 public:
  explicit PostgresResult(pg_result* result) noexcept : result_(result) {}
  int rows() const noexcept;
  bool null(int row, int column) const noexcept;
  std::string bytes(int row, int column) const;
  std::int32_t int32(int row, int column) const;
  std::int64_t int64(int row, int column) const;
  // The number of rows an INSERT, UPDATE or DELETE touched.
  long affected() const noexcept;

 private:
  struct Clear {
    void operator()(pg_result* result) const noexcept;
  };
  std::unique_ptr<pg_result, Clear> result_;
};

// A statement prepared once per connection under `name`; parameters are
// typed by casts in `sql`.
struct PostgresStatement {
  const char* name;
  const char* sql;
};

// One binary parameter: bytes that stay alive during the call.
class PostgresParameter {
 public:
  /*implicit*/ PostgresParameter(const std::string& bytes) noexcept
      : data_(bytes.data()), length_(static_cast<int>(bytes.size())) {}
  /*implicit*/ PostgresParameter(std::int32_t value) noexcept;
  /*implicit*/ PostgresParameter(std::int64_t value) noexcept;
  const char* data() const noexcept { return data_ ? data_ : number_; }
  int length() const noexcept { return length_; }

 private:
  const char* data_ = nullptr;
  int length_ = 0;
  char number_[8] = {};
};

class PostgresConnection {
 public:
  // Remembers `conninfo` (a URI or key=value text); connect() connects.
  explicit PostgresConnection(std::string conninfo);
  ~PostgresConnection();
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  // Connects, closing an earlier connection first, and runs the session
  // setup. Throws PostgresConnectionLost with libpq's message.
  void connect();
  // Connects when there is no working connection.
  void ensure() {
    if (!usable()) connect();
  }
  // True when connected and libpq has not seen the connection fail.
  bool usable() const noexcept;
  // A statement run after every connect (e.g. "SET synchronous_commit =
  // off"), and now when connected.
  void set_session_setup(std::string sql);

  // Runs `sql` without parameters (text results).
  PostgresResult execute(const char* sql);
  // Runs `statement`, preparing it first on this connection; at most
  // eight parameters.
  PostgresResult run(const PostgresStatement& statement, std::initializer_list<PostgresParameter> parameters);
  // A name quoted as an SQL identifier.
  std::string quote_identifier(const std::string& name);

  // Connects to `conninfo` with the database replaced by `database`;
  // throws PostgresConnectionLost.
  static std::unique_ptr<PostgresConnection> to_database(const std::string& conninfo, const std::string& database);
  // The database `conninfo` names (its dbname, else its user, else
  // `fallback_user`).
  static std::string database_of(const std::string& conninfo, const std::string& fallback_user);
  // The user of the open connection.
  std::string user() const;

 private:
  PostgresResult checked(pg_result* result);
  void adopt(pg_conn* connection);

  std::string conninfo_;
  std::string setup_;
  pg_conn* connection_ = nullptr;
  std::set<std::string, std::less<>> prepared_;
};

// libpq's message on one line: newlines and tabs become spaces, trailing
// white space goes.
std::string one_line(const char* message);

}  // namespace vorn::detail

#endif  // VORN_DATABASE_DETAIL_POSTGRESCONNECTION_H_
