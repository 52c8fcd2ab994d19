// vorn: entry databases and identifier lists from the shell.
//
//   vorn db create|list|get|put|remove|nearest|import|export|check DIR NAME ...
//   vorn db ACTION LOCATOR ...     (DIR/NAME.adi, sqlite:FILE, postgresql://...)
//   vorn db copy SOURCE TARGET
//   vorn ids sort|uniq|diff|intersect|equiv FILE...
//   vorn pairs sort|uniq|swap|diff|equiv [--ignore-order] FILE...
//
// Exit status: 0 success, 1 an error (its message on standard error),
// 2 a mistake in the command line.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Cli.h"
#include "Commands.h"
#include "vorn/foundation/VornLog.h"

namespace {

const char* const usage_text = R"(usage: vorn [log options] GROUP ACTION ARGUMENTS...

Entry databases (text entries, kept as DIR/NAME.adi and DIR/NAME_<id>.ade,
or in SQLite or PostgreSQL). Wherever DIR NAME stands, one locator may stand
instead: DIR/NAME.adi, sqlite:FILE or a postgresql:// URI.
  vorn db create  DIR NAME            make an empty database (and DIR)
  vorn db copy    SOURCE TARGET       copy every entry, in order, from the
                                      locator SOURCE into TARGET (created, or
                                      empty), then compare them byte for byte
  vorn db list    DIR NAME            print the identifiers in index order
  vorn db get     DIR NAME ID         write the entry's data to standard output
  vorn db put     DIR NAME ID [FILE]  store FILE (standard input without FILE
                                      or for -) as the entry ID, adding or
                                      replacing it
  vorn db remove  DIR NAME ID         remove the entry ID
  vorn db nearest DIR NAME ID         print the nearest identifier and the
                                      match: exact, case-insensitive or none
  vorn db import  DIR NAME SOURCE [--relaxed]
                                      add or replace an entry for every file in
                                      the directory SOURCE (identifier: the file
                                      name without its extension, made valid
                                      by to_valid_base_filename), or for every line
                                      "identifier<TAB>path" of the file SOURCE
                                      (paths relative to SOURCE's directory);
                                      --relaxed skips syncing to the disk: fast,
                                      but a power cut may lose the import
  vorn db export  DIR NAME TARGET [--force]
                                      write every entry to a file in TARGET
                                      (not the database's own directory; an
                                      existing file only with --force)
  vorn db check   DIR NAME [--repair] report index lines without entry files,
                                      repeated or unreadable index lines, entry
                                      files that do not read back or hold
                                      another identifier or version, entry
                                      files the index does not list, leftover
                                      temporary files and a bad lock file;
                                      --repair removes the temporary files

Identifier lists (gcd files: one identifier per line):
  vorn ids sort FILE...               all identifiers, sorted
  vorn ids uniq FILE...               without repeats, first occurrences kept
  vorn ids diff A B                   identifiers of A that are not in B
  vorn ids intersect A B              identifiers in both A and B
  vorn ids equiv A B                  "equivalent" when A and B hold the same
                                      set of identifiers, else "not equivalent"

Identifier pair lists (dip files: two identifiers per line):
  vorn pairs sort  [--ignore-order] FILE...   sorted (each pair ordered first
                                              with --ignore-order)
  vorn pairs uniq  [--ignore-order] FILE...   without repeats (A B equals B A
                                              with --ignore-order)
  vorn pairs swap  FILE...                    every pair swapped
  vorn pairs diff  [--ignore-order] A B       pairs of A that are not in B
  vorn pairs equiv [--ignore-order] A B       "equivalent" or "not equivalent"

A FILE of - is standard input. Results go to standard output in the input's
own format. import and export show a progress bar on a terminal.

Options: --help, --version, and the log options -loglevel N, -minloglevel N,
-logfile FILE, -appendlogfile FILE, -stdout.

Exit status: 0 success, 1 an error (the message goes to standard error),
2 a mistake in the command line.
)";

bool wants(const std::vector<std::string>& words, const char* option) {
  for (const std::string& w : words) {
    if (w == option) return true;
  }
  return false;
}

int run(const std::vector<std::string>& words) {
  using vorn::cli::UsageError;
  if (wants(words, "--help") || wants(words, "-h")) {
    std::cout << usage_text;
    return 0;
  }
  if (wants(words, "--version")) {
    std::cout << "vorn " << VORN_TOOL_VERSION << '\n';
    return 0;
  }
  if (words.empty()) throw UsageError("missing command group (db, ids or pairs)");
  const std::string& group = words[0];
  if (group != "db" && group != "ids" && group != "pairs") throw UsageError("unknown command group '" + group + "'");
  if (words.size() < 2) throw UsageError(group + ": missing action");
  const std::string& action = words[1];
  vorn::cli::Arguments args(group + " " + action, std::vector<std::string>(words.begin() + 2, words.end()));
  if (group == "db") return vorn::cli::run_db(action, args);
  if (group == "ids") return vorn::cli::run_ids(action, args);
  return vorn::cli::run_pairs(action, args);
}

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  const std::vector<std::string> words(argv + 1, argv + argc);
  try {
    return run(words);
  } catch (const vorn::cli::UsageError& e) {
    std::cerr << "vorn: " << e.what() << "\nTry 'vorn --help'.\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "vorn: " << e.what() << '\n';
    return 1;
  }
}
