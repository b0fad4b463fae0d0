#include "tools/fakestore/request_log.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tovra::fakestore {
namespace {

using nlohmann::ordered_json;

std::FILE* openLog(const std::filesystem::path& file) {
  if (file.empty()) {
    return nullptr;
  }
  std::FILE* handle = std::fopen(file.c_str(), "a");
  if (handle == nullptr) {
    throw std::runtime_error(fmt::format("cannot open the log {}: {}", file.string(), std::strerror(errno)));
  }
  return handle;
}

// Epoch seconds with exactly six decimals, instead of a double's noise.
std::string seconds(std::chrono::system_clock::time_point time) {
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
  return fmt::format("{}.{:06}", micros / 1'000'000, micros % 1'000'000);
}

std::string seconds(const std::optional<std::chrono::system_clock::time_point>& time) {
  return time ? seconds(*time) : "null";
}

}  // namespace

RequestLog::RequestLog(const std::filesystem::path& file) : file_(openLog(file), &std::fclose) {}

void RequestLog::write(const LogEntry& entry) {
  if (!file_) {
    return;
  }
  ordered_json params = ordered_json::array();
  for (const auto& [key, value] : entry.params) {
    params.push_back(ordered_json::array({key, value}));
  }
  ordered_json headers = ordered_json::object();
  for (const auto& [name, value] : entry.headers) {
    if (headers.contains(name)) {
      headers[name] = headers[name].get<std::string>() + ", " + value;
    } else {
      headers[name] = value;
    }
  }
  const ordered_json rest = {
      {"method", entry.method},
      {"path", entry.path},
      {"query", entry.query},
      {"params", std::move(params)},
      {"headers", std::move(headers)},
      {"remotePort", entry.remotePort},
      {"endpoint", entry.endpoint},
      {"country", entry.country ? ordered_json(*entry.country) : ordered_json(nullptr)},
      {"number", entry.number},
      {"status", entry.status},
      {"fault", entry.storm   ? ordered_json("storm")
                : entry.fault ? ordered_json(*entry.fault)
                              : ordered_json(nullptr)},
  };
  // The times are written by hand, so each keeps exactly six decimals.
  const std::string line =
      fmt::format("{{\"time\":{},\"accepted\":{},\"firstByte\":{},\"firstByteRead\":{},{}\n", seconds(entry.time),
                  seconds(entry.accepted), seconds(entry.firstByte), seconds(entry.firstByteRead),
                  rest.dump(-1, ' ', false, ordered_json::error_handler_t::replace).substr(1));
  const std::lock_guard lock(mutex_);
  std::fputs(line.c_str(), file_.get());
  std::fflush(file_.get());
}

}  // namespace tovra::fakestore
