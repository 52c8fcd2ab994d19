// A tiny line editor with undo and redo: typing merges into one step, a
// macro groups a multi-part edit, and an observer shows the "modified" mark.
#include <iostream>
#include <string>
#include <utility>

#include "vorn/vorn.h"

namespace {

// Appends text to the document; consecutive typing merges into one step.
class Type : public vorn::Command {
 public:
  Type(std::string& doc, std::string text) : doc_(doc), text_(std::move(text)) {}
  bool execute() override {
    doc_ += text_;
    return true;
  }
  bool undo() override {
    doc_.erase(doc_.size() - text_.size());
    return true;
  }
  std::string name() const override { return "Typing"; }
  int id() const override { return 1; }
  bool merge_with(const vorn::Command& next) override {
    text_ += static_cast<const Type&>(next).text_;
    return true;
  }

 private:
  std::string& doc_;
  std::string text_;
};

// Replaces the whole document, remembering the old text in a memento.
class Replace : public vorn::StoredNameCommand {
 public:
  Replace(std::string& doc, std::string text) : StoredNameCommand("Replace"), doc_(doc), text_(std::move(text)) {}
  bool execute() override {
    saved_ = vorn::make_handle<Saved>(doc_);
    doc_ = text_;
    return true;
  }
  bool undo() override {
    doc_ = vorn::handle_static_cast<Saved>(saved_)->text;
    return true;
  }

 private:
  struct Saved : vorn::MementoBase {
    explicit Saved(std::string t) : text(std::move(t)) {}
    std::string text;
  };
  std::string& doc_;
  std::string text_;
  vorn::THandle<vorn::MementoBase> saved_;
};

class Title : public vorn::Observer {
 public:
  explicit Title(const vorn::CommandProcessor& processor) : processor_(processor) {}
  void update(vorn::Subject*, const UpdateFlags& flags) override {
    if (flags.test(vorn::CommandProcessor::clean_state_changed)) {
      std::cout << (processor_.is_clean() ? "  [saved]\n" : "  [modified]\n");
    }
  }

 private:
  const vorn::CommandProcessor& processor_;
};

}  // namespace

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  std::string doc;
  vorn::CommandProcessor processor(10);
  Title title(processor);
  processor.connect(title);

  auto show = [&] { std::cout << '"' << doc << "\"  undo: '" << processor.undo_name() << "'\n"; };
  for (const char* key : {"H", "e", "l", "l", "o"}) processor.submit(vorn::make_handle<Type>(doc, key));
  show();
  processor.mark_clean();
  {
    vorn::CommandMacroBlock macro(processor, "Greet the world");
    processor.submit(vorn::make_handle<Replace>(doc, "Hello,"));
    processor.submit(vorn::make_handle<Type>(doc, " world"));
  }
  show();
  processor.undo();
  show();
  processor.redo();
  show();
  processor.undo();
  processor.undo();
  show();
  processor.disconnect(title);
  return 0;
}
