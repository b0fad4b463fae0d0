#include "app/store/keyword_draft.h"

#include <array>
#include <cstdint>
#include <random>

namespace tovra::store {

std::string randomUuid() {
  thread_local std::mt19937_64 engine = [] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }();
  std::array<std::uint8_t, 16> bytes{};
  for (std::size_t i = 0; i < bytes.size(); i += 8) {
    auto word = engine();
    for (std::size_t k = 0; k < 8; ++k) {
      bytes[i + k] = static_cast<std::uint8_t>(word >> (8 * k));
    }
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      text += '-';
    }
    text += kHex[bytes[i] >> 4];
    text += kHex[bytes[i] & 0x0F];
  }
  return text;
}

}  // namespace tovra::store

std::size_t std::hash<tovra::store::KeywordDraft>::operator()(const tovra::store::KeywordDraft& draft) const noexcept {
  std::size_t seed = std::hash<std::string>{}(draft.id);
  const auto mix = [&seed](std::size_t value) { seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2); };
  mix(std::hash<std::string>{}(draft.keyword));
  mix(std::hash<std::string>{}(draft.country));
  mix(static_cast<std::size_t>(draft.provenance));
  return seed;
}
