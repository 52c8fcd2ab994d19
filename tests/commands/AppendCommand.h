// The command of the command tests: appends text to a shared document and
// takes it off again, with hooks for failing, throwing and re-entering.
#ifndef VORN_TESTS_COMMANDS_APPENDCOMMAND_H_
#define VORN_TESTS_COMMANDS_APPENDCOMMAND_H_

#include <functional>
#include <string>
#include <utility>

#include "vorn/commands/StoredNameCommand.h"

namespace vorn::test {

// Appends text to a shared document. Commands of one non-negative id merge;
// `before` runs first in execute (to throw or re-enter), `undo_hook` in undo.
class Append : public StoredNameCommand {
 public:
  Append(std::string& doc, std::string text, int id = -1)
      : StoredNameCommand("Append " + text), doc_(doc), text_(std::move(text)), id_(id) {}
  bool execute() override {
    if (before) before();
    if (fail) return false;
    doc_ += text_;
    return true;
  }
  bool undo() override {
    if (undo_hook) undo_hook();
    doc_.erase(doc_.size() - text_.size());
    return true;
  }
  bool can_undo() const override { return undoable; }
  int id() const override { return id_; }
  bool merge_with(const Command& next) override {
    text_ += static_cast<const Append&>(next).text_;
    if (on_merge) on_merge(*this);
    return true;
  }

  bool fail = false;
  bool undoable = true;
  std::function<void()> before;
  std::function<void()> undo_hook;
  std::function<void(Append&)> on_merge;

 private:
  std::string& doc_;
  std::string text_;
  int id_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_COMMANDS_APPENDCOMMAND_H_
