#include "tools/fakestore/query.h"

namespace tovra::fakestore {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

std::string percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hexValue(text[i + 1]);
      const int low = hexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out.push_back(static_cast<char>(high * 16 + low));
        i += 2;
        continue;
      }
    }
    out.push_back(text[i]);
  }
  return out;
}

}  // namespace

QueryItems parseQuery(std::string_view raw) {
  QueryItems items;
  while (!raw.empty()) {
    const std::size_t end = raw.find('&');
    const std::string_view item = raw.substr(0, end);
    if (!item.empty()) {
      const std::size_t equals = item.find('=');
      const std::string_view key = item.substr(0, equals);
      const std::string_view value = equals == std::string_view::npos ? std::string_view() : item.substr(equals + 1);
      items.emplace_back(percentDecode(key), percentDecode(value));
    }
    if (end == std::string_view::npos) {
      break;
    }
    raw.remove_prefix(end + 1);
  }
  return items;
}

std::optional<std::string> queryValue(const QueryItems& items, std::string_view key) {
  for (const auto& [name, value] : items) {
    if (name == key) {
      return value;
    }
  }
  return std::nullopt;
}

}  // namespace tovra::fakestore
