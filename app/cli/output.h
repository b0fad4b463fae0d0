#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::cli {

// Machine output: pretty-printed JSON on stdout, slashes unescaped.
void printJson(std::ostream& out, const nlohmann::json& value);

// Human output: columns aligned by their widest cell (counted in terminal cells, not bytes).
class Table final {
 public:
  explicit Table(std::vector<std::string> headers);
  void add(std::vector<std::string> row);
  // Within `width` cells when given: the widest columns give up room first, their long cells cut with an
  // ellipsis, so a line never wraps. Columns of short values (kShortColumn cells or fewer: ranks,
  // countries, dates) are never cut, nor a long one below that. Without a width every cell is whole.
  void print(std::ostream& out, std::optional<std::size_t> width) const;
  bool empty() const { return rows_.empty(); }

 private:
  std::vector<std::string> headers_;
  std::vector<std::vector<std::string>> rows_;
};

// Terminal cells the text takes.
std::size_t displayWidth(std::string_view text);
inline constexpr std::size_t kShortColumn = 10;
std::string upperCountry(std::string_view country);
// Refuses text that is not UTF-8 before it reaches the store or a request, with a usage error.
void requireUtf8(std::string_view text, std::string_view what);

inline constexpr std::string_view kEmDash = "—";
inline constexpr std::string_view kDot = " · ";

}  // namespace tovra::cli
