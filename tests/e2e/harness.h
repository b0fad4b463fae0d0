#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/e2e/process.h"

namespace tovra::e2e {

// One request as the fake store logged it.
struct LoggedRequest {
  double time = 0;  // when the store's handler took it up, epoch seconds with microseconds
  // When its connection was accepted, when the kernel received its first byte (plain HTTP only: the
  // request's moment on the wire, whatever the store's threads were doing) and when the store read it.
  std::optional<double> accepted;
  std::optional<double> firstByte;
  std::optional<double> firstByteRead;
  std::string method;
  std::string path;                                         // as sent, still percent-encoded
  std::string query;                                        // as sent, still percent-encoded
  std::vector<std::pair<std::string, std::string>> params;  // decoded, in order
  std::map<std::string, std::string> headers;               // names as sent
  int remotePort = 0;
  std::string endpoint;  // "search", "hints", "lookup", or "" for another path
  std::optional<std::string> country;
  std::int64_t number = 0;
  int status = 0;
  std::optional<std::string> fault;  // "storm", the fault's index, or none

  std::optional<std::string> param(std::string_view key) const;
  // Looks the name up regardless of case.
  std::optional<std::string> header(std::string_view name) const;
};

struct HarnessOptions {
  bool https = false;
};

struct RunOptions {
  Environment env{};  // on top of (and over) the harness's environment
  std::string input{};
  std::chrono::seconds timeout{60};
};

// An end-to-end test's world: a fake store serving a scenario, a temporary directory for the
// store's data, state and home, and a way to run the real binaries against them.
//
//   Harness h(scenarioJson, {.https = true});
//   auto r = h.run({"search", "photo editor", "--country", "us", "--json"});
//   auto log = h.requests();
class Harness final {
 public:
  // The scenario as JSON text or as a JSON value (one overload per form, so none is ambiguous).
  explicit Harness(std::string_view scenarioJson, HarnessOptions options = {});
  explicit Harness(const char* scenarioJson, HarnessOptions options = {});
  explicit Harness(const std::string& scenarioJson, HarnessOptions options = {});
  explicit Harness(const nlohmann::json& scenario, HarnessOptions options = {});
  ~Harness();
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  static std::string tovraPath();
  static std::string fakestorePath();

  // "http(s)://127.0.0.1:<port>"
  const std::string& baseUrl() const { return baseUrl_; }
  // The fake store's certificate (https), empty for http.
  const std::string& caFile() const { return caFile_; }
  const std::filesystem::path& directory() const { return directory_; }
  std::filesystem::path dataDir() const { return directory_ / "data"; }
  std::filesystem::path stateDir() const { return directory_ / "state"; }

  // What every run gets: PATH, HOME, LANG=C.UTF-8, TZ=UTC, XDG folders and TOVRA_* (search and
  // lookup URLs, CA file, data and state folders) inside the temporary directory.
  Environment environment() const;

  // Runs `tovra` with `args` and waits for it.
  RunResult run(const std::vector<std::string>& args, const RunOptions& options = {}) const;
  // Starts `tovra` without waiting, e.g. to send it SIGINT mid-run.
  std::unique_ptr<Process> start(const std::vector<std::string>& args, const RunOptions& options = {}) const;
  RunResult runProgram(const std::string& program, const std::vector<std::string>& args,
                       const RunOptions& options = {}) const;
  // Runs `tovra` and fails the test, showing what it printed, unless it exits 0.
  RunResult ok(const std::vector<std::string>& args, const RunOptions& options = {}) const;
  // The same with --json, parsed.
  nlohmann::json okJson(std::vector<std::string> args) const;

  // Every request the fake store has logged so far, in order; or those of one endpoint.
  std::vector<LoggedRequest> requests() const;
  std::vector<LoggedRequest> requests(std::string_view endpoint) const;

  // The fake store's own stdout and stderr after it stopped (for diagnosing a failed start).
  const RunResult& storeOutput() const { return storeOutput_; }

 private:
  void startStore(bool https);
  void stopStore();

  std::filesystem::path directory_;
  std::unique_ptr<Process> store_;
  RunResult storeOutput_;
  std::string baseUrl_;
  std::string caFile_;
};

// A finished command as a failing assertion shows it: its exit status, then both streams.
std::string describe(const RunResult& r);
// A file's bytes, or nothing when it cannot be read.
std::string readAll(const std::filesystem::path& path);

}  // namespace tovra::e2e
