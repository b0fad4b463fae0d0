#include "app/research/app_resolver_input.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "AsoKit/text.h"
#include "app/research/country_name.h"

namespace tovra::research {
namespace {

bool isAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isAsciiLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool isHexDigit(char c) {
  return isAsciiDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// ^[0-9]{5,}$ — ASCII digits only, so full-width digits never make an ID.
bool isNumericId(std::string_view s) {
  return s.size() >= 5 && std::all_of(s.begin(), s.end(), isAsciiDigit);
}

bool isAllAsciiDigits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), isAsciiDigit);
}

// ^[A-Za-z][A-Za-z0-9-]*$
bool isBundlePart(std::string_view part) {
  return !part.empty() && isAsciiLetter(part.front()) && std::all_of(part.begin() + 1, part.end(), [](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '-';
  });
}

bool isBundleId(std::string_view s) {
  std::size_t parts = 0;
  std::size_t start = 0;
  while (true) {
    const auto dot = s.find('.', start);
    const auto part = s.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start);
    if (!isBundlePart(part)) {
      return false;
    }
    ++parts;
    if (dot == std::string_view::npos) {
      break;
    }
    start = dot + 1;
  }
  return parts >= 3;
}

// Characters a URL may carry as they stand (RFC 3986 unreserved, reserved, and "%" for escapes). Text
// with anything else — a space, a quote, a non-ASCII letter — does not parse as a URL.
bool isUrlCharacter(char c) {
  static constexpr std::string_view kOther = "-._~:/?#[]@!$&'()*+,;=%";
  return isAsciiLetter(c) || isAsciiDigit(c) || kOther.find(c) != std::string_view::npos;
}

bool hasValidEscapes(std::string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '%' && (i + 2 >= s.size() || !isHexDigit(s[i + 1]) || !isHexDigit(s[i + 2]))) {
      return false;
    }
  }
  return true;
}

int hexValue(char c) {
  if (isAsciiDigit(c)) {
    return c - '0';
  }
  return (c | 0x20) - 'a' + 10;
}

std::string percentDecoded(std::string_view s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '%' && i + 2 < s.size()) {
      out += static_cast<char>(hexValue(s[i + 1]) * 16 + hexValue(s[i + 2]));
      i += 2;
    } else {
      out += s[i];
    }
  }
  return out;
}

struct UrlParts {
  std::string host;  // lower-cased
  std::string_view path;
};

// scheme ":" "//" [userinfo "@"] host [":" port] path ["?" query] ["#" fragment]. Without a scheme and
// an authority there is no host: "apps.apple.com/…" typed without https:// is not a link.
std::optional<UrlParts> parseUrl(std::string_view s) {
  if (!std::all_of(s.begin(), s.end(), isUrlCharacter) || !hasValidEscapes(s)) {
    return std::nullopt;
  }
  const auto colon = s.find(':');
  if (colon == std::string_view::npos || colon == 0 || !isAsciiLetter(s.front())) {
    return std::nullopt;
  }
  const auto scheme = s.substr(0, colon);
  if (!std::all_of(scheme.begin(), scheme.end(),
                   [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.'; })) {
    return std::nullopt;
  }
  auto rest = s.substr(colon + 1);
  if (!rest.starts_with("//")) {
    return std::nullopt;
  }
  rest.remove_prefix(2);
  const auto authorityEnd = std::min(rest.find_first_of("/?#"), rest.size());
  auto hostPort = rest.substr(0, authorityEnd);
  if (const auto at = hostPort.rfind('@'); at != std::string_view::npos) {
    hostPort.remove_prefix(at + 1);
  }
  std::string_view host = hostPort;
  if (hostPort.starts_with('[')) {
    const auto close = hostPort.find(']');
    if (close == std::string_view::npos) {
      return std::nullopt;
    }
    host = hostPort.substr(0, close + 1);
    hostPort.remove_prefix(close + 1);
    if (!hostPort.empty() && !hostPort.starts_with(':')) {
      return std::nullopt;
    }
  } else if (const auto portColon = hostPort.find(':'); portColon != std::string_view::npos) {
    host = hostPort.substr(0, portColon);
    hostPort.remove_prefix(portColon);
  } else {
    hostPort = {};
  }
  // Whatever follows the host must be a port: ":" and digits, or nothing.
  if (!hostPort.empty() && !std::all_of(hostPort.begin() + 1, hostPort.end(), isAsciiDigit)) {
    return std::nullopt;
  }
  if (host.empty()) {
    return std::nullopt;
  }
  auto path = rest.substr(authorityEnd);
  path = path.substr(0, std::min(path.find_first_of("?#"), path.size()));
  return UrlParts{asokit::text::asciiLower(host), path};
}

}  // namespace

std::optional<std::string> appStoreIdFromLink(std::string_view text) {
  const auto url = parseUrl(text);
  if (!url || url->host != kAppPageHost) {
    return std::nullopt;
  }
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= url->path.size();) {
    const auto slash = std::min(url->path.find('/', start), url->path.size());
    if (slash > start) {
      parts.push_back(percentDecoded(url->path.substr(start, slash - start)));
    }
    start = slash + 1;
  }
  // The last id segment wins: a link may carry further parts after it (…/id123456789/reviews).
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (part->starts_with("id") && isNumericId(std::string_view(*part).substr(2))) {
      return part->substr(2);
    }
  }
  return std::nullopt;
}

AppResolverInput AppResolverInput::classify(std::string_view raw) {
  const auto trimmed = asokit::text::trimWhitespace(raw);
  if (trimmed.empty()) {
    return {};
  }
  if (isNumericId(trimmed)) {
    return {Kind::appStoreId, std::string(trimmed)};
  }
  if (auto id = appStoreIdFromLink(trimmed)) {
    return {Kind::appStoreId, std::move(*id)};
  }
  if (isBundleId(trimmed)) {
    return {Kind::bundleId, std::string(trimmed)};
  }
  return {Kind::name, std::string(trimmed)};
}

AppInputKind inputKind(std::string_view raw) {
  const auto input = AppResolverInput::classify(raw);
  switch (input.kind) {
    case AppResolverInput::Kind::appStoreId:
      return isAppStoreLink(raw) ? AppInputKind::appStoreLink : AppInputKind::numericId;
    case AppResolverInput::Kind::bundleId:
      return AppInputKind::bundleId;
    case AppResolverInput::Kind::name:
      return AppInputKind::name;
    case AppResolverInput::Kind::invalid:
      break;
  }
  return AppInputKind::invalid;
}

bool isAppStoreLink(std::string_view text) {
  const auto trimmed = asokit::text::trimWhitespace(text);
  return !isAllAsciiDigits(trimmed) && appStoreIdFromLink(trimmed).has_value();
}

std::optional<std::string> copiedAppStoreLink(std::string_view pasteboard) {
  const auto trimmed = asokit::text::trimWhitespace(pasteboard);
  if (!isAppStoreLink(trimmed)) {
    return std::nullopt;
  }
  return std::string(trimmed);
}

std::string noAppText(const AppResolverInput& input, std::string_view country) {
  const auto what = input.kind == AppResolverInput::Kind::bundleId ? "the bundle id" : "the id";
  return fmt::format("The App Store has no app with {} {} in the {}.", what, input.text, countryDisplayName(country));
}

}  // namespace tovra::research
