#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/fakestore/query.h"

namespace tovra::fakestore {

struct LogEntry {
  std::chrono::system_clock::time_point time;  // when the handler took the request up
  // When the connection was accepted, when the kernel received the request's first byte (plain HTTP
  // only) and when a server thread read it; each unknown when absent.
  std::optional<std::chrono::system_clock::time_point> accepted;
  std::optional<std::chrono::system_clock::time_point> firstByte;
  std::optional<std::chrono::system_clock::time_point> firstByteRead;
  std::string method;
  std::string path;   // as it arrived, still percent-encoded
  std::string query;  // as it arrived, still percent-encoded, without the "?"
  QueryItems params;  // decoded, in order
  std::vector<std::pair<std::string, std::string>> headers;
  int remotePort = 0;
  std::string endpoint;  // "search", "hints", "lookup" or "" for an unknown path
  std::optional<std::string> country;
  std::int64_t number = 0;
  int status = 0;
  bool storm = false;                // answered by the 403 storm
  std::optional<std::size_t> fault;  // index of the fault met
};

// One JSON object per line and per request, flushed at once so a test can read it while the store
// keeps serving. Lines are written before the answer is sent.
class RequestLog final {
 public:
  // An empty path keeps no log.
  explicit RequestLog(const std::filesystem::path& file);
  void write(const LogEntry& entry);

 private:
  std::mutex mutex_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace tovra::fakestore
