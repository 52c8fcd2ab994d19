// vorn ids and vorn pairs: identifier lists (gcd files) and identifier pair
// lists (dip files).
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cli.h"
#include "Commands.h"
#include "vorn/database/DatabaseEntryIdentifierList.h"
#include "vorn/database/DatabaseEntryIdentifierPairList.h"

namespace vorn::cli {
namespace {

using Pairs = DatabaseEntryIdentifierPairList;

// Reads a list from `path` (standard input for "-").
template <class List>
List read_list(const std::string& path) {
  List list;
  if (path == "-") {
    list.read_from_file(std::cin);
    return list;
  }
  std::istringstream in(read_file(path));
  list.read_from_file(in);
  return list;
}

// Every FILE argument (at least one) read and joined in order.
template <class List>
List read_all(Arguments& args) {
  List all = read_list<List>(args.take("FILE"));
  while (!args.empty()) all.add(read_list<List>(args.take("FILE")));
  return all;
}

// Exactly two files, A and B.
template <class List>
std::pair<List, List> read_two(Arguments& args) {
  List a = read_list<List>(args.take("file A"));
  List b = read_list<List>(args.take("file B"));
  args.expect_end();
  return {std::move(a), std::move(b)};
}

void print_gcd(const DatabaseEntryIdentifierList& list) {
  std::ostringstream out;
  list.write_gcd_file(out);
  write_stdout(out.str());
}

void print_dip(const Pairs& list) {
  std::ostringstream out;
  list.write_dip_file(out);
  write_stdout(out.str());
}

void print_verdict(bool equivalent) { write_stdout(equivalent ? "equivalent\n" : "not equivalent\n"); }

// Sorted and without repeats: the form the set operations need.
DatabaseEntryIdentifierList as_set(DatabaseEntryIdentifierList list) {
  list.sort();
  list.remove_duplicates();
  return list;
}

}  // namespace

int run_ids(const std::string& action, Arguments& args) {
  using List = DatabaseEntryIdentifierList;
  if (action == "sort") {
    List all = read_all<List>(args);
    all.sort();
    print_gcd(all);
  } else if (action == "uniq") {
    List all = read_all<List>(args);
    all.remove_duplicates();
    print_gcd(all);
  } else if (action == "diff") {
    auto [a, b] = read_two<List>(args);
    List only_in_a;
    List only_in_b;
    difference(as_set(std::move(a)), as_set(std::move(b)), only_in_a, only_in_b);
    print_gcd(only_in_a);
  } else if (action == "intersect") {
    auto [a, b] = read_two<List>(args);
    print_gcd(intersection(as_set(std::move(a)), as_set(std::move(b))));
  } else if (action == "equiv") {
    auto [a, b] = read_two<List>(args);
    print_verdict(is_equivalent(a, b));
  } else {
    throw UsageError("ids: unknown action '" + action + "'");
  }
  return 0;
}

int run_pairs(const std::string& action, Arguments& args) {
  const Pairs::EquivalenceOption option = args.take_flag("--ignore-order") ? Pairs::order_ignored : Pairs::order_matters;
  if (action == "sort") {
    Pairs all = read_all<Pairs>(args);
    if (option == Pairs::order_ignored) all.sort_each_pair();
    all.sort();
    print_dip(all);
  } else if (action == "uniq") {
    Pairs all = read_all<Pairs>(args);
    all.remove_duplicates(option);
    print_dip(all);
  } else if (action == "swap") {
    if (option == Pairs::order_ignored) throw UsageError("pairs swap: --ignore-order makes no sense here");
    Pairs all = read_all<Pairs>(args);
    all.swap_each_pair();
    print_dip(all);
  } else if (action == "diff") {
    auto [a, b] = read_two<Pairs>(args);
    // The difference works on sorted lists; with --ignore-order it sorts
    // (normalised) copies itself.
    a.sort();
    b.sort();
    a.remove_duplicates(option);
    b.remove_duplicates(option);
    Pairs only_in_a;
    Pairs only_in_b;
    difference(a, b, only_in_a, only_in_b, option);
    print_dip(only_in_a);
  } else if (action == "equiv") {
    auto [a, b] = read_two<Pairs>(args);
    print_verdict(is_equivalent(a, b, option));
  } else {
    throw UsageError("pairs: unknown action '" + action + "'");
  }
  return 0;
}

}  // namespace vorn::cli
