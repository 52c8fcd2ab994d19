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
#include "vorn/database/DatabaseEntry.h"
#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/io/FileFunctions.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/TextProgressDisplay.h"

namespace vorn::cli {
namespace {

namespace fs = std::filesystem;
using Entry = DatabaseEntry<std::string>;
using TextDatabase = ArchiveDatabase<Entry>;

struct Location {
  std::string directory;
  std::string name;
};

Location take_location(Arguments& args) {
  Location where;
  where.directory = args.take("DIR");
  where.name = args.take("NAME");
  if (where.name.empty() || where.name.find('/') != std::string::npos) {
    throw UsageError(args.command() + ": NAME must be a plain name, not '" + where.name + "'");
  }
  // The database keeps its directory without a trailing separator.
  while (where.directory.size() > 1 && where.directory.back() == '/') where.directory.pop_back();
  return where;
}

// Opens an existing database; a missing index is an error here, since the
// library would silently present an empty database.
std::unique_ptr<TextDatabase> open_existing(const Location& where, unsigned int mode) {
  const std::string index = TextDatabase::index_file_path(where.directory, where.name);
  if (!fs::is_regular_file(index)) throw std::runtime_error("no database '" + where.name + "' in '" + where.directory + "'");
  return std::make_unique<TextDatabase>(where.directory, where.name, mode);
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
  const std::string index = TextDatabase::index_file_path(where.directory, where.name);
  if (fs::exists(index)) throw std::runtime_error("database '" + where.name + "' already exists in '" + where.directory + "'");
  fs::create_directories(where.directory);
  vorn::replace_file_atomically(index, "");
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
  if (i < 0) throw std::runtime_error("database '" + where.name + "' is empty");
  const char* kind = match == TextDatabase::exact_match              ? "exact"
                     : match == TextDatabase::case_insensitive_match ? "case-insensitive"
                                                                     : "none";
  write_stdout(static_cast<const std::string&>(db->identifier(i)) + '\t' + kind + '\n');
  return 0;
}

// Everything to import, read and checked before the database is touched, so
// that a bad source changes nothing.
std::vector<std::pair<std::string, std::string>> collect_import(const std::string& source) {
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
        throw std::runtime_error("'" + source + "' line " + std::to_string(number) + ": expected identifier<TAB>path");
      }
      const fs::path path(line.substr(tab + 1));
      items.emplace_back(line.substr(0, tab), (path.is_absolute() ? path : base / path).string());
    }
  }
  std::set<std::string> seen;
  for (const auto& item : items) {
    const DatabaseEntryIdentifier id(item.first);  // throws for an over-long identifier
    if (!seen.insert(id).second) throw std::runtime_error("identifier '" + item.first + "' occurs twice in '" + source + "'");
  }
  return items;
}

int import(Arguments& args) {
  const Location where = take_location(args);
  const std::string source = args.take("SOURCE");
  args.expect_end();
  const auto db = open_existing(where, Archive::READ | Archive::WRITE);
  const auto items = collect_import(source);
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

int export_entries(Arguments& args) {
  const Location where = take_location(args);
  const std::string target = args.take("TARGET");
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  std::map<std::string, std::string> names;  // file name -> identifier
  for (int i = 0; i < db->size(); ++i) {
    const std::string id = db->identifier(i);
    const std::string file = to_valid_base_filename(id);
    if (file.empty()) throw std::runtime_error("identifier '" + id + "' gives no valid file name");
    const auto [it, fresh] = names.emplace(file, id);
    if (!fresh) throw std::runtime_error("identifiers '" + it->second + "' and '" + id + "' give the same file name");
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

int check(Arguments& args) {
  const Location where = take_location(args);
  args.expect_end();
  const auto db = open_existing(where, Archive::READ);
  std::set<std::string> listed;
  std::ostringstream report;
  int problems = 0;
  for (int i = 0; i < db->size(); ++i) {
    const std::string id = db->identifier(i);
    listed.insert(id);
    if (!fs::is_regular_file(db->absolute_entry_file_name(DatabaseEntryIdentifier(id)))) {
      report << "index line without entry file: " << id << '\n';
      ++problems;
    }
  }
  // Entry files are NAME_<id>.ade, and an identifier holding "/" puts its
  // file in a subdirectory, so the whole tree below DIR is searched.
  const std::string prefix = where.name + "_";
  const std::string suffix = ".ade";
  std::vector<std::string> unlisted;
  for (const fs::directory_entry& e : fs::recursive_directory_iterator(where.directory)) {
    if (!e.is_regular_file()) continue;
    const std::string relative = fs::relative(e.path(), where.directory).generic_string();
    if (relative.size() < prefix.size() + suffix.size() || relative.compare(0, prefix.size(), prefix) != 0 ||
        relative.compare(relative.size() - suffix.size(), suffix.size(), suffix) != 0) {
      continue;
    }
    const std::string id = relative.substr(prefix.size(), relative.size() - prefix.size() - suffix.size());
    if (listed.count(id) == 0) unlisted.push_back(e.path().string());
  }
  std::sort(unlisted.begin(), unlisted.end());
  for (const std::string& path : unlisted) report << "entry file not in the index: " << path << '\n';
  problems += static_cast<int>(unlisted.size());
  if (problems == 0) report << "ok: " << db->size() << " entries\n";
  write_stdout(report.str());
  if (problems != 0) {
    throw std::runtime_error("database '" + where.name + "' has " + std::to_string(problems) +
                             (problems == 1 ? " problem" : " problems"));
  }
  return 0;
}

}  // namespace

int run_db(const std::string& action, Arguments& args) {
  if (action == "create") return create(args);
  if (action == "list") return list(args);
  if (action == "get") return get(args);
  if (action == "put") return put(args);
  if (action == "remove") return remove_entry(args);
  if (action == "nearest") return nearest(args);
  if (action == "import") return import(args);
  if (action == "export") return export_entries(args);
  if (action == "check") return check(args);
  throw UsageError("db: unknown action '" + action + "'");
}

}  // namespace vorn::cli
