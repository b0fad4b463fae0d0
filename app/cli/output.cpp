#include "app/cli/output.h"

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/cli/command.h"

namespace tovra::cli {

void printJson(std::ostream& out, const nlohmann::json& value) {
  out << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

Table::Table(std::vector<std::string> headers) : headers_(std::move(headers)) {}

void Table::add(std::vector<std::string> row) {
  row.resize(headers_.size());
  rows_.push_back(std::move(row));
}

void Table::print(std::ostream& out) const {
  std::vector<std::size_t> widths(headers_.size(), 0);
  const auto measure = [&](const std::vector<std::string>& row) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      widths[c] = std::max(widths[c], displayWidth(row[c]));
    }
  };
  measure(headers_);
  for (const auto& row : rows_) {
    measure(row);
  }
  const auto emit = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      line += row[c];
      if (c + 1 < row.size()) {
        line.append(widths[c] - displayWidth(row[c]) + 2, ' ');
      }
    }
    while (!line.empty() && line.back() == ' ') {
      line.pop_back();
    }
    out << line << "\n";
  };
  emit(headers_);
  for (const auto& row : rows_) {
    emit(row);
  }
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  for (const char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++width;
    }
  }
  return width;
}

std::string upperCountry(std::string_view country) {
  return base::upperCountry(country);
}

void requireUtf8(std::string_view text, std::string_view what) {
  if (!asokit::text::isValidUtf8(text)) {
    throw CommandError(Exit::usage, std::string(what) + " is not valid UTF-8 text.");
  }
}

}  // namespace tovra::cli
