#include <iostream>
#include <sstream>

#include "vorn/persistence/json/JsonReadStream.h"
#include "vorn/persistence/json/JsonWriteStream.h"

int main() {
  std::ostringstream text;
  {
    vorn::JsonWriteStream out(text);
    out.write("answer", 42);
  }
  std::istringstream in(text.str());
  vorn::JsonReadStream stream(in);
  int answer = 0;
  stream.read("answer", answer);
  std::cout << "consumer ok " << answer << '\n';
  return 0;
}
