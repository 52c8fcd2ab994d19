// A tree model of samples grouped by plate. Items carry their own data (a
// peak count); an attribute supplier turns it into an attribute, which items
// cache. The model keeps sibling identifiers unique, sorts siblings
// (descending by identifier), and reports runs of neighbours whose attributes
// are equal.
#include <iostream>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace {

class Sample : public vorn::ModelItem {
 public:
  Sample(const std::string& id, int peaks) : ModelItem(vorn::DatabaseEntryIdentifier(id)), peaks(peaks) {}
  int peaks;
};

// The number of peaks of a sample; plates (plain items) count as 0.
class PeakCount : public vorn::AttributeSupplier {
 public:
  vorn::THandle<vorn::Attribute> attribute(vorn::ModelItem& item) override {
    const auto* sample = dynamic_cast<const Sample*>(&item);
    return vorn::make_handle<vorn::IntegerAttribute>(sample != nullptr ? sample->peaks : 0);
  }
};

vorn::THandle<vorn::ModelItem> sample(const std::string& id, int peaks) {
  return vorn::make_handle<Sample>(id, peaks);
}

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  vorn::TreeModel model;
  auto plate = model.insert(vorn::make_handle<vorn::ModelItem>(vorn::DatabaseEntryIdentifier("plate")));
  for (const auto& [id, peaks] : std::vector<std::pair<std::string, int>>{
           {"a1", 3}, {"a2", 3}, {"a3", 5}, {"a3", 5}, {"b1", 2}, {"b2", 2}}) {
    model.append_child(plate, sample(id, peaks));  // the second a3 becomes a3_1
  }
  model.sort(model.top_level_begin(), model.top_level_end(), true);
  model.print(std::cout);

  const vorn::THandle<vorn::AttributeSupplier> peaks = vorn::make_handle<PeakCount>();
  std::vector<vorn::TreeModelSiblingRange> runs;
  model.find_ranges_of_equivalent_siblings({peaks}, runs);
  for (const vorn::TreeModelSiblingRange& run : runs) {
    std::cout << "same peak count (" << (*run.first)->attribute(peaks)->as_text() << "):";
    for (auto it = run.first; it != run.last; ++it) std::cout << ' ' << static_cast<std::string>((*it)->identifier());
    std::cout << '\n';
  }
  return 0;
}
