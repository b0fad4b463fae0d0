#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"

namespace tovra::store {

// Writes pretty-printed JSON as it goes, so a document of any size needs memory only for its nesting.
// The layout is the common one (two-space indent, "key": value, [] and {} when empty) and texts are
// escaped as standard JSON encoders do, slashes left alone and non-ASCII kept as UTF-8. The caller
// writes the keys of an object in the order it wants them (sorted, for the export).
class JsonStream final {
 public:
  // Receives the text in chunks; may throw to abort the document.
  using Sink = std::function<void(std::string_view chunk)>;

  explicit JsonStream(Sink sink);
  ~JsonStream();
  JsonStream(const JsonStream&) = delete;
  JsonStream& operator=(const JsonStream&) = delete;

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // The next value's key; only inside an object.
  void key(std::string_view name);

  void text(std::string_view value);
  void text(const std::string& value) { text(std::string_view(value)); }
  void text(const char* value) { text(std::string_view(value)); }
  void integer(std::int64_t value);
  void number(double value);
  void boolean(bool value);
  void null();
  // An ISO 8601 UTC text in whole seconds ("2025-01-14T09:30:12Z").
  void time(asokit::WallTime value);

  void text(const std::optional<std::string>& value);
  void integer(const std::optional<std::int64_t>& value);
  void number(const std::optional<double>& value);
  void time(const std::optional<asokit::WallTime>& value);

  // Ends the document with a line break and hands the rest of the text to the sink.
  void finish();

 private:
  void beforeValue();
  void close(bool array);
  void flushIfFull();

  struct Level {
    bool isArray = false;
    std::int64_t count = 0;
  };

  Sink sink_;
  std::string buffer_;
  std::vector<Level> levels_;
  bool afterKey_ = false;
};

}  // namespace tovra::store
