#include "app/base/terminal_text.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <vector>

#include "app/base/unicode_text.h"

namespace tovra::base {
namespace {

constexpr std::string_view kEllipsis = "…";

std::size_t clusterColumns(const icu::UnicodeString& text, std::int32_t start, std::int32_t end) {
  const UChar32 first = text.char32At(start);
  if (u_iscntrl(first)) {
    return 0;
  }
  const auto width = static_cast<UEastAsianWidth>(u_getIntPropertyValue(first, UCHAR_EAST_ASIAN_WIDTH));
  if (width == U_EA_WIDE || width == U_EA_FULLWIDTH || u_hasBinaryProperty(first, UCHAR_EMOJI_PRESENTATION)) {
    return 2;
  }
  // A text-style symbol followed by the emoji variation selector is drawn as a picture too.
  for (std::int32_t i = start; i < end; i = text.moveIndex32(i, 1)) {
    if (text.char32At(i) == 0xFE0F) {
      return 2;
    }
  }
  return 1;
}

struct Cluster {
  std::int32_t start;
  std::int32_t end;
  std::size_t columns;
};

std::vector<Cluster> clusters(const icu::UnicodeString& text) {
  const auto bounds = unicode::graphemeBounds(text);
  std::vector<Cluster> out;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    out.push_back({bounds[i], bounds[i + 1], clusterColumns(text, bounds[i], bounds[i + 1])});
  }
  return out;
}

}  // namespace

std::size_t terminalColumns(std::string_view text) {
  std::size_t columns = 0;
  // Plain ASCII is the common case: one cell per printable byte.
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) {
    return text.size();
  }
  for (const auto& cluster : clusters(unicode::fromUtf8(text))) {
    columns += cluster.columns;
  }
  return columns;
}

std::string cutToColumns(std::string_view text, std::size_t columns) {
  if (terminalColumns(text) <= columns) {
    return std::string(text);
  }
  if (columns == 0) {
    return {};
  }
  const auto unicodeText = unicode::fromUtf8(text);
  std::size_t used = 0;
  std::int32_t end = 0;
  for (const auto& cluster : clusters(unicodeText)) {
    if (used + cluster.columns > columns - 1) {
      break;
    }
    used += cluster.columns;
    end = cluster.end;
  }
  return unicode::toUtf8(unicodeText.tempSubString(0, end)) + std::string(kEllipsis);
}

}  // namespace tovra::base
