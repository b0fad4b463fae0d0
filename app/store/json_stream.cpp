#include "app/store/json_stream.h"

#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "AsoKit/text.h"
#include "app/store/dates.h"

namespace tovra::store {
namespace {

constexpr std::size_t kChunk = 1 << 20;

// Most texts are plain ASCII with nothing to escape; they are copied as they are.
bool isPlain(std::string_view value) {
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\') {
      return false;
    }
  }
  return true;
}

void appendEscaped(std::string& out, std::string_view value) {
  if (isPlain(value)) {
    out.push_back('"');
    out.append(value);
    out.push_back('"');
    return;
  }
  if (!asokit::text::isValidUtf8(value)) {
    // Broken bytes become U+FFFD, exactly as the JSON library replaces them, rather than failing the
    // whole export over one text.
    out += nlohmann::json(std::string(value)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return;
  }
  static constexpr char hex[] = "0123456789abcdef";
  out.push_back('"');
  std::size_t plain = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const auto c = static_cast<unsigned char>(value[i]);
    if (c >= 0x20 && c != '"' && c != '\\') {
      continue;
    }
    out.append(value.data() + plain, i - plain);
    plain = i + 1;
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += "\\u00";
        out.push_back(hex[c >> 4]);
        out.push_back(hex[c & 0xf]);
    }
  }
  out.append(value.data() + plain, value.size() - plain);
  out.push_back('"');
}

}  // namespace

JsonStream::JsonStream(Sink sink) : sink_(std::move(sink)) {
  buffer_.reserve(kChunk + 4096);
}

JsonStream::~JsonStream() = default;

void JsonStream::beforeValue() {
  if (levels_.empty()) {
    return;
  }
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  auto& level = levels_.back();
  if (!level.isArray) {
    throw std::logic_error("a value inside an object needs a key");
  }
  buffer_ += level.count++ == 0 ? "\n" : ",\n";
  buffer_.append(levels_.size() * 2, ' ');
}

void JsonStream::flushIfFull() {
  if (buffer_.size() >= kChunk) {
    sink_(buffer_);
    buffer_.clear();
  }
}

void JsonStream::beginObject() {
  beforeValue();
  buffer_.push_back('{');
  levels_.push_back(Level{false, 0});
}

void JsonStream::beginArray() {
  beforeValue();
  buffer_.push_back('[');
  levels_.push_back(Level{true, 0});
}

void JsonStream::endObject() {
  close(false);
}

void JsonStream::endArray() {
  close(true);
}

void JsonStream::close(bool array) {
  if (levels_.empty() || levels_.back().isArray != array || afterKey_) {
    throw std::logic_error("closing a container that is not open");
  }
  const Level level = levels_.back();
  levels_.pop_back();
  if (level.count > 0) {
    buffer_.push_back('\n');
    buffer_.append(levels_.size() * 2, ' ');
  }
  buffer_.push_back(array ? ']' : '}');
  flushIfFull();
}

void JsonStream::key(std::string_view name) {
  auto& level = levels_.back();
  if (level.isArray || afterKey_) {
    throw std::logic_error("a key belongs in an object, before its value");
  }
  buffer_.append(level.count++ == 0 ? "\n" : ",\n");
  buffer_.append(levels_.size() * 2, ' ');
  appendEscaped(buffer_, name);
  buffer_.append(": ", 2);
  afterKey_ = true;
}

void JsonStream::text(std::string_view value) {
  beforeValue();
  appendEscaped(buffer_, value);
}

void JsonStream::integer(std::int64_t value) {
  beforeValue();
  char digits[24];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
  buffer_.append(digits, end);
}

void JsonStream::number(double value) {
  beforeValue();
  // The library's own shortest round-trip form ("4.0", "4.5"); a value JSON cannot hold becomes null.
  buffer_ += nlohmann::json(value).dump();
}

void JsonStream::boolean(bool value) {
  beforeValue();
  buffer_ += value ? "true" : "false";
}

void JsonStream::null() {
  beforeValue();
  buffer_ += "null";
}

void JsonStream::time(asokit::WallTime value) {
  beforeValue();
  char text[kIsoUtcLength + 2];
  text[0] = '"';
  writeIsoUtc(text + 1, value);
  text[kIsoUtcLength + 1] = '"';
  buffer_.append(text, sizeof text);
}

void JsonStream::text(const std::optional<std::string>& value) {
  value ? text(*value) : null();
}

void JsonStream::integer(const std::optional<std::int64_t>& value) {
  value ? integer(*value) : null();
}

void JsonStream::number(const std::optional<double>& value) {
  value ? number(*value) : null();
}

void JsonStream::time(const std::optional<asokit::WallTime>& value) {
  value ? time(*value) : null();
}

void JsonStream::finish() {
  if (!levels_.empty()) {
    throw std::logic_error("the document is not closed");
  }
  buffer_.push_back('\n');
  sink_(buffer_);
  buffer_.clear();
}

}  // namespace tovra::store
