#include "app/research/error_lead.h"

#include <algorithm>
#include <regex>

namespace tovra::research {

std::optional<std::string_view> errorLead(std::string_view text) {
  const auto holds = [&](std::string_view piece) { return text.find(piece) != std::string_view::npos; };
  // The fixed beginnings of asokit::AsoError's descriptions, the more specific first: a 403 reads
  // "HTTP 403 — Apple kesiyor", which the general HTTP form would also match.
  if (holds("cevap şekli tanınmadı: ")) {
    return leadText::kUnreadable;
  }
  if (holds("istemci 403 sonrası bekletmede")) {
    return leadText::kCoolingDown;
  }
  if (holds("HTTP 403 — Apple kesiyor")) {
    return leadText::kRefused;
  }
  if (holds(" hata → koşu DURDURULDU")) {
    return leadText::kHalted;
  }
  if (holds("bilinmeyen storefront '")) {
    return leadText::kUnknownStorefront;
  }
  static const std::regex http("HTTP ([0-9]{3}) — ");
  std::match_results<std::string_view::const_iterator> match;
  if (std::regex_search(text.begin(), text.end(), match, http)) {
    const auto status = std::stoi(match[1].str());
    if (status == 429) {
      return leadText::kTooMany;
    }
    return status >= 500 ? leadText::kServerTrouble : leadText::kHttpError;
  }
  return std::nullopt;
}

std::vector<std::string_view> errorLeads(const std::vector<std::string>& texts) {
  std::vector<std::string_view> leads;
  for (const auto& text : texts) {
    const auto lead = errorLead(text);
    if (lead && std::find(leads.begin(), leads.end(), *lead) == leads.end()) {
      leads.push_back(*lead);
    }
  }
  return leads;
}

std::string withErrorLead(std::string_view text) {
  const auto lead = errorLead(text);
  if (!lead) {
    return std::string(text);
  }
  return std::string(*lead) + "\n" + std::string(text);
}

}  // namespace tovra::research
