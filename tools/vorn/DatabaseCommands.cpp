// vorn db: entry databases of text entries.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Cli.h"
#include "Commands.h"
#include "vorn/database/ArchiveDatabase.h"
#include "vorn/database/DatabaseLocator.h"
#include "vorn/database/OpenDatabase.h"
#include "vorn/database/StoredDatabase.h"
#if defined(VORN_TOOL_HAVE_SQLITE)
#include "vorn/database/SqliteDatabase.h"
#endif
#if defined(VORN_TOOL_HAVE_POSTGRES)
#include "vorn/database/PostgresDatabase.h"
#endif
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/database/database_error.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/io/FileSystem.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/TextProgressDisplay.h"

namespace vorn::cli {
namespace {

namespace fs = std::filesystem;
using Entry = DatabaseEntry<std::string>;
using TextDatabase = StoredDatabase<Entry>;

// A database named on the command line: either DIR NAME, or one locator
// (DIR/NAME.adi, sqlite:FILE, postgresql://...).
struct Location {
  std::string locator;
  bool is_directory = true;
  std::string directory;  // for a directory database
  std::string name;
  // How messages name the database.
  std::string shown() const { return is_directory ? "database '" + name + "' in '" + directory + "'" : "'" + locator + "'"; }
};

Location location_of(const DatabaseLocator& locator) {
  Location where;
  where.locator = locator.text();
  where.is_directory = locator.kind() == DatabaseLocator::Kind::directory;
  where.directory = locator.directory();
  where.name = locator.name();
  return where;
}

Location take_location(Arguments& args) {
  const std::string first = args.take("DIR");
  if (DatabaseLocator::looks_like_locator(first)) return location_of(DatabaseLocator::parse(first));
  Location where;
  where.directory = first;
  where.name = args.take("NAME");
  if (where.name.empty() || where.name.find('/') != std::string::npos) {
    throw UsageError(args.command() + ": NAME must be a plain name, not '" + where.name + "'");
  }
  // The database keeps its directory without a trailing separator.
  while (where.directory.size() > 1 && where.directory.back() == '/') where.directory.pop_back();
  where.locator = EntryDirectory::index_path(where.directory, where.name);
  return where;
}

// Opens an existing database; a missing index is an error here, since the
// library would silently present an empty database. An over-long index line
// is quoted in part only.
std::unique_ptr<TextDatabase> open_existing(const Location& where, unsigned int mode) {
  if (!where.is_directory) return open_database<Entry>(where.locator, mode);
  const std::string index = where.locator;
  const std::string reason = open_failure_reason(index);
  if (!reason.empty()) {
    throw std::runtime_error("no database '" + where.name + "' in '" + where.directory + "': " + index + ": " + reason);
  }
  try {
    return std::make_unique<ArchiveDatabase<Entry>>(where.directory, where.name, mode);
  } catch (const std::invalid_argument& e) {
    const std::string what = e.what();
    const std::string lead = "DatabaseEntryIdentifier::DatabaseEntryIdentifier: Invalid DatabaseEntryIdentifier (wrong size):";
    if (what.compare(0, lead.size(), lead) != 0) throw;
    throw std::runtime_error("index '" + index + "' holds a line longer than " +
                             std::to_string(DatabaseEntryIdentifier::maximum_length_) +
                             " bytes: " + shown(what.substr(lead.size())));
  }
}

// Creates an empty database where none is (a directory database's
// directory too) and returns its store, open for writing.
std::unique_ptr<EntryStore> create_database(const Location& where) {
  DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  options.error_if_exists = true;
  const std::string exists = where.is_directory
                                 ? "database '" + where.name + "' already exists in '" + where.directory + "'"
                                 : "database '" + where.locator + "' already exists";
  if (where.is_directory) {
    if (fs::exists(where.locator)) throw std::runtime_error(exists);
    fs::create_directories(where.directory);
  }
  try {
    return open_entry_store(where.locator, options);
  } catch (const database_error& e) {
    if (std::string(e.what()).find("already exists") != std::string::npos) throw std::runtime_error(exists);
    throw;
  }
}

// The entries hold text: a zero byte would cut the entry short on reading.
void check_text(const std::string& data, const std::string& source) {
  if (data.find('\0') != std::string::npos) {
    throw std::runtime_error(source + " holds a zero byte; entries hold text");
  }
}

THandle<Entry> make_entry(const std::string& id, std::string data) {
  return THandle<Entry>(new Entry(DatabaseEntryIdentifier(id), THandle<std::string>(new std::string(std::move(data)))));
}

void store(TextDatabase& db, const THandle<Entry>& entry) {
  if (db.identifier_exists(entry->identifier())) {
    db.replace(entry);
  } else {
    db.append(entry);
  }
}

// A progress bar on standard error, only when that is a terminal.
class Progress {
 public:
  Progress(const char* label, int steps) {
    if (::isatty(2) == 1) {
      display_ = std::make_unique<TextProgressDisplay>(monitor_, std::cerr, label, TextProgressDisplay::Mode::terminal);
    }
    monitor_.set_steps(steps);
  }
  void step(int done) { monitor_.set_progress(done); }
  void complete() { monitor_.set_complete(); }

 private:
  ProgressMonitor monitor_;
  std::unique_ptr<TextProgressDisplay> display_;
};

int create(Arguments& args) {
  const Location where = take_location(args);
  args.expect_end();
  create_database(where);
  return 0;
}

int list(Arguments& args) {
  const Location where = take_location(args);
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  std::string out;
  for (int i = 0; i < db->size(); ++i) {
    out += db->identifier(i);
    out += '\n';
  }
  write_stdout(out);
  return 0;
}

int get(Arguments& args) {
  const Location where = take_location(args);
  const DatabaseEntryIdentifier id(args.take("ID"));
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  write_stdout(*db->entry(id)->data());
  return 0;
}

int put(Arguments& args) {
  const Location where = take_location(args);
  const std::string id = args.take("ID");
  const std::string source = args.empty() ? "-" : args.take("FILE");
  args.expect_end();
  const auto db = open_existing(where, Archive::READ | Archive::WRITE);
  std::string data = read_file(source);
  check_text(data, source == "-" ? "standard input" : "'" + source + "'");
  store(*db, make_entry(id, std::move(data)));
  return 0;
}

int remove_entry(Arguments& args) {
  const Location where = take_location(args);
  const DatabaseEntryIdentifier id(args.take("ID"));
  args.expect_end();
  open_existing(where, Archive::READ | Archive::WRITE)->remove(id);
  return 0;
}

int nearest(Arguments& args) {
  const Location where = take_location(args);
  const DatabaseEntryIdentifier id(args.take("ID"));
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  TextDatabase::IdentifierMatch match = TextDatabase::no_match;
  const int i = db->nearest_entry(id, match);
  if (i < 0) throw std::runtime_error(where.shown() + " is empty");
  const char* kind = match == TextDatabase::exact_match              ? "exact"
                     : match == TextDatabase::case_insensitive_match ? "case-insensitive"
                                                                     : "none";
  write_stdout(static_cast<const std::string&>(db->identifier(i)) + '\t' + kind + '\n');
  return 0;
}

// Everything to import, read and checked before the database is touched, so
// that a bad source changes nothing.
std::vector<std::pair<std::string, std::string>> collect_import(const std::string& source, const EntryStore& store) {
  std::vector<std::pair<std::string, std::string>> items;  // identifier, path
  if (fs::is_directory(source)) {
    std::vector<fs::path> files;
    for (const fs::directory_entry& e : fs::directory_iterator(source)) {
      if (e.is_regular_file()) files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      const std::string id = to_valid_base_filename(file.stem().string());
      if (id.empty()) throw std::runtime_error("'" + file.string() + "' gives no valid identifier");
      items.emplace_back(id, file.string());
    }
  } else {
    std::istringstream list(read_file(source));
    const fs::path base = fs::path(source).parent_path();
    std::string line;
    int number = 0;
    while (list.good()) {
      vorn::getline(list, line);
      ++number;
      if (trim(line).empty()) continue;
      const std::size_t tab = line.find('\t');
      if (tab == std::string::npos) {
        throw std::runtime_error("'" + source + "' line " + std::to_string(number) +
                                 ": expected identifier<TAB>path: " + shown(line));
      }
      const fs::path path(line.substr(tab + 1));
      items.emplace_back(line.substr(0, tab), (path.is_absolute() ? path : base / path).string());
    }
  }
  std::set<std::string> seen;
  for (const auto& item : items) {
    DatabaseEntryIdentifier id;
    try {
      id = DatabaseEntryIdentifier(item.first);
    } catch (const std::invalid_argument&) {
      throw std::runtime_error("identifier '" + shown(item.first) + "' of '" + source + "' is longer than " +
                               std::to_string(DatabaseEntryIdentifier::maximum_length_) + " bytes");
    }
    store.check_new_identifier(id);  // the database's own rules, before anything is stored
    if (!seen.insert(id).second) {
      throw std::runtime_error("identifier '" + shown(item.first) + "' occurs twice in '" + source + "'");
    }
  }
  return items;
}

int import(Arguments& args) {
  const bool relaxed = args.take_flag("--relaxed");
  const Location where = take_location(args);
  const std::string source = args.take("SOURCE");
  args.expect_end();
  const auto db = open_existing(where, Archive::READ | Archive::WRITE);
  if (relaxed) db->set_durability(vorn::Durability::relaxed);
  const auto items = collect_import(source, db->store());
  std::vector<THandle<Entry>> entries;
  entries.reserve(items.size());
  for (const auto& [id, path] : items) {
    std::string data = read_file(path);
    check_text(data, "'" + path + "'");
    entries.push_back(make_entry(id, std::move(data)));
  }
  Progress progress("import", static_cast<int>(entries.size()));
  int added = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!db->identifier_exists(entries[i]->identifier())) ++added;
    store(*db, entries[i]);
    progress.step(static_cast<int>(i + 1));
  }
  progress.complete();
  std::cerr << "imported " << entries.size() << " entries (" << added << " new, " << entries.size() - added
            << " replaced)\n";
  return 0;
}

// True when `inner` is `outer` or lies below it, once both are resolved.
bool is_within(const fs::path& inner, const fs::path& outer) {
  const fs::path a = fs::weakly_canonical(inner);
  const fs::path b = fs::weakly_canonical(outer);
  auto i = a.begin();
  for (auto j = b.begin(); j != b.end(); ++j, ++i) {
    if (j->empty()) continue;  // the empty last element of a path ending in "/"
    if (i == a.end() || *i != *j) return false;
  }
  return true;
}

// Every file is checked before the first is written: a refused export
// writes nothing.
int export_entries(Arguments& args) {
  const bool force = args.take_flag("--force");
  const Location where = take_location(args);
  const std::string target = args.take("TARGET");
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  if (where.is_directory && is_within(target, where.directory)) {
    throw std::runtime_error("refusing to export into the database's own directory '" + where.directory + "'");
  }
  // Room for the temporary suffix of the atomic replacement.
  constexpr std::size_t longest_name = 255 - 32;
  std::map<std::string, std::string> names;  // file name -> identifier
  for (int i = 0; i < db->size(); ++i) {
    const std::string id = db->identifier(i);
    const std::string file = to_valid_base_filename(id);
    if (file.empty()) throw std::runtime_error("identifier '" + shown(id) + "' gives no valid file name");
    if (file.size() > longest_name) {
      throw std::runtime_error("identifier '" + shown(id) + "' gives a file name longer than " +
                               std::to_string(longest_name) + " bytes");
    }
    const auto [it, fresh] = names.emplace(file, id);
    if (!fresh) {
      throw std::runtime_error("identifiers '" + shown(it->second) + "' and '" + shown(id) + "' give the same file name");
    }
    const fs::path path = fs::path(target) / file;
    std::error_code error;
    if (!force && fs::exists(fs::symlink_status(path, error))) {
      throw std::runtime_error("'" + path.string() + "' exists; use --force to overwrite it");
    }
  }
  fs::create_directories(target);
  Progress progress("export", db->size());
  for (int i = 0; i < db->size(); ++i) {
    const THandle<Entry> entry = db->entry(i);
    vorn::replace_file_atomically((fs::path(target) / to_valid_base_filename(entry->identifier())).string(), *entry->data());
    progress.step(i + 1);
  }
  progress.complete();
  return 0;
}

// Opens TARGET for copying into it: created when missing (a directory
// database's directory too), refused when it already holds entries.
std::unique_ptr<EntryStore> open_copy_target(const Location& to) {
  DatabaseOptions options;
  options.writable = true;
  options.create_if_missing = true;
  if (to.is_directory) fs::create_directories(to.directory);
  std::unique_ptr<EntryStore> target = open_entry_store(to.locator, options);
  if (target->size() != 0) {
    throw std::runtime_error("target '" + to.locator + "' already holds " + std::to_string(target->size()) +
                             " entries; copy into a new or empty database");
  }
  return target;
}

// Every entry of SOURCE, in order and byte for byte, appended to TARGET in
// batches (each one all or none), then both read back and compared.
int copy(Arguments& args) {
  const Location from = location_of(DatabaseLocator::parse(args.take("SOURCE")));
  const Location to = location_of(DatabaseLocator::parse(args.take("TARGET")));
  args.expect_end();
  const std::unique_ptr<EntryStore> source = open_entry_store(from.locator, DatabaseOptions());
  const int n = source->size();
  std::vector<DatabaseEntryIdentifier> ids;
  ids.reserve(static_cast<std::size_t>(n));
  std::set<std::string> seen;
  for (int i = 0; i < n; ++i) {
    ids.push_back(source->identifier(i));
    if (!seen.insert(ids.back()).second) {
      throw std::runtime_error("source '" + from.locator + "' lists the identifier '" + shown(ids.back()) + "' twice");
    }
  }
  const std::unique_ptr<EntryStore> target = open_copy_target(to);
  for (const DatabaseEntryIdentifier& id : ids) target->check_new_identifier(id);

  // A batch is written when it holds this many entries or bytes.
  constexpr std::size_t batch_entries = 1000;
  constexpr std::size_t batch_bytes = std::size_t{16} << 20;
  Progress progress("copy", n);
  std::vector<EntryStore::Change> batch;
  std::size_t bytes = 0;
  for (int i = 0; i < n; ++i) {
    batch.push_back({EntryStore::Change::append, ids[static_cast<std::size_t>(i)], source->read(i, "copy")});
    bytes += batch.back().bytes.size();
    if (batch.size() == batch_entries || bytes >= batch_bytes || i + 1 == n) {
      target->apply(batch, "copy");
      batch.clear();
      bytes = 0;
      progress.step(i + 1);
    }
  }
  progress.complete();

  target->reload();
  if (target->size() != n) {
    throw std::runtime_error("copy check failed: '" + to.locator + "' holds " + std::to_string(target->size()) +
                             " entries, '" + from.locator + "' " + std::to_string(n));
  }
  for (int i = 0; i < n; ++i) {
    const std::string& id = ids[static_cast<std::size_t>(i)];
    if (target->identifier(i).text() != id || target->read(i, "copy") != source->read(i, "copy")) {
      throw std::runtime_error("copy check failed: entry " + std::to_string(i) + " ('" + shown(id) + "') of '" +
                               to.locator + "' differs from the source");
    }
  }
  std::cerr << "copied " << n << (n == 1 ? " entry" : " entries") << " from " << from.locator << " to "
            << to.locator << '\n';
  return 0;
}

// One line of the index as the library reads it.
struct IndexLine {
  int number;
  std::string text;  // untrimmed
};

// The lines of the index file, split as the library splits them; `unended`
// is set when bytes after the last line end are ignored.
std::vector<IndexLine> index_lines(const std::string& bytes, bool& unended) {
  std::vector<IndexLine> lines;
  std::size_t p = 0;
  unended = false;
  while (p < bytes.size()) {
    const std::size_t q = bytes.find_first_of("\r\n", p);
    if (q == std::string::npos || (bytes[q] == '\r' && q + 1 == bytes.size())) {
      unended = true;
      break;
    }
    lines.push_back({static_cast<int>(lines.size()) + 1, bytes.substr(p, q - p)});
    p = q + 1;
    if (bytes[q] == '\r' && p < bytes.size() && bytes[p] == '\n') ++p;
  }
  return lines;
}

// Leftover temporary names of the index ("N.adi.tmp...") and of entry files
// ("N_<id>.ade.tmp..."), as paths relative to the database directory.
bool is_temporary(const std::string& relative, const std::string& name) {
  const std::size_t tmp = relative.rfind(".tmp");
  if (tmp == std::string::npos) return false;
  const std::string tail = relative.substr(tmp + 4);
  // Nothing, or ".<pid>.<serial>" from an atomic replacement.
  const bool tail_ok = tail.empty() || (tail[0] == '.' && tail.find_first_not_of("0123456789.") == std::string::npos);
  if (!tail_ok) return false;
  const std::string base = relative.substr(0, tmp);
  if (base == name + ".adi") return true;
  return base.size() > name.size() + 5 && base.compare(0, name.size() + 1, name + "_") == 0 &&
         base.compare(base.size() - 4, 4, ".ade") == 0;
}

// The findings of `db check`, one line each.
class Findings {
 public:
  void add(const std::string& line) {
    report_ << line << '\n';
    ++count_;
  }
  void note(const std::string& line) { report_ << line << '\n'; }
  int count() const noexcept { return count_; }
  std::string text() const { return report_.str(); }

 private:
  std::ostringstream report_;
  int count_ = 0;
};

// The identifiers the index lists, with every problem of its lines reported.
std::vector<DatabaseEntryIdentifier> check_index(const Location& where, Findings& findings, bool& loadable) {
  const std::string index = where.locator;
  bool unended = false;
  const std::vector<IndexLine> lines = index_lines(read_file(index), unended);
  std::vector<DatabaseEntryIdentifier> ids;
  std::map<std::string, int> first_line;
  loadable = true;
  for (const IndexLine& line : lines) {
    const std::string where_line = "index line " + std::to_string(line.number);
    if (line.text.find('\0') != std::string::npos) {
      findings.add(where_line + " holds a zero byte: " + shown(line.text));
      continue;
    }
    DatabaseEntryIdentifier id;
    try {
      id = DatabaseEntryIdentifier(line.text);
    } catch (const std::invalid_argument&) {
      findings.add(where_line + " is longer than " + std::to_string(DatabaseEntryIdentifier::maximum_length_) +
                   " bytes: " + shown(line.text));
      loadable = false;
      continue;
    }
    try {
      ArchiveDatabase<Entry>::check_identifier(where.name, id);
    } catch (const database_error& e) {
      findings.add(where_line + ": " + e.what());
      continue;
    }
    const auto [it, fresh] = first_line.emplace(id, line.number);
    if (!fresh) {
      findings.add(where_line + " repeats line " + std::to_string(it->second) + ": " + shown(id));
      continue;
    }
    ids.push_back(id);
  }
  if (unended) findings.add("index ends without a line end; its last line is ignored");
  return ids;
}

// Reads every listed entry back: the file must be a regular file inside the
// directory, of version 6, holding the identifier it is named after.
void check_entries(const ArchiveDatabase<Entry>& db, const std::vector<DatabaseEntryIdentifier>& ids, Findings& findings) {
  for (const DatabaseEntryIdentifier& id : ids) {
    const std::string path = db.absolute_entry_file_name(id);
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) {
      findings.add("index line without entry file: " + shown(id));
      continue;
    }
    Entry entry;
    try {
      db.read_entry(path, entry);
    } catch (const std::exception& e) {
      findings.add("entry file does not read back: " + std::string(e.what()));
      continue;
    }
    const std::string bytes = vorn::read_file(path);
    const std::string version6("\0\0\0\6", 4);
    if (bytes.compare(0, 4, version6) != 0) {
      int version = 0;
      for (std::size_t i = 0; i < 4 && i < bytes.size(); ++i) version = version * 256 + static_cast<unsigned char>(bytes[i]);
      findings.add("entry file of unknown version " + std::to_string(version) + ": " + path);
    }
    if (entry.identifier().text() != id.text()) {
      findings.add("entry file holds the identifier '" + shown(entry.identifier()) + "': " + path);
    }
  }
}

// Files below the directory that belong to the database but are not listed:
// entry files the index does not name, leftover temporary files (removed
// with `repair`), and a lock file that is not an empty regular file.
void check_directory(const Location& where, const std::set<std::string>& listed, bool repair, Findings& findings) {
  const std::string prefix = where.name + "_";
  const std::string suffix = ".ade";
  const std::string lock = where.name + ".lock";
  std::vector<std::string> unlisted, temporary;
  // Entry files are NAME_<id>.ade, and an identifier holding "/" puts its
  // file in a subdirectory, so the whole tree below DIR is searched (links
  // to directories are not entered).
  for (const fs::directory_entry& e : fs::recursive_directory_iterator(where.directory)) {
    const std::string relative = fs::relative(e.path(), where.directory).generic_string();
    if (relative == lock) {
      if (!e.is_regular_file() || e.is_symlink() || e.file_size() != 0) {
        findings.add("lock file is not an empty regular file: " + e.path().string());
      }
      continue;
    }
    if (e.is_directory() && !e.is_symlink()) continue;
    if (is_temporary(relative, where.name)) {
      temporary.push_back(e.path().string());
      continue;
    }
    if (relative.size() < prefix.size() + suffix.size() || relative.compare(0, prefix.size(), prefix) != 0 ||
        relative.compare(relative.size() - suffix.size(), suffix.size(), suffix) != 0) {
      continue;
    }
    const std::string id = relative.substr(prefix.size(), relative.size() - prefix.size() - suffix.size());
    if (listed.count(id) == 0) unlisted.push_back(e.path().string());
  }
  std::sort(unlisted.begin(), unlisted.end());
  std::sort(temporary.begin(), temporary.end());
  for (const std::string& path : unlisted) findings.add("entry file not in the index: " + path);
  for (const std::string& path : temporary) {
    if (!repair) {
      findings.add("leftover temporary file: " + path);
    } else {
      FileSystem::current().remove(path);
      findings.note("removed leftover temporary file: " + path);
    }
  }
}

int check(Arguments& args) {
  const bool repair = args.take_flag("--repair");
  const Location where = take_location(args);
  args.expect_end();
  if (!where.is_directory) {
    throw std::runtime_error("check reads directory databases only (DIR NAME or DIR/NAME.adi), not '" +
                             where.locator + "'");
  }
  const std::string index = where.locator;
  const std::string reason = open_failure_reason(index);
  if (!reason.empty()) {
    throw std::runtime_error("no database '" + where.name + "' in '" + where.directory + "': " + index + ": " + reason);
  }
  Findings findings;
  bool loadable = true;
  const std::vector<DatabaseEntryIdentifier> ids = check_index(where, findings, loadable);
  std::set<std::string> listed(ids.begin(), ids.end());
  if (loadable) {
    check_entries(ArchiveDatabase<Entry>(where.directory, where.name, Archive::READ), ids, findings);
  } else {
    findings.note("entry files not read back: the library cannot load this index");
  }
  check_directory(where, listed, repair, findings);
  if (findings.count() == 0) findings.note("ok: " + std::to_string(ids.size()) + " entries");
  write_stdout(findings.text());
  if (findings.count() != 0) {
    throw std::runtime_error("database '" + where.name + "' has " + std::to_string(findings.count()) +
                             (findings.count() == 1 ? " problem" : " problems"));
  }
  return 0;
}

int run_action(const std::string& action, Arguments& args) {
  if (action == "create") return create(args);
  if (action == "list") return list(args);
  if (action == "get") return get(args);
  if (action == "put") return put(args);
  if (action == "remove") return remove_entry(args);
  if (action == "nearest") return nearest(args);
  if (action == "import") return import(args);
  if (action == "export") return export_entries(args);
  if (action == "check") return check(args);
  if (action == "copy") return copy(args);
  throw UsageError("db: unknown action '" + action + "'");
}

}  // namespace

int run_db(const std::string& action, Arguments& args) {
  try {
    return run_action(action, args);
  } catch (const std::invalid_argument& e) {
    // The archive names the file it could not open, but not why.
    const std::string what = e.what();
    const std::string lead = "Archive::open: Couldn't open file: ";
    if (what.compare(0, lead.size(), lead) != 0) throw;
    const std::string reason = open_failure_reason(what.substr(lead.size()));
    throw std::runtime_error(what + ": " + (reason.empty() ? "cannot be opened" : reason));
  }
}

}  // namespace vorn::cli
