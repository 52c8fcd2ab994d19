#include "vorn/database/detail/PostgresConnection.h"

#include <cstring>

#include <libpq-fe.h>

namespace vorn::detail {

std::string one_line(const char* message) {
  std::string text = message ? message : "";
  for (char& c : text) {
    if (c == '\n' || c == '\t' || c == '\r') c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  std::string squeezed;
  for (char c : text) {
    if (c == ' ' && !squeezed.empty() && squeezed.back() == ' ') continue;
    squeezed += c;
  }
  return squeezed;
}

void PostgresResult::Clear::operator()(pg_result* result) const noexcept { PQclear(result); }

int PostgresResult::rows() const noexcept { return PQntuples(result_.get()); }

bool PostgresResult::null(int row, int column) const noexcept {
  return PQgetisnull(result_.get(), row, column) != 0;
}

std::string PostgresResult::bytes(int row, int column) const {
  return std::string(PQgetvalue(result_.get(), row, column),
                     static_cast<std::size_t>(PQgetlength(result_.get(), row, column)));
}

namespace {

std::uint64_t big_endian(const char* data, int length) {
  std::uint64_t value = 0;
  for (int i = 0; i < length; ++i) value = (value << 8) | static_cast<unsigned char>(data[i]);
  return value;
}

}  // namespace

std::int32_t PostgresResult::int32(int row, int column) const {
  if (PQgetlength(result_.get(), row, column) != 4) throw PostgresStatementError("unexpected result width", "XX000");
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(big_endian(PQgetvalue(result_.get(), row, column), 4)));
}

std::int64_t PostgresResult::int64(int row, int column) const {
  if (PQgetlength(result_.get(), row, column) != 8) throw PostgresStatementError("unexpected result width", "XX000");
  return static_cast<std::int64_t>(big_endian(PQgetvalue(result_.get(), row, column), 8));
}

long PostgresResult::affected() const noexcept {
  const char* text = PQcmdTuples(result_.get());
  return text && *text ? std::strtol(text, nullptr, 10) : 0;
}

PostgresParameter::PostgresParameter(std::int32_t value) noexcept : length_(4) {
  const auto bits = static_cast<std::uint32_t>(value);
  for (int i = 0; i < 4; ++i) number_[i] = static_cast<char>(bits >> (24 - 8 * i));
}

PostgresParameter::PostgresParameter(std::int64_t value) noexcept : length_(8) {
  const auto bits = static_cast<std::uint64_t>(value);
  for (int i = 0; i < 8; ++i) number_[i] = static_cast<char>(bits >> (56 - 8 * i));
}

PostgresConnection::PostgresConnection(std::string conninfo) : conninfo_(std::move(conninfo)) {}

PostgresConnection::~PostgresConnection() {
  if (connection_) PQfinish(connection_);
}

void PostgresConnection::adopt(pg_conn* connection) {
  if (PQstatus(connection) != CONNECTION_OK) {
    const std::string message = one_line(PQerrorMessage(connection));
    PQfinish(connection);
    throw PostgresConnectionLost(message);
  }
  if (connection_) PQfinish(connection_);
  connection_ = connection;
  prepared_.clear();
}

void PostgresConnection::connect() {
  if (connection_) {
    PQfinish(connection_);
    connection_ = nullptr;
  }
  adopt(PQconnectdb(conninfo_.c_str()));
  if (!setup_.empty()) execute(setup_.c_str());
}

bool PostgresConnection::usable() const noexcept {
  return connection_ != nullptr && PQstatus(connection_) == CONNECTION_OK;
}

void PostgresConnection::set_session_setup(std::string sql) {
  setup_ = std::move(sql);
  if (usable()) execute(setup_.c_str());
}

PostgresResult PostgresConnection::checked(pg_result* raw) {
  PostgresResult result(raw);
  const ExecStatusType status = raw ? PQresultStatus(raw) : PGRES_FATAL_ERROR;
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return result;
  const char* state_field = raw ? PQresultErrorField(raw, PG_DIAG_SQLSTATE) : nullptr;
  const std::string state = state_field ? state_field : "";
  // Class 08 (connection exception) and 57P (the server shuts down or
  // restarts) mean the session is gone, whatever libpq's status says yet.
  const bool gone = PQstatus(connection_) != CONNECTION_OK || state.compare(0, 2, "08") == 0 ||
                    state.compare(0, 3, "57P") == 0;
  if (gone) {
    std::string message = one_line(raw ? PQresultErrorMessage(raw) : "");
    if (message.empty()) message = one_line(PQerrorMessage(connection_));
    if (message.empty()) message = "no answer from the server";
    // Make later calls reconnect instead of using a dead session.
    PQfinish(connection_);
    connection_ = nullptr;
    throw PostgresConnectionLost(message);
  }
  const char* primary = PQresultErrorField(raw, PG_DIAG_MESSAGE_PRIMARY);
  throw PostgresStatementError(one_line(primary ? primary : PQresultErrorMessage(raw)), state);
}

PostgresResult PostgresConnection::execute(const char* sql) {
  if (!connection_) throw PostgresConnectionLost("not connected");
  return checked(PQexec(connection_, sql));
}

PostgresResult PostgresConnection::run(const PostgresStatement& statement,
                                       std::initializer_list<PostgresParameter> parameters) {
  if (!connection_) throw PostgresConnectionLost("not connected");
  const int count = static_cast<int>(parameters.size());
  if (prepared_.count(statement.name) == 0) {
    checked(PQprepare(connection_, statement.name, statement.sql, count, nullptr));
    prepared_.insert(statement.name);
  }
  constexpr std::size_t most = 8;
  if (parameters.size() > most) throw PostgresStatementError("too many parameters", "54023");
  const char* values[most];
  int lengths[most];
  int formats[most];
  std::size_t n = 0;
  for (const PostgresParameter& p : parameters) {
    values[n] = p.data();
    lengths[n] = p.length();
    formats[n] = 1;
    ++n;
  }
  return checked(PQexecPrepared(connection_, statement.name, count, values, lengths, formats, 1));
}

std::string PostgresConnection::quote_identifier(const std::string& name) {
  if (!connection_) throw PostgresConnectionLost("not connected");
  char* quoted = PQescapeIdentifier(connection_, name.data(), name.size());
  if (!quoted) throw PostgresStatementError(one_line(PQerrorMessage(connection_)), "22000");
  std::string text = quoted;
  PQfreemem(quoted);
  return text;
}

std::unique_ptr<PostgresConnection> PostgresConnection::to_database(const std::string& conninfo,
                                                                    const std::string& database) {
  auto result = std::make_unique<PostgresConnection>(conninfo);
  // With expand_dbname the first dbname is the whole connection text; the
  // second overrides the database it names.
  const char* keywords[] = {"dbname", "dbname", nullptr};
  const char* values[] = {conninfo.c_str(), database.c_str(), nullptr};
  result->adopt(PQconnectdbParams(keywords, values, 1));
  return result;
}

std::string PostgresConnection::database_of(const std::string& conninfo, const std::string& fallback_user) {
  char* error = nullptr;
  PQconninfoOption* options = PQconninfoParse(conninfo.c_str(), &error);
  if (error) PQfreemem(error);
  std::string database;
  std::string user;
  if (options) {
    for (PQconninfoOption* o = options; o->keyword; ++o) {
      if (!o->val || !*o->val) continue;
      if (std::strcmp(o->keyword, "dbname") == 0) database = o->val;
      if (std::strcmp(o->keyword, "user") == 0) user = o->val;
    }
    PQconninfoFree(options);
  }
  if (!database.empty()) return database;
  return user.empty() ? fallback_user : user;
}

std::string PostgresConnection::user() const { return connection_ ? PQuser(connection_) : ""; }

}  // namespace vorn::detail
