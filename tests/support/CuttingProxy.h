// CuttingProxy: a PostgreSQL Unix-socket proxy that cuts a connection at its
// COMMIT, for tests of what a client tells its caller when the connection
// breaks while the server decides a transaction.
//
// It listens on ".s.PGSQL.<port>" in a directory of its own and passes every
// connection through to the server's socket, byte for byte. Armed with
// cut_next_commit(), it watches the client's simple-protocol messages; at the
// first "COMMIT" it either passes the COMMIT on, waits until the server has
// committed, and closes both sides without passing the answer back
// (Cut::after_commit), or closes both sides without passing it on, so that
// the server rolls the transaction back (Cut::before_commit).
//
//   CuttingProxy proxy(server.socket_directory(), server.port());
//   proxy.cut_next_commit(CuttingProxy::Cut::after_commit);
//   auto db = PostgresDatabase<Entry>::open(proxy.uri("genes"), options);
//
// Throws std::runtime_error "CuttingProxy: ..." when it cannot listen.
#ifndef VORN_TESTS_SUPPORT_CUTTINGPROXY_H_
#define VORN_TESTS_SUPPORT_CUTTINGPROXY_H_

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vorn::test {

class CuttingProxy {
 public:
  enum class Cut { before_commit, after_commit };

  CuttingProxy(const std::string& server_directory, int port)
      : server_socket_(server_directory + "/.s.PGSQL." + std::to_string(port)), port_(port) {
    char pattern[] = "/tmp/vorn-proxy-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("CuttingProxy: mkdtemp: " + error_text());
    directory_ = pattern;
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(directory_ + "/.s.PGSQL." + std::to_string(port));
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 16) != 0) {
      throw std::runtime_error("CuttingProxy: cannot listen in " + directory_ + ": " + error_text());
    }
    thread_ = std::thread([this] { serve(); });
  }

  ~CuttingProxy() {
    stopping_ = true;
    thread_.join();
    ::close(listener_);
    for (Link& link : links_) link.close();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  CuttingProxy(const CuttingProxy&) = delete;
  CuttingProxy& operator=(const CuttingProxy&) = delete;

  // A connection URI for `database` through the proxy.
  std::string uri(const std::string& database) const {
    return "postgresql:///" + database + "?host=" + directory_ + "&port=" + std::to_string(port_) + "&user=vorn";
  }

  // Cuts the connection that next sends a COMMIT, in the way `cut` says.
  void cut_next_commit(Cut cut) {
    const std::lock_guard<std::mutex> hold(mutex_);
    armed_ = true;
    cut_ = cut;
  }

  // The number of connections cut so far.
  int cuts() const { return cuts_; }

 private:
  // One client connection and its connection to the server. `pending` holds
  // client bytes not yet forwarded because they do not make a whole message.
  struct Link {
    int client = -1;
    int server = -1;
    bool started = false;  // the startup message, which has no type byte, went through
    std::string pending;
    void close() {
      if (client >= 0) ::close(client);
      if (server >= 0) ::close(server);
      client = server = -1;
    }
  };

  static sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("CuttingProxy: socket path too long: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
  }

  static std::string error_text() { return std::strerror(errno); }

  static bool send_all(int fd, const char* data, std::size_t size) {
    while (size > 0) {
      const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
      if (n <= 0) return false;
      data += n;
      size -= static_cast<std::size_t>(n);
    }
    return true;
  }

  static std::uint32_t word_at(const std::string& bytes, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])); };
    return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
  }

  void serve() {
    while (!stopping_) {
      std::vector<pollfd> watched{{listener_, POLLIN, 0}};
      for (const Link& link : links_) {
        watched.push_back({link.client, POLLIN, 0});
        watched.push_back({link.server, POLLIN, 0});
      }
      if (::poll(watched.data(), watched.size(), 50) <= 0) continue;
      const std::size_t polled = links_.size();  // a link accepted below waits for the next poll
      if ((watched[0].revents & POLLIN) != 0) accept_link();
      for (std::size_t i = 0; i < polled; ++i) {
        const short from_client = watched[1 + 2 * i].revents;
        const short from_server = watched[2 + 2 * i].revents;
        Link& link = links_[i];
        if (from_server != 0 && !relay(link.server, link.client)) link.close();
        if (link.client >= 0 && from_client != 0 && !from_client_to_server(link)) link.close();
      }
      std::vector<Link> open;
      for (const Link& link : links_) {
        if (link.client >= 0) open.push_back(link);
      }
      links_.swap(open);
    }
  }

  void accept_link() {
    Link link;
    link.client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (link.client < 0) return;
    link.server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(server_socket_);
    if (link.server < 0 || ::connect(link.server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      link.close();
      return;
    }
    links_.push_back(link);
  }

  static bool relay(int from, int to) {
    char buffer[65536];
    const ssize_t n = ::recv(from, buffer, sizeof buffer, 0);
    return n > 0 && send_all(to, buffer, static_cast<std::size_t>(n));
  }

  // Passes whole client messages to the server, cutting at an armed COMMIT.
  bool from_client_to_server(Link& link) {
    char buffer[65536];
    const ssize_t n = ::recv(link.client, buffer, sizeof buffer, 0);
    if (n <= 0) return false;
    link.pending.append(buffer, static_cast<std::size_t>(n));
    for (;;) {
      const std::size_t header = link.started ? 5 : 4;
      if (link.pending.size() < header) return true;
      const std::size_t size = (link.started ? 1 : 0) + word_at(link.pending, header - 4);
      if (link.pending.size() < size) return true;
      const std::string message = link.pending.substr(0, size);
      link.pending.erase(0, size);
      const bool commit = link.started && message[0] == 'Q' && message.compare(5, 6, "COMMIT") == 0;
      // An encryption request (SSL 80877103, GSS 80877104) comes before the
      // startup message, also without a type byte.
      const bool request = !link.started && size == 8 && (word_at(message, 4) == 80877103u || word_at(message, 4) == 80877104u);
      if (!request) link.started = true;
      if (commit && take_cut()) return cut(link, message);
      if (!send_all(link.server, message.data(), message.size())) return false;
    }
  }

  bool take_cut() {
    const std::lock_guard<std::mutex> hold(mutex_);
    if (!armed_) return false;
    armed_ = false;
    taken_ = cut_;
    return true;
  }

  // Ends the link at its COMMIT; returns false so that the caller closes it.
  bool cut(Link& link, const std::string& commit) {
    ++cuts_;
    if (taken_ == Cut::after_commit) {
      send_all(link.server, commit.data(), commit.size());
      // The server's answer (CommandComplete, ReadyForQuery) means the
      // commit is done; it is read here and never reaches the client.
      std::string answer;
      char buffer[4096];
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
      while (answer.find('Z') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd wait{link.server, POLLIN, 0};
        if (::poll(&wait, 1, 100) != 1) continue;
        const ssize_t n = ::recv(link.server, buffer, sizeof buffer, 0);
        if (n <= 0) break;
        answer.append(buffer, static_cast<std::size_t>(n));
      }
    }
    return false;
  }

  std::string server_socket_;
  int port_;
  std::string directory_;
  int listener_ = -1;
  std::vector<Link> links_;  // only the proxy's thread touches these
  std::mutex mutex_;
  bool armed_ = false;
  Cut cut_ = Cut::before_commit;
  Cut taken_ = Cut::before_commit;
  std::atomic<int> cuts_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_SUPPORT_CUTTINGPROXY_H_
