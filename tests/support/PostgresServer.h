// PostgresServer: a throwaway PostgreSQL cluster for tests and benchmarks.
//
// The first call of shared() runs initdb into a fresh temporary directory
// and starts a server that listens only on a Unix socket in that directory
// (no TCP port), with fsync off for speed and trust authentication for the
// superuser "vorn". The server is stopped and its directory deleted when the
// process ends: by a static object's destructor (so also after failed
// tests), and by a watchdog process when the process crashes or is killed.
// A program that never calls shared() starts nothing.
//
//   vorn::test::PostgresServer& server = vorn::test::PostgresServer::shared();
//   server.create_database("genes");
//   auto db = vorn::PostgresDatabase<Entry>::open(server.uri("genes"), options);
//   server.restart();   // same data, every connection dropped
//
// When the tests run as root, initdb and the server run as the "postgres"
// user (they refuse root), which owns the temporary directory; root clients
// reach the socket regardless. The binaries come from $VORN_POSTGRES_BINDIR,
// `pg_config --bindir`, /usr/lib/postgresql/<version>/bin (the highest) or
// the PATH, in that order.
//
// Throws std::runtime_error "PostgresServer: ..." with the command's output
// when the server cannot be set up, started or reached, so that a test
// using it fails with the reason instead of being skipped.
#ifndef VORN_TESTS_SUPPORT_POSTGRESSERVER_H_
#define VORN_TESTS_SUPPORT_POSTGRESSERVER_H_

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace vorn::test {

class PostgresServer {
 public:
  // The server of this process, set up and started by the first call.
  static PostgresServer& shared() {
    static PostgresServer server;
    return server;
  }

  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  ~PostgresServer() {
    // A forked child that exits normally must not stop its parent's server.
    if (getpid() != owner_) return;
    if (running_) run({bin("pg_ctl"), "stop", "-D", data_, "-m", "immediate", "-w"}, true, false);
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  // A connection URI for `database` on this server.
  std::string uri(const std::string& database = "vorn_test") const {
    return "postgresql:///" + database + "?host=" + root_ + "&port=" + std::to_string(port_) + "&user=vorn";
  }
  // The socket directory and the port, as libpq's host and port.
  const std::string& socket_directory() const noexcept { return root_; }
  int port() const noexcept { return port_; }
  // The temporary directory that holds the cluster (data/), the socket and
  // the server log (server.log).
  const std::string& directory() const noexcept { return root_; }

  void create_database(const std::string& name) {
    run({bin("createdb"), "-h", root_, "-p", std::to_string(port_), "-U", "vorn", name}, false, true);
  }
  // Drops `name` if it exists, closing its connections first.
  void drop_database(const std::string& name) {
    run({bin("dropdb"), "-h", root_, "-p", std::to_string(port_), "-U", "vorn", "--if-exists", "--force", name},
        false, true);
  }
  // Runs `statement` in `database` and returns what it prints, unaligned
  // and without headers (one row per line, columns separated by "|").
  std::string sql(const std::string& database, const std::string& statement) {
    return run({bin("psql"), "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-d", uri(database), "-c", statement},
               false, true);
  }

  // Stops the server (fast: open connections are cut) and starts it again
  // on the same data and socket.
  void restart() {
    stop();
    start();
  }
  void stop() {
    const std::lock_guard<std::mutex> hold(mutex_);
    if (!running_) return;
    run({bin("pg_ctl"), "stop", "-D", data_, "-m", "fast", "-w"}, true, true);
    running_ = false;
  }
  void start() {
    const std::lock_guard<std::mutex> hold(mutex_);
    if (running_) return;
    const std::string options = "-c listen_addresses='' -c unix_socket_directories='" + root_ +
                                "' -c port=" + std::to_string(port_) +
                                " -c fsync=off -c full_page_writes=off -c shared_buffers=32MB -c max_connections=60";
    run({bin("pg_ctl"), "start", "-D", data_, "-w", "-t", "60", "-l", root_ + "/server.log", "-o", options}, true,
        true, "server.log");
    running_ = true;
  }
  bool running() const noexcept { return running_; }

 private:
  PostgresServer() : owner_(getpid()) {
    bindir_ = find_bindir();
    char pattern[] = "/tmp/vorn-pg-XXXXXX";
    if (mkdtemp(pattern) == nullptr) fail(std::string("cannot create a temporary directory: ") + std::strerror(errno));
    root_ = pattern;
    data_ = root_ + "/data";
    try {
      if (geteuid() == 0) hand_over_to_postgres_user();
      start_watchdog();
      run({bin("initdb"), "-D", data_, "-U", "vorn", "-A", "trust", "-E", "UTF8", "--locale=C", "--no-sync"}, true,
          true);
      start();
      create_database("vorn_test");
    } catch (...) {
      if (running_) run({bin("pg_ctl"), "stop", "-D", data_, "-m", "immediate", "-w"}, true, false);
      std::error_code ignored;
      std::filesystem::remove_all(root_, ignored);
      throw;
    }
  }

  [[noreturn]] static void fail(const std::string& why) { throw std::runtime_error("PostgresServer: " + why); }

  std::string bin(const char* program) const { return bindir_.empty() ? program : bindir_ + "/" + program; }

  static bool has_initdb(const std::string& directory) {
    return !directory.empty() && access((directory + "/initdb").c_str(), X_OK) == 0;
  }

  static std::string find_bindir() {
    if (const char* given = std::getenv("VORN_POSTGRES_BINDIR")) {
      if (has_initdb(given)) return given;
      fail(std::string("VORN_POSTGRES_BINDIR has no initdb: ") + given);
    }
    if (FILE* pipe = popen("pg_config --bindir 2>/dev/null", "r")) {
      char line[4096] = {};
      std::string found;
      if (std::fgets(line, sizeof line, pipe) != nullptr) found = line;
      pclose(pipe);
      while (!found.empty() && (found.back() == '\n' || found.back() == '\r')) found.pop_back();
      if (has_initdb(found)) return found;
    }
    std::vector<std::filesystem::path> candidates;
    std::error_code error;
    for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql", error)) {
      if (has_initdb(version.path().string() + "/bin")) candidates.push_back(version.path() / "bin");
    }
    if (!candidates.empty()) {
      // The highest major version, compared as numbers.
      std::sort(candidates.begin(), candidates.end(), [](const auto& a, const auto& b) {
        return std::atoi(a.parent_path().filename().c_str()) < std::atoi(b.parent_path().filename().c_str());
      });
      return candidates.back().string();
    }
    if (std::system("command -v initdb >/dev/null 2>&1") == 0) return std::string();
    fail("no PostgreSQL server binaries (initdb, pg_ctl) found: install postgresql or set VORN_POSTGRES_BINDIR");
  }

  // A process that waits for this one to end, however it ends (a crash or
  // SIGKILL runs no destructor), and then stops the server and deletes the
  // directory. It waits on a pipe whose writing end only this process holds
  // (close-on-exec keeps it from the programs it runs).
  void start_watchdog() {
    int ends[2];
    if (pipe(ends) != 0) fail(std::string("cannot create a pipe: ") + std::strerror(errno));
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    const std::string pg_ctl = bin("pg_ctl");
    const char* script = "cat >/dev/null; \"$0\" stop -D \"$1\" -m immediate -w >/dev/null 2>&1; rm -rf \"$2\"";
    const pid_t child = fork();
    if (child < 0) fail(std::string("cannot fork: ") + std::strerror(errno));
    if (child == 0) {
      dup2(ends[0], 0);
      close(ends[0]);
      close(ends[1]);
      const int null = open("/dev/null", O_WRONLY);
      if (null >= 0) {
        dup2(null, 1);
        dup2(null, 2);
      }
      // Out of the test's process group, so that a signal to the group
      // (Ctrl-C, a harness's timeout) leaves it to clean up.
      setsid();
      if (as_postgres_ && (setgroups(0, nullptr) != 0 || setgid(gid_) != 0 || setuid(uid_) != 0)) _exit(126);
      execl("/bin/sh", "sh", "-c", script, pg_ctl.c_str(), data_.c_str(), root_.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(ends[0]);
    watchdog_pipe_ = ends[1];
  }

  void hand_over_to_postgres_user() {
    const passwd* user = getpwnam("postgres");
    if (user == nullptr) fail("running as root and there is no 'postgres' user to run the server as");
    uid_ = user->pw_uid;
    gid_ = user->pw_gid;
    if (chown(root_.c_str(), uid_, gid_) != 0) fail("cannot chown " + root_ + ": " + std::strerror(errno));
    // Root clients reach the socket anyway; others need to search the
    // directory.
    if (chmod(root_.c_str(), 0755) != 0) fail("cannot chmod " + root_ + ": " + std::strerror(errno));
    as_postgres_ = true;
  }

  // Runs `argv`, as the postgres user when `server_side` and the process is
  // root, and returns its output; a failure throws with that output (and
  // the tail of `log`, a file in the directory, when given) unless `check`
  // is false.
  std::string run(const std::vector<std::string>& argv, bool server_side, bool check,
                  const char* log = nullptr) const {
    // Everything the child needs is prepared before fork(): another thread
    // may hold the allocator's lock at that moment.
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const bool switch_user = server_side && as_postgres_;
    const char* directory = root_.c_str();
    int pipe_ends[2];
    if (pipe(pipe_ends) != 0) fail(std::string("cannot create a pipe: ") + std::strerror(errno));
    const pid_t child = fork();
    if (child < 0) fail(std::string("cannot fork: ") + std::strerror(errno));
    if (child == 0) {
      dup2(pipe_ends[1], 1);
      dup2(pipe_ends[1], 2);
      close(pipe_ends[0]);
      close(pipe_ends[1]);
      const int null = open("/dev/null", O_RDONLY);
      if (null >= 0) dup2(null, 0);
      if (switch_user && (setgroups(0, nullptr) != 0 || setgid(gid_) != 0 || setuid(uid_) != 0)) _exit(126);
      if (server_side && chdir(directory) != 0) _exit(126);
      execvp(args[0], args.data());
      static const char message[] = "cannot run the program\n";
      if (write(2, message, sizeof message - 1) < 0) _exit(127);
      _exit(127);
    }
    close(pipe_ends[1]);
    std::string output;
    char buffer[4096];
    for (;;) {
      const ssize_t n = read(pipe_ends[0], buffer, sizeof buffer);
      if (n > 0) {
        output.append(buffer, static_cast<std::size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        break;
      }
    }
    close(pipe_ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const bool ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!ok && check) {
      std::string why = argv[0] + " failed";
      if (WIFEXITED(status)) why += " (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
      why += ": " + output;
      if (log != nullptr) why += "\n" + tail_of(root_ + "/" + log);
      fail(why);
    }
    return output;
  }

  static std::string tail_of(const std::string& path) {
    std::string text;
    if (FILE* file = std::fopen(path.c_str(), "rb")) {
      char buffer[4096];
      std::size_t n;
      while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, n);
      std::fclose(file);
    }
    return text.size() > 2000 ? text.substr(text.size() - 2000) : text;
  }

  pid_t owner_;
  std::string bindir_;
  std::string root_;
  std::string data_;
  int port_ = 5432;  // only names the socket file: nothing listens on TCP
  bool as_postgres_ = false;
  uid_t uid_ = 0;
  gid_t gid_ = 0;
  bool running_ = false;
  int watchdog_pipe_ = -1;
  std::mutex mutex_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_SUPPORT_POSTGRESSERVER_H_
