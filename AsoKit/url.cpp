#include "AsoKit/url.h"

namespace asokit {
namespace {

bool keptAsIs(unsigned char c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
    return true;
  }
  switch (c) {
    case '-':
    case '.':
    case '_':
    case '~':
    case '!':
    case '$':
    case '\'':
    case '(':
    case ')':
    case '*':
    case ',':
    case ';':
    case ':':
    case '@':
    case '/':
    case '?':
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string percentEncodeQueryValue(std::string_view value) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(value.size() * 3);
  for (const char ch : value) {
    const auto c = static_cast<unsigned char>(ch);
    if (keptAsIs(c)) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0x0F]);
    }
  }
  return out;
}

std::string buildUrl(std::string_view base, std::string_view path, const QueryItems& items) {
  std::string url(base);
  url += path;
  char separator = '?';
  for (const auto& [key, value] : items) {
    url += separator;
    url += percentEncodeQueryValue(key);
    url += '=';
    url += percentEncodeQueryValue(value);
    separator = '&';
  }
  return url;
}

}  // namespace asokit
