#include "app/cli/output.h"

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/base/terminal_text.h"
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

namespace {

constexpr std::size_t kGap = 2;

// Takes one cell at a time from the widest column that may still give one, so columns of short values
// (ranks, countries, dates) keep their width while long names and keywords share what is left.
void fitWidths(std::vector<std::size_t>& widths, std::size_t width) {
  std::size_t total = widths.empty() ? 0 : kGap * (widths.size() - 1);
  for (const auto w : widths) {
    total += w;
  }
  while (total > width) {
    std::size_t widest = widths.size();
    for (std::size_t c = 0; c < widths.size(); ++c) {
      if (widths[c] > kShortColumn && (widest == widths.size() || widths[c] > widths[widest])) {
        widest = c;
      }
    }
    if (widest == widths.size()) {
      return;
    }
    --widths[widest];
    --total;
  }
}

}  // namespace

void Table::print(std::ostream& out, std::optional<std::size_t> width) const {
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
  if (width) {
    fitWidths(widths, *width);
  }
  const auto emit = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const auto cell = base::cutToColumns(row[c], widths[c]);
      line += cell;
      if (c + 1 < row.size()) {
        line.append(widths[c] - displayWidth(cell) + kGap, ' ');
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
  return base::terminalColumns(text);
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
