#include "vorn/foundation/HandleCommon.h"

#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vorn {

namespace {
const std::string null_handle_message = "Internal error: access of null handle";

// The deletions queued on this thread while an outer one runs.
struct PendingDeletions {
  bool running = false;
  std::vector<std::pair<void*, void (*)(void*)>> queue;
};

thread_local PendingDeletions pending;
}  // namespace

void HandleCommon::destroy(void* object, void (*deleter)(void*)) noexcept {
  if (pending.running) {
    try {
      pending.queue.emplace_back(object, deleter);
      return;
    } catch (const std::bad_alloc&) {
      // No room to queue: delete in place, nested, as a last resort.
    }
    deleter(object);
    return;
  }
  pending.running = true;
  deleter(object);
  while (!pending.queue.empty()) {
    const auto next = pending.queue.back();
    pending.queue.pop_back();
    next.second(next.first);
  }
  pending.running = false;
}

void HandleCommon::UseCount::free_block() noexcept { delete this; }

void HandleCommon::null_handle_error() { throw std::runtime_error(null_handle_message); }

}  // namespace vorn
