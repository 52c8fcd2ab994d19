// database_error: the exception through which the entry database reports
// every failure of its own (closed for writing, unknown or duplicate
// identifier, entry position out of range, unusable identifier, corrupt
// entry file).
//
//   try {
//     db.append(entry);
//   } catch (const vorn::database_error& e) {
//     std::cerr << e.what() << '\n';
//   }
//
// It carries only its message.
#ifndef VORN_DATABASE_DATABASE_ERROR_H_
#define VORN_DATABASE_DATABASE_ERROR_H_

#include <stdexcept>
#include <string>

#include "vorn/foundation/Export.h"

namespace vorn {

class VORN_API database_error : public std::runtime_error {
 public:
  explicit database_error(const std::string& message) : std::runtime_error(message) {}
  ~database_error() override;
};

}  // namespace vorn

#endif  // VORN_DATABASE_DATABASE_ERROR_H_
