// MementoBase: the polymorphic base of a saved state that a command keeps so
// that it can undo itself.
//
//   struct SelectionMemento : vorn::MementoBase { std::vector<int> selected; };
//   vorn::THandle<vorn::MementoBase> saved = vorn::make_handle<SelectionMemento>(...);
//
// Held through THandle<MementoBase>; commands cast back with
// handle_dynamic_cast.
#ifndef VORN_COMMANDS_MEMENTOBASE_H_
#define VORN_COMMANDS_MEMENTOBASE_H_

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API MementoBase {
 public:
  virtual ~MementoBase();
};

}  // namespace vorn

#endif  // VORN_COMMANDS_MEMENTOBASE_H_
