// ReentrancyGuard: refuses an operation while another one of the same object
// is in progress.
//
// The guarded object keeps a `bool` busy flag; each guarded operation opens a
// guard on it first. A guard opened while the flag is set throws
// std::logic_error "<operation>: another operation is in progress" and
// changes nothing; otherwise it sets the flag and clears it when it goes out
// of scope, also when an exception passes.
//
//   bool Processor::run() {
//     vorn::ReentrancyGuard guard(busy_, "Processor::run");
//     ...   // a callback that calls run() again gets std::logic_error
//   }
#ifndef VORN_COMMANDS_REENTRANCYGUARD_H_
#define VORN_COMMANDS_REENTRANCYGUARD_H_

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API ReentrancyGuard {
 public:
  ReentrancyGuard(bool& busy, const char* operation);
  ReentrancyGuard(const ReentrancyGuard&) = delete;
  ReentrancyGuard& operator=(const ReentrancyGuard&) = delete;
  ~ReentrancyGuard();

 private:
  bool& busy_;
};

}  // namespace vorn

#endif  // VORN_COMMANDS_REENTRANCYGUARD_H_
