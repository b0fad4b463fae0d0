#pragma once

#include <fstream>
#include <sstream>
#include <string>

inline std::string readFixture(const std::string& relative) {
  std::ifstream in(std::string(TOVRA_TEST_DATA) + "/" + relative, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}
