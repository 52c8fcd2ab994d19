#include "vorn/database/DatabaseLocator.h"

#include <array>
#include <cstddef>
#include <mutex>

#include "vorn/database/EntryDirectory.h"
#include "vorn/database/database_error.h"

namespace vorn {
namespace {

constexpr const char* sqlite_prefix = "sqlite:";
const std::array<const char*, 2> postgres_prefixes = {"postgresql://", "postgres://"};
constexpr const char* index_suffix = ".adi";

bool starts_with(const std::string& text, const char* prefix) noexcept {
  return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

bool ends_with(const std::string& text, const char* suffix) noexcept {
  const std::size_t n = std::char_traits<char>::length(suffix);
  return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

[[noreturn]] void locator_error(const std::string& what) { throw database_error("open_database: " + what); }

std::unique_ptr<EntryStore> open_directory(const DatabaseLocator& locator, const DatabaseOptions& options) {
  EntryDirectory::prepare_to_open(locator.directory(), locator.name(), options);
  return std::make_unique<EntryDirectory>(locator.directory(), locator.name(), options.writable, options.durability);
}

struct Openers {
  std::mutex mutex;
  std::array<EntryStoreOpener, 3> by_kind{{&open_directory, nullptr, nullptr}};
};

Openers& openers() {
  static Openers table;
  return table;
}

}  // namespace

DatabaseLocator DatabaseLocator::parse(const std::string& text) {
  DatabaseLocator locator;
  locator.text_ = text;
  if (starts_with(text, sqlite_prefix)) {
    locator.kind_ = Kind::sqlite;
    locator.target_ = text.substr(std::char_traits<char>::length(sqlite_prefix));
    if (locator.target_.empty()) locator_error("the locator '" + text + "' names no file (give sqlite:FILE)");
    return locator;
  }
  for (const char* prefix : postgres_prefixes) {
    if (starts_with(text, prefix)) {
      locator.kind_ = Kind::postgres;
      locator.target_ = text;
      return locator;
    }
  }
  if (ends_with(text, index_suffix)) {
    const std::size_t slash = text.rfind('/');
    std::string file = slash == std::string::npos ? text : text.substr(slash + 1);
    locator.name_ = file.substr(0, file.size() - std::char_traits<char>::length(index_suffix));
    if (locator.name_.empty()) locator_error("the locator '" + text + "' names no database (give DIR/NAME.adi)");
    if (slash == std::string::npos) {
      locator.directory_ = ".";
    } else {
      locator.directory_ = text.substr(0, slash);
      // The database keeps its directory without a trailing separator.
      while (locator.directory_.size() > 1 && locator.directory_.back() == '/') locator.directory_.pop_back();
      if (locator.directory_.empty()) locator.directory_ = "/";
    }
    locator.kind_ = Kind::directory;
    return locator;
  }
  locator_error("not a database locator: '" + text + "' (give DIR/NAME.adi, sqlite:FILE or a postgresql:// URI)");
}

bool DatabaseLocator::looks_like_locator(const std::string& text) noexcept {
  if (starts_with(text, sqlite_prefix) || ends_with(text, index_suffix)) return true;
  for (const char* prefix : postgres_prefixes) {
    if (starts_with(text, prefix)) return true;
  }
  return false;
}

DatabaseLocator DatabaseLocator::of_directory(const std::string& directory, const std::string& name) {
  return parse(EntryDirectory::index_path(directory, name));
}

bool register_entry_store_opener(DatabaseLocator::Kind kind, EntryStoreOpener opener) {
  Openers& table = openers();
  const std::lock_guard<std::mutex> hold(table.mutex);
  table.by_kind[static_cast<std::size_t>(kind)] = opener;
  return true;
}

std::unique_ptr<EntryStore> open_entry_store(const std::string& text, const DatabaseOptions& options) {
  const DatabaseLocator locator = DatabaseLocator::parse(text);
  EntryStoreOpener opener = nullptr;
  {
    Openers& table = openers();
    const std::lock_guard<std::mutex> hold(table.mutex);
    opener = table.by_kind[static_cast<std::size_t>(locator.kind())];
  }
  if (opener == nullptr) {
    const bool sqlite = locator.kind() == DatabaseLocator::Kind::sqlite;
    locator_error(std::string(sqlite ? "sqlite" : "postgresql") + " locators need the vorn::" +
                  (sqlite ? "sqlite" : "postgres") + " library (link it and include vorn/database/" +
                  (sqlite ? "SqliteDatabase.h" : "PostgresDatabase.h") + "): " + text);
  }
  return opener(locator, options);
}

}  // namespace vorn
