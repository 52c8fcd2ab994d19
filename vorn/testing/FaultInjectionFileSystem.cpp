#include "vorn/testing/FaultInjectionFileSystem.h"

#include <cstddef>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>
#include <utility>

namespace vorn {

namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

// The contents of one file (an inode): what it holds now and what a power
// cut would leave. `known` is false for a file whose bytes could not be
// read when it was first seen; such a file is left alone by a drop.
struct Node {
  std::string current;
  std::string durable;
  bool known = true;
};

// What one path names, now and durably; nothing when it names no file.
struct Name {
  std::optional<std::size_t> live;
  std::optional<std::size_t> durable;
};

std::string normal_path(const std::string& path) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) absolute = path;
  std::string normal = absolute.lexically_normal().string();
  while (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal;
}

std::string directory_of(const std::string& normal) {
  const std::size_t slash = normal.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : normal.substr(0, slash);
}

std::string read_all(File& file) {
  std::string bytes(static_cast<std::size_t>(file.size()), '\0');
  bytes.resize(file.read_at(0, bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace

struct FaultInjectionFileSystem::State {
  explicit State(FileSystem& base_file_system) : base(base_file_system) {}

  // Counts an operation and throws when it is to fail.
  void begin(const char* operation, const std::string& path) {
    ++count;
    log.push_back(std::string(operation) + " " + path);
    if (count > crash_at) {
      crashed = true;
      ++injected;
      throw FileError(EIO, operation, path);
    }
    if (count == fail_at || (repeat == Repeat::always && count > fail_at)) {
      ++injected;
      throw FileError(fail_error, operation, path);
    }
  }

  // The tracked name of `path`, taking its present state as durable when it
  // is seen first; null for a path that holds something other than a file.
  Name* track(const std::string& path) {
    const std::string key = normal_path(path);
    const auto found = names.find(key);
    if (found != names.end()) return &found->second;
    const std::optional<FileStatus> status = base.stat(key);
    Name name;
    if (status) {
      if (status->type != FileStatus::Type::regular) return nullptr;
      Node node;
      try {
        std::unique_ptr<File> file = base.open(key, OpenOptions());
        node.current = read_all(*file);
        node.durable = node.current;
      } catch (const FileError&) {
        node.known = false;
      }
      nodes.push_back(std::move(node));
      name.live = nodes.size() - 1;
      name.durable = name.live;
    }
    return &names.emplace(key, name).first->second;
  }

  // The file `path` names now, when it is tracked.
  std::optional<std::size_t> live_node(const std::string& path) const {
    const auto found = names.find(normal_path(path));
    if (found == names.end()) return std::nullopt;
    return found->second.live;
  }

  std::size_t add_node(bool known) {
    Node node;
    node.known = known;
    nodes.push_back(std::move(node));
    return nodes.size() - 1;
  }

  FileSystem& base;
  std::uint64_t count = 0;
  std::vector<std::string> log;
  std::uint64_t fail_at = never;
  int fail_error = EIO;
  Repeat repeat = Repeat::once;
  std::uint64_t crash_at = never;
  bool crashed = false;
  std::uint64_t injected = 0;
  std::uint64_t generation = 0;  // advanced by every drop
  std::vector<Node> nodes;
  std::map<std::string, Name> names;  // by normal path
};

namespace {

using State = FaultInjectionFileSystem::State;

class FaultFile final : public File {
 public:
  FaultFile(std::shared_ptr<State> state, std::unique_ptr<File> base, std::optional<std::size_t> node)
      : File(base->path()), state_(std::move(state)), base_(std::move(base)), node_(node),
        generation_(state_->generation) {}

  std::size_t read_at(std::uint64_t offset, void* data, std::size_t size) override {
    begin("File::read_at");
    return base_->read_at(offset, data, size);
  }

  void write_at(std::uint64_t offset, const void* data, std::size_t size) override {
    begin("File::write_at");
    base_->write_at(offset, data, size);
    if (Node* node = known_node()) {
      const std::size_t start = static_cast<std::size_t>(offset);
      if (node->current.size() < start + size) node->current.resize(start + size, '\0');
      node->current.replace(start, size, static_cast<const char*>(data), size);
    }
  }

  std::uint64_t size() override {
    begin("File::size");
    return base_->size();
  }

  FileStatus status() override {
    begin("File::status");
    return base_->status();
  }

  void truncate(std::uint64_t size) override {
    begin("File::truncate");
    base_->truncate(size);
    if (Node* node = known_node()) node->current.resize(static_cast<std::size_t>(size), '\0');
  }

  void sync() override {
    begin("File::sync");
    base_->sync();
    if (Node* node = known_node()) node->durable = node->current;
  }

  void close() override {
    try {
      begin("File::close");
    } catch (const FileError&) {
      // A failed close still releases the descriptor, as close(2) does.
      try {
        base_->close();
      } catch (const FileError&) {
      }
      throw;
    }
    base_->close();
  }

 private:
  void begin(const char* operation) {
    state_->begin(operation, path());
    // The power went off since this file was opened: it is gone.
    if (generation_ != state_->generation) throw FileError(EIO, operation, path());
  }

  Node* known_node() const {
    if (!node_) return nullptr;
    Node& node = state_->nodes[*node_];
    return node.known ? &node : nullptr;
  }

  std::shared_ptr<State> state_;
  std::unique_ptr<File> base_;
  std::optional<std::size_t> node_;
  std::uint64_t generation_;
};

// Taking a lock again is an operation that can fail like any other.
class FaultLock final : public FileLock {
 public:
  FaultLock(std::shared_ptr<State> state, std::unique_ptr<FileLock> base, std::string path)
      : state_(std::move(state)), base_(std::move(base)), path_(std::move(path)) {}

  void unlock() noexcept override { base_->unlock(); }

  void relock() override {
    state_->begin("FileLock::relock", path_);
    base_->relock();
  }

 private:
  std::shared_ptr<State> state_;
  std::unique_ptr<FileLock> base_;
  std::string path_;
};

}  // namespace

FaultInjectionFileSystem::FaultInjectionFileSystem() : FaultInjectionFileSystem(FileSystem::posix()) {}

FaultInjectionFileSystem::FaultInjectionFileSystem(FileSystem& base) : state_(std::make_shared<State>(base)) {}

FaultInjectionFileSystem::~FaultInjectionFileSystem() = default;

std::uint64_t FaultInjectionFileSystem::operation_count() const noexcept { return state_->count; }

const std::vector<std::string>& FaultInjectionFileSystem::operation_log() const noexcept { return state_->log; }

void FaultInjectionFileSystem::fail_operation(std::uint64_t k, int error, Repeat repeat) {
  state_->fail_at = k;
  state_->fail_error = error;
  state_->repeat = repeat;
}

void FaultInjectionFileSystem::crash_after(std::uint64_t k) { state_->crash_at = k; }

bool FaultInjectionFileSystem::crashed() const noexcept { return state_->crashed; }

std::uint64_t FaultInjectionFileSystem::injected_failures() const noexcept { return state_->injected; }

void FaultInjectionFileSystem::clear_faults() noexcept {
  state_->fail_at = never;
  state_->repeat = Repeat::once;
  state_->crash_at = never;
  state_->crashed = false;
}

void FaultInjectionFileSystem::drop_unsynced() {
  State& s = *state_;
  for (auto& [path, name] : s.names) {
    const bool same_file = name.live == name.durable;
    if (!name.durable) {
      const std::optional<FileStatus> status = s.base.stat(path);
      if (status && status->type == FileStatus::Type::regular) s.base.remove(path);
    } else if (Node& node = s.nodes[*name.durable]; node.known && (!same_file || node.current != node.durable)) {
      OpenOptions options;
      options.read = false;
      options.write = true;
      options.create = true;
      options.truncate = true;
      std::unique_ptr<File> file = s.base.open(path, options);
      file->write_at(0, node.durable.data(), node.durable.size());
      file->close();
    }
    name.live = name.durable;
  }
  for (Node& node : s.nodes) node.current = node.durable;
  ++s.generation;
  clear_faults();
}

std::unique_ptr<File> FaultInjectionFileSystem::open(const std::string& path, const OpenOptions& options) {
  State& s = *state_;
  s.begin("FileSystem::open", path);
  const bool changes = options.write || options.create || options.truncate;
  Name* name = changes ? s.track(path) : nullptr;
  std::unique_ptr<File> file = s.base.open(path, options);
  std::optional<std::size_t> node;
  if (name != nullptr) {
    if (!name->live) {
      // Created now (or behind our back, when not asked to create).
      name->live = s.add_node(options.create);
    } else if (options.truncate) {
      s.nodes[*name->live].current.clear();
    }
    node = name->live;
  } else {
    node = s.live_node(path);
  }
  return std::make_unique<FaultFile>(state_, std::move(file), node);
}

void FaultInjectionFileSystem::rename(const std::string& from, const std::string& to) {
  State& s = *state_;
  s.begin("FileSystem::rename", from + " -> " + to);
  Name* source = s.track(from);
  Name* target = s.track(to);
  s.base.rename(from, to);
  if (source == target) return;
  if (target != nullptr) target->live = source != nullptr ? source->live : s.add_node(false);
  if (source != nullptr) source->live.reset();
}

void FaultInjectionFileSystem::remove(const std::string& path) {
  State& s = *state_;
  s.begin("FileSystem::remove", path);
  Name* name = s.track(path);
  s.base.remove(path);
  if (name != nullptr) name->live.reset();
}

void FaultInjectionFileSystem::set_permissions(const std::string& path, unsigned int permissions) {
  state_->begin("FileSystem::set_permissions", path);
  state_->base.set_permissions(path, permissions);
}

void FaultInjectionFileSystem::sync_directory(const std::string& directory) {
  State& s = *state_;
  s.begin("FileSystem::sync_directory", directory);
  s.base.sync_directory(directory);
  const std::string key = normal_path(directory);
  for (auto& [path, name] : s.names) {
    if (directory_of(path) == key) name.durable = name.live;
  }
}

void FaultInjectionFileSystem::sync_file_system(const std::string& path) {
  State& s = *state_;
  s.begin("FileSystem::sync_file_system", path);
  s.base.sync_file_system(path);
  for (Node& node : s.nodes) node.durable = node.current;
  for (auto& entry : s.names) entry.second.durable = entry.second.live;
}

std::optional<FileStatus> FaultInjectionFileSystem::stat(const std::string& path) {
  state_->begin("FileSystem::stat", path);
  return state_->base.stat(path);
}

std::vector<std::string> FaultInjectionFileSystem::list(const std::string& directory) {
  state_->begin("FileSystem::list", directory);
  return state_->base.list(directory);
}

std::unique_ptr<FileLock> FaultInjectionFileSystem::lock(const std::string& path) {
  state_->begin("FileSystem::lock", path);
  return std::make_unique<FaultLock>(state_, state_->base.lock(path), path);
}

}  // namespace vorn
