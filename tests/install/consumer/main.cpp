#include <iostream>

#include "vorn/vorn.h"

int main(int argc, char** argv) {
  vorn::VornLog::process_args(argc, argv);
  vorn::THandle<int> answer(new int(42));
  vorn::TWeakHandle<int> weak(answer);
  std::cout << "consumer ok " << *weak.lock() << '\n';
  return 0;
}
