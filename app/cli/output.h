#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::cli {

// Machine output: pretty-printed JSON on stdout, slashes unescaped.
void printJson(std::ostream& out, const nlohmann::json& value);

// Human output: columns aligned by their widest cell (counted in characters, not bytes).
class Table final {
 public:
  explicit Table(std::vector<std::string> headers);
  void add(std::vector<std::string> row);
  void print(std::ostream& out) const;
  bool empty() const { return rows_.empty(); }

 private:
  std::vector<std::string> headers_;
  std::vector<std::vector<std::string>> rows_;
};

// Characters shown, counting each UTF-8 sequence once.
std::size_t displayWidth(std::string_view text);
std::string upperCountry(std::string_view country);
// Refuses text that is not UTF-8 before it reaches the store or a request, with a usage error.
void requireUtf8(std::string_view text, std::string_view what);

inline constexpr std::string_view kEmDash = "—";
inline constexpr std::string_view kDot = " · ";

}  // namespace tovra::cli
