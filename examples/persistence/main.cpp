// A persistent object graph: samples share one instrument and refer back to
// their run (a cycle), are written to an archive file and read back with the
// sharing intact. A polymorphic hierarchy of peak shapes, registered with the
// factory, is printed item by item with DebugPrintStream.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace {

struct Run;

struct Instrument {
  std::string model;
  double resolution = 0;

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Instrument");
    s.write("model", model);
    s.write("resolution", resolution);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Instrument", presence);
    s.read("model", model);
    s.read("resolution", resolution);
  }
};

struct Sample {
  std::string name;
  std::vector<int> counts;
  vorn::THandle<Instrument> instrument;  // shared by every sample
  vorn::THandle<Run> run;                // back to the owner: a cycle

  void write(const char* tag, vorn::PersistentWriteStream& s) const;
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s);
};

struct Run {
  std::string title;
  std::vector<vorn::THandle<Sample>> samples;

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Run");
    s.write("title", title);
    s.write("samples", samples);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Run", presence);
    s.read("title", title);
    s.read("samples", samples);
  }
};

void Sample::write(const char* tag, vorn::PersistentWriteStream& s) const {
  vorn::PersistentWriteStream::Block block(s, tag, "Sample");
  s.write("name", name);
  s.write("counts", counts);
  s.write("instrument", instrument);
  s.write("run", run);
}

void Sample::read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
  vorn::PersistentReadStream::Block block(s, tag, "Sample", presence);
  s.read("name", name);
  s.read("counts", counts);
  s.read("instrument", instrument);
  s.read("run", run);
}

// A polymorphic hierarchy: the base declares the persistent operations,
// PolymorphicPersistent supplies clone() and class_name().
class PeakShape {
 public:
  virtual ~PeakShape() = default;
  virtual void write(const char* tag, vorn::PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) = 0;
  virtual vorn::THandle<PeakShape> clone() const = 0;
  virtual const char* class_name() const = 0;
};

class Gaussian : public vorn::PolymorphicPersistent<Gaussian, PeakShape> {
 public:
  static constexpr const char* type_name_ = "Gaussian";
  double width = 1.5;
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name());
    s.write("width", width);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), p);
    s.read("width", width);
  }
};

class Lorentzian : public vorn::PolymorphicPersistent<Lorentzian, PeakShape> {
 public:
  static constexpr const char* type_name_ = "Lorentzian";
  int order = 2;
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name());
    s.write("order", order);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), p);
    s.read("order", order);
  }
};

// One registrar per class, usually in the class's own source file.
const vorn::PolymorphicRegistrar<PeakShape, Gaussian> gaussian_registrar;
const vorn::PolymorphicRegistrar<PeakShape, Lorentzian> lorentzian_registrar;

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);

  auto instrument = vorn::make_handle<Instrument>("MX-400", 0.05);
  auto run = vorn::make_handle<Run>("calibration", std::vector<vorn::THandle<Sample>>());
  for (const char* name : {"blank", "standard"}) {
    run->samples.push_back(vorn::make_handle<Sample>(name, std::vector<int>{3, 5, 8}, instrument, run));
  }

  const std::string path = "example_persistence.arc";
  {
    vorn::Archive out(path, vorn::Archive::WRITE);
    vorn::ArchiveWriteStream(out).write("run", run);
  }
  vorn::THandle<Run> restored;
  {
    vorn::Archive in(path, vorn::Archive::READ);
    vorn::ArchiveReadStream(in).read("run", restored);
  }
  std::remove(path.c_str());

  const auto& samples = restored->samples;
  std::cout << "run '" << restored->title << "' with " << samples.size() << " samples\n"
            << "instrument shared: " << std::boolalpha << (samples[0]->instrument == samples[1]->instrument) << '\n'
            << "cycle restored: " << (samples[1]->run == restored) << '\n';

  // Break the cycle so that the run can be freed.
  for (auto& sample : run->samples) sample->run = vorn::THandle<Run>();
  for (auto& sample : restored->samples) sample->run = vorn::THandle<Run>();

  std::vector<vorn::THandle<PeakShape>> shapes{vorn::make_handle<Gaussian>(), vorn::make_handle<Lorentzian>()};
  shapes.push_back(shapes[0]);
  vorn::DebugPrintStream print(std::cout);
  print.write("shapes", shapes);
  return 0;
}
