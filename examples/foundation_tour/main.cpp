// A short tour of the foundation: counted handles, weak references and the log.
#include <iostream>
#include <string>
#include <utility>

#include "vorn/vorn.h"

namespace {

struct Sample {
  explicit Sample(std::string name) : name(std::move(name)) {}
  virtual ~Sample() = default;
  std::string name;
};

struct Spectrum : Sample {
  explicit Spectrum(int points) : Sample("spectrum"), points(points) {}
  int points;
};

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);

  vorn::THandle<Sample> sample = vorn::make_handle<Spectrum>(1024);
  vorn::TWeakHandle<Sample> observer(sample);
  {
    vorn::THandle<Sample> copy = sample;
    std::cout << "owners of '" << sample->name << "': " << sample.count_block()->strong_count() << '\n';
  }
  if (auto spectrum = vorn::handle_dynamic_cast<Spectrum>(sample)) {
    std::cout << "it is a spectrum of " << spectrum->points << " points\n";
  }
  VORN_DEBUG_TRACE(1, "dropping the last owner of " << sample->name);
  sample = vorn::THandle<Sample>();
  std::cout << "weak reference expired: " << std::boolalpha << observer.expired() << '\n';

  vorn::VornLog::start_info_line() << "done";
  vorn::VornLog::end_info_line();
  return 0;
}
