#include "tools/fakestore/icons.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tovra::fakestore {

namespace {

std::uint32_t crc32(const std::string& bytes, std::size_t from) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t n = 0; n < 256; ++n) {
      std::uint32_t c = n;
      for (int k = 0; k < 8; ++k) {
        c = (c & 1u) ? 0xedb88320u ^ (c >> 1) : c >> 1;
      }
      t[n] = c;
    }
    return t;
  }();
  std::uint32_t c = 0xffffffffu;
  for (std::size_t i = from; i < bytes.size(); ++i) {
    c = table[(c ^ static_cast<unsigned char>(bytes[i])) & 0xffu] ^ (c >> 8);
  }
  return c ^ 0xffffffffu;
}

void put32(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    out.push_back(static_cast<char>((value >> shift) & 0xffu));
  }
}

void chunk(std::string& out, const char* type, const std::string& data) {
  put32(out, static_cast<std::uint32_t>(data.size()));
  const auto start = out.size();
  out.append(type, 4);
  out += data;
  put32(out, crc32(out, start));
}

// zlib's framing around stored (uncompressed) blocks: valid for every reader and needs no zlib here.
std::string storedZlib(const std::string& raw) {
  std::string out("\x78\x01", 2);
  std::size_t at = 0;
  do {
    const std::size_t length = std::min<std::size_t>(raw.size() - at, 65535);
    const bool last = at + length == raw.size();
    out.push_back(last ? '\x01' : '\x00');
    out.push_back(static_cast<char>(length & 0xffu));
    out.push_back(static_cast<char>(length >> 8));
    out.push_back(static_cast<char>(~length & 0xffu));
    out.push_back(static_cast<char>((~length >> 8) & 0xffu));
    out.append(raw, at, length);
    at += length;
  } while (at < raw.size());
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const unsigned char c : raw) {
    a = (a + c) % 65521u;
    b = (b + a) % 65521u;
  }
  put32(out, (b << 16) | a);
  return out;
}

std::array<std::uint8_t, 3> hsv(double hue, double saturation, double value) {
  const double c = value * saturation;
  const double h = std::fmod(hue, 360.0) / 60.0;
  const double x = c * (1 - std::fabs(std::fmod(h, 2.0) - 1));
  double r = 0, g = 0, b = 0;
  if (h < 1) {
    r = c, g = x;
  } else if (h < 2) {
    r = x, g = c;
  } else if (h < 3) {
    g = c, b = x;
  } else if (h < 4) {
    g = x, b = c;
  } else if (h < 5) {
    r = x, b = c;
  } else {
    r = c, b = x;
  }
  const double m = value - c;
  const auto byte = [m](double v) { return static_cast<std::uint8_t>(std::lround((v + m) * 255)); };
  return {byte(r), byte(g), byte(b)};
}

}  // namespace

std::string iconPng(std::string_view path, int size) {
  std::uint32_t hash = 2166136261u;
  for (const unsigned char c : path) {
    hash = (hash ^ c) * 16777619u;
  }
  const double hue = hash % 360;
  // A diagonal wash of the app's hue with a lighter disc, enough to tell the demo's apps apart at a glance.
  std::string raw;
  raw.reserve(static_cast<std::size_t>(size) * (size * 3 + 1));
  const double centre = (size - 1) / 2.0;
  for (int y = 0; y < size; ++y) {
    raw.push_back('\0');
    for (int x = 0; x < size; ++x) {
      const double along = static_cast<double>(x + y) / (2.0 * size);
      const double distance = std::hypot(x - centre, y - centre) / size;
      const bool disc = distance < 0.26;
      const auto rgb = disc ? hsv(hue + 20, 0.25, 0.98) : hsv(hue + 30 * along, 0.65, 0.92 - 0.25 * along);
      raw.append(reinterpret_cast<const char*>(rgb.data()), 3);
    }
  }
  std::string png("\x89PNG\r\n\x1a\n", 8);
  std::string header;
  put32(header, static_cast<std::uint32_t>(size));
  put32(header, static_cast<std::uint32_t>(size));
  header += std::string("\x08\x02\x00\x00\x00", 5);  // 8-bit RGB, no interlace
  chunk(png, "IHDR", header);
  chunk(png, "IDAT", storedZlib(raw));
  chunk(png, "IEND", {});
  return png;
}

}  // namespace tovra::fakestore
