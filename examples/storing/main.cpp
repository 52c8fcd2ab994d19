// Storing your own classes: the program behind docs/storing-classes.md, run
// by CTest so that the guide stays true. A Sample is written to an archive
// file, to an entry database and to JSON, a Measurement with a polymorphic member goes through
// JSON, later versions of Sample read a file written by the first, and a
// class version tells old blocks from new.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "vorn/persistence/json/JsonReadStream.h"
#include "vorn/persistence/json/JsonWriteStream.h"
#include "vorn/vorn.h"

namespace {

// A persistent class: one Block with the tag it is given and its type name,
// its members inside under their own tags; read() mirrors write().
class Sample {
 public:
  std::string name;
  std::vector<double> values;

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Sample");
    s.write("name", name);
    s.write("values", values);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Sample", presence);
    s.read("name", name);
    s.read("values", values);
  }
};

// A polymorphic hierarchy: the base declares the persistent operations,
// PolymorphicPersistent supplies clone() and class_name() in each class.
class Calibration {
 public:
  virtual ~Calibration() = default;
  virtual double apply(double raw) const = 0;
  virtual void write(const char* tag, vorn::PersistentWriteStream& s) const = 0;
  virtual void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) = 0;
  virtual vorn::THandle<Calibration> clone() const = 0;
  virtual const char* class_name() const = 0;
};

class LinearCalibration : public vorn::PolymorphicPersistent<LinearCalibration, Calibration> {
 public:
  static constexpr const char* type_name_ = "LinearCalibration";
  double slope = 1;
  double offset = 0;

  double apply(double raw) const override { return slope * raw + offset; }
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name());
    s.write("slope", slope);
    s.write("offset", offset);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), p);
    s.read("slope", slope);
    s.read("offset", offset);
  }
};

class ScaleCalibration : public vorn::PolymorphicPersistent<ScaleCalibration, Calibration> {
 public:
  static constexpr const char* type_name_ = "ScaleCalibration";
  double factor = 1;

  double apply(double raw) const override { return factor * raw; }
  void write(const char* tag, vorn::PersistentWriteStream& s) const override {
    vorn::PersistentWriteStream::Block block(s, tag, class_name());
    s.write("factor", factor);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence p, vorn::PersistentReadStream& s) override {
    vorn::PersistentReadStream::Block block(s, tag, class_name(), p);
    s.read("factor", factor);
  }
};

// Each class is registered once, usually in its own source file.
const vorn::PolymorphicRegistrar<Calibration, LinearCalibration> linear_registrar;
const vorn::PolymorphicRegistrar<Calibration, ScaleCalibration> scale_registrar;

// A class with a polymorphic member: a handle to the base.
class Measurement {
 public:
  Sample sample;
  vorn::THandle<Calibration> calibration;

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Measurement");
    s.write("sample", sample);
    s.write("calibration", calibration);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Measurement", presence);
    s.read("sample", sample);
    s.read("calibration", calibration);
  }
};

// Sample, a version later: it gained "unit". Files written before have no
// unit; reading it as optional keeps a default for them.
class SampleWithUnit {
 public:
  std::string name;
  std::vector<double> values;
  std::string unit = "counts";

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Sample");
    s.write("name", name);
    s.write("values", values);
    s.write("unit", unit);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Sample", presence);
    s.read("name", name);
    s.read("values", values);
    try {
      s.read("unit", unit, vorn::ITEM_OPTIONAL);
    } catch (const vorn::PersistentReadStream::OptionalItemNotPresent&) {
      unit = "counts";  // written before the field existed
    }
  }
};

// Sample, when its values changed their unit: version 2 stores counts,
// blocks written before (version 0, none given) stored kilo-counts.
class SampleInCounts {
 public:
  std::string name;
  std::vector<double> values;

  void write(const char* tag, vorn::PersistentWriteStream& s) const {
    vorn::PersistentWriteStream::Block block(s, tag, "Sample", 2);
    s.write("name", name);
    s.write("values", values);
  }
  void read(const char* tag, vorn::PersistentReadStreamPresence presence, vorn::PersistentReadStream& s) {
    vorn::PersistentReadStream::Block block(s, tag, "Sample", presence);
    s.read("name", name);
    s.read("values", values);
    if (block.version() < 2) {
      for (double& v : values) v *= 1000;
    }
  }
};

void check(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(std::string("storing example: ") + what);
}

void in_an_archive_file(const Sample& sample) {
  const std::string path = "example_storing.arc";
  {
    vorn::Archive file(path, vorn::Archive::WRITE);
    vorn::ArchiveWriteStream stream(file);
    stream.write("sample", sample);
  }
  Sample back;
  {
    vorn::Archive file(path, vorn::Archive::READ);
    vorn::ArchiveReadStream stream(file);
    stream.read("sample", back);
  }
  std::remove(path.c_str());
  check(back.name == sample.name && back.values == sample.values, "archive round trip");
  std::cout << "archive file: read back '" << back.name << "' with " << back.values.size() << " values\n";
}

void in_a_database(const Sample& sample) {
  using Entry = vorn::DatabaseEntry<Sample>;
  char pattern[] = "/tmp/vorn_storing_XXXXXX";
  const char* directory = ::mkdtemp(pattern);
  check(directory != nullptr, "a scratch directory");
  {
    vorn::ArchiveDatabase<Entry> db(directory, "samples", vorn::Archive::READ | vorn::Archive::WRITE);
    db.append(vorn::make_handle<Entry>(vorn::DatabaseEntryIdentifier("S1"), vorn::make_handle<Sample>(sample)));
    const vorn::THandle<Entry> entry = db.entry(vorn::DatabaseEntryIdentifier("S1"));
    check(entry->data()->values == sample.values, "database round trip");
    std::cout << "database: entry S1 holds '" << entry->data()->name << "'\n";
  }
  vorn::ArchiveDatabase<Entry>::delete_database_files(directory, "samples");
  std::remove((std::string(directory) + "/samples.lock").c_str());
  ::rmdir(directory);
}

std::string in_json(const Sample& sample) {
  std::ostringstream text;
  vorn::JsonWriteStream out(text, {/*indent=*/true});
  out.write("sample", sample);
  out.close();
  std::cout << "JSON:\n" << text.str() << '\n';

  std::istringstream in(text.str());
  vorn::JsonReadStream stream(in);
  Sample back;
  stream.read("sample", back);
  check(back.name == sample.name && back.values == sample.values, "JSON round trip");
  return text.str();
}

void with_a_polymorphic_member(const Sample& sample) {
  Measurement measurement{sample, vorn::THandle<Calibration>(new ScaleCalibration)};
  vorn::handle_static_cast<ScaleCalibration>(measurement.calibration)->factor = 2.5;

  std::ostringstream text;
  {
    vorn::JsonWriteStream out(text);
    out.write("measurement", measurement);
    out.close();
  }
  std::cout << "polymorphic member in JSON:\n" << text.str() << '\n';
  std::istringstream in(text.str());
  vorn::JsonReadStream stream(in);
  Measurement back;
  stream.read("measurement", back);
  check(std::string(back.calibration->class_name()) == "ScaleCalibration", "re-created by class name");
  check(back.calibration->apply(2) == 5, "calibration restored");

  // The typed archive streams store the class name with the value.
  {
    vorn::Archive file("example_storing.arc", vorn::Archive::WRITE);
    vorn::TypedArchiveWriteStream(file).write("measurement", measurement);
  }
  {
    vorn::Archive in("example_storing.arc", vorn::Archive::READ);
    Measurement typed;
    vorn::TypedArchiveReadStream(in).read("measurement", typed);
    check(typed.calibration->apply(2) == 5, "typed archive round trip");
    std::cout << "typed archive: re-created " << typed.calibration->class_name() << '\n';
  }

  // The plain archive streams are positional and store no class names.
  try {
    vorn::Archive file("example_storing.arc", vorn::Archive::WRITE);
    vorn::ArchiveWriteStream(file).write("measurement", measurement);
    check(false, "the archive stream refuses polymorphic handles");
  } catch (const std::runtime_error& e) {
    std::cout << "archive stream: " << e.what() << '\n';
  }
  std::remove("example_storing.arc");
}

void evolving(const std::string& old_json) {
  std::istringstream in(old_json);
  vorn::JsonReadStream stream(in);
  SampleWithUnit newer;
  stream.read("sample", newer);
  check(newer.unit == "counts", "the default for an old file");
  std::cout << "an old file read by the newer class: '" << newer.name << "' in " << newer.unit << '\n';
}

void with_versions(const std::string& old_json) {
  std::istringstream in(old_json);
  vorn::JsonReadStream stream(in);
  SampleInCounts sample;
  stream.read("sample", sample);
  check(sample.values[0] == 500, "an old block converted");

  std::ostringstream text;
  {
    vorn::JsonWriteStream out(text);
    out.write("sample", sample);
    out.close();
  }
  std::cout << "version 2: " << text.str() << '\n';
  std::istringstream again(text.str());
  vorn::JsonReadStream newer(again);
  SampleInCounts back;
  newer.read("sample", back);
  check(back.values == sample.values, "a version 2 block read as it is");
}

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  try {
    const Sample sample{"blank", {0.5, 1.25, 2}};
    in_an_archive_file(sample);
    in_a_database(sample);
    const std::string json = in_json(sample);
    with_a_polymorphic_member(sample);
    evolving(json);
    with_versions(json);
  } catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
  }
  return 0;
}
