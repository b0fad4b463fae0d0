#include "AsoKit/aso_error.h"

#include <fmt/format.h>

namespace asokit {
namespace {

struct Describer {
  std::string operator()(const AsoError::UnknownStorefront& e) const {
    return "bilinmeyen storefront '" + e.code + "' — X-Apple-Store-Front tablosunda yok. " +
           "Sessizce US'e düşmek yerine duruyorum: o ülke için sonuç GEÇERSİZ olurdu.";
  }
  std::string operator()(const AsoError::Http& e) const {
    if (e.status == 403) {
      return "HTTP 403 — Apple kesiyor (IP düzeyinde, 15+ dakika sürebilir). URL: " + e.url;
    }
    return fmt::format("HTTP {} — {}", e.status, e.url);
  }
  std::string operator()(const AsoError::ShapeChanged& e) const {
    return "cevap şekli tanınmadı: " + e.detail + " (uç değişmiş olabilir — sessiz sıfır döndürmüyorum)";
  }
  std::string operator()(const AsoError::HaltedAfterConsecutiveFailures& e) const {
    return fmt::format(
        "ard arda {} hata → koşu DURDURULDU ({} iş denenmedi). Apple kesiyorsa devam etmek yasağı derinleştirir.",
        e.count, e.skipped);
  }
  std::string operator()(const AsoError::CoolingDown& e) const {
    return fmt::format(
        "istemci 403 sonrası bekletmede ({} sn kaldı) — istek atılmadı. Yasak IP düzeyinde; beklemeden sormak onu "
        "derinleştirir.",
        e.secondsLeft);
  }
};

}  // namespace

AsoError::AsoError(Case c) : case_(std::move(c)), description_(std::visit(Describer{}, case_)) {}

std::string describe(const std::exception& error) {
  if (const auto* aso = dynamic_cast<const AsoError*>(&error)) {
    return aso->description();
  }
  return error.what();
}

bool isStoreRefusal(const std::exception& error) {
  const auto* aso = dynamic_cast<const AsoError*>(&error);
  if (!aso) {
    return false;
  }
  if (const auto* http = aso->as<AsoError::Http>()) {
    return http->status == 403;
  }
  return aso->as<AsoError::CoolingDown>() != nullptr;
}

std::string shortCause(const std::exception& error) {
  const auto* aso = dynamic_cast<const AsoError*>(&error);
  if (!aso) {
    return error.what();
  }
  if (const auto* http = aso->as<AsoError::Http>()) {
    return fmt::format("HTTP {}", http->status);
  }
  if (aso->as<AsoError::ShapeChanged>()) {
    return "an answer Tovra could not read";
  }
  if (const auto* storefront = aso->as<AsoError::UnknownStorefront>()) {
    return "an unknown storefront '" + storefront->code + "'";
  }
  return aso->description();
}

}  // namespace asokit
