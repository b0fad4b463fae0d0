#include "tests/e2e/harness.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tovra::e2e {
namespace {

std::filesystem::path makeTemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tovra-e2e-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot create a temporary directory under " + pattern);
  }
  return pattern;
}

std::string readFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

std::string lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return out;
}

Environment withOverrides(Environment environment, const Environment& overrides) {
  for (const auto& [name, value] : overrides) {
    environment[name] = value;
  }
  return environment;
}

LoggedRequest readLogLine(const nlohmann::json& line) {
  LoggedRequest request;
  request.time = line.at("time").get<double>();
  for (auto [key, field] : {std::pair{"accepted", &request.accepted}, std::pair{"firstByte", &request.firstByte},
                            std::pair{"firstByteRead", &request.firstByteRead}}) {
    if (const auto& value = line.at(key); !value.is_null()) {
      *field = value.get<double>();
    }
  }
  request.method = line.at("method").get<std::string>();
  request.path = line.at("path").get<std::string>();
  request.query = line.at("query").get<std::string>();
  for (const auto& item : line.at("params")) {
    request.params.emplace_back(item.at(0).get<std::string>(), item.at(1).get<std::string>());
  }
  for (const auto& [name, value] : line.at("headers").items()) {
    request.headers.emplace(name, value.get<std::string>());
  }
  request.remotePort = line.at("remotePort").get<int>();
  request.endpoint = line.at("endpoint").get<std::string>();
  if (!line.at("country").is_null()) {
    request.country = line.at("country").get<std::string>();
  }
  request.number = line.at("number").get<std::int64_t>();
  request.status = line.at("status").get<int>();
  if (const auto& fault = line.at("fault"); fault.is_string()) {
    request.fault = fault.get<std::string>();
  } else if (fault.is_number()) {
    request.fault = std::to_string(fault.get<std::size_t>());
  }
  return request;
}

}  // namespace

std::optional<std::string> LoggedRequest::param(std::string_view key) const {
  for (const auto& [name, value] : params) {
    if (name == key) {
      return value;
    }
  }
  return std::nullopt;
}

std::optional<std::string> LoggedRequest::header(std::string_view name) const {
  const std::string wanted = lower(name);
  for (const auto& [key, value] : headers) {
    if (lower(key) == wanted) {
      return value;
    }
  }
  return std::nullopt;
}

Harness::Harness(std::string_view scenarioJson, HarnessOptions options) : directory_(makeTemporaryDirectory()) {
  for (const char* folder : {"data", "state", "home", "xdg-config", "xdg-data", "xdg-state", "xdg-cache"}) {
    std::filesystem::create_directories(directory_ / folder);
  }
  std::ofstream(directory_ / "scenario.json", std::ios::binary) << scenarioJson;
  try {
    startStore(options.https);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
    throw;
  }
}

Harness::Harness(const char* scenarioJson, HarnessOptions options) : Harness(std::string_view(scenarioJson), options) {}

Harness::Harness(const std::string& scenarioJson, HarnessOptions options)
    : Harness(std::string_view(scenarioJson), options) {}

Harness::Harness(const nlohmann::json& scenario, HarnessOptions options)
    : Harness(std::string_view(scenario.dump()), options) {}

Harness::~Harness() {
  stopStore();
  if (std::getenv("TOVRA_E2E_KEEP") != nullptr) {
    std::cerr << "e2e: kept " << directory_.string() << "\n";
    return;
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::string Harness::tovraPath() {
  return TOVRA_BIN_DIR "/app/cli/tovra";
}

std::string Harness::fakestorePath() {
  return TOVRA_BIN_DIR "/tools/fakestore/tovra-fakestore";
}

void Harness::startStore(bool https) {
  const std::filesystem::path portFile = directory_ / "store.port";
  std::vector<std::string> args{
      "--scenario", (directory_ / "scenario.json").string(), "--port", "0", "--port-file", portFile.string(),
      "--log",      (directory_ / "requests.jsonl").string()};
  if (https) {
    caFile_ = (directory_ / "store-ca.pem").string();
    args.insert(args.end(), {"--https", "--cert-out", caFile_});
  }
  const char* path = std::getenv("PATH");
  store_ = std::make_unique<Process>(fakestorePath(), args, Environment{{"PATH", path ? path : "/usr/bin:/bin"}});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (!std::filesystem::exists(portFile)) {
    if (store_->ended() || std::chrono::steady_clock::now() > deadline) {
      stopStore();
      throw std::runtime_error("the fake store did not start: " + storeOutput_.err);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const std::string port = readFile(portFile);
  baseUrl_ = std::string(https ? "https" : "http") + "://127.0.0.1:" + port.substr(0, port.find('\n'));
}

void Harness::stopStore() {
  if (!store_) {
    return;
  }
  store_->signal(SIGTERM);
  storeOutput_ = store_->wait(std::chrono::seconds(10));
  store_.reset();
}

Environment Harness::environment() const {
  const char* path = std::getenv("PATH");
  Environment environment{
      {"PATH", path ? path : "/usr/bin:/bin"},
      {"HOME", (directory_ / "home").string()},
      {"LANG", "C.UTF-8"},
      {"TZ", "UTC"},
      {"XDG_CONFIG_HOME", (directory_ / "xdg-config").string()},
      {"XDG_DATA_HOME", (directory_ / "xdg-data").string()},
      {"XDG_STATE_HOME", (directory_ / "xdg-state").string()},
      {"XDG_CACHE_HOME", (directory_ / "xdg-cache").string()},
      {"TOVRA_SEARCH_URL", baseUrl_},
      {"TOVRA_LOOKUP_URL", baseUrl_},
      {"TOVRA_DATA_DIR", dataDir().string()},
      {"TOVRA_STATE_DIR", stateDir().string()},
  };
  if (!caFile_.empty()) {
    environment["TOVRA_CA_FILE"] = caFile_;
  }
  return environment;
}

RunResult Harness::run(const std::vector<std::string>& args, const RunOptions& options) const {
  return runProgram(tovraPath(), args, options);
}

std::unique_ptr<Process> Harness::start(const std::vector<std::string>& args, const RunOptions& options) const {
  return std::make_unique<Process>(tovraPath(), args, withOverrides(environment(), options.env), options.input);
}

RunResult Harness::runProgram(const std::string& program, const std::vector<std::string>& args,
                              const RunOptions& options) const {
  Process process(program, args, withOverrides(environment(), options.env), options.input);
  return process.wait(options.timeout);
}

std::vector<LoggedRequest> Harness::requests() const {
  const std::string log = readFile(directory_ / "requests.jsonl");
  std::vector<LoggedRequest> requests;
  std::size_t start = 0;
  // A line without its line feed is still being written; it belongs to a request not yet answered.
  for (std::size_t end = log.find('\n'); end != std::string::npos; end = log.find('\n', start)) {
    requests.push_back(readLogLine(nlohmann::json::parse(log.substr(start, end - start))));
    start = end + 1;
  }
  return requests;
}

std::vector<LoggedRequest> Harness::requests(std::string_view endpoint) const {
  std::vector<LoggedRequest> matching;
  for (LoggedRequest& request : requests()) {
    if (request.endpoint == endpoint) {
      matching.push_back(std::move(request));
    }
  }
  return matching;
}

RunResult Harness::ok(const std::vector<std::string>& args, const RunOptions& options) const {
  auto r = run(args, options);
  EXPECT_EQ(r.exitCode, 0) << describe(r);
  return r;
}

nlohmann::json Harness::okJson(std::vector<std::string> args) const {
  args.insert(args.begin(), "--json");
  return nlohmann::json::parse(ok(args).out);
}

std::string describe(const RunResult& r) {
  return "exit " + std::to_string(r.exitCode) + "\nstdout:\n" + r.out + "\nstderr:\n" + r.err;
}

std::string readAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

}  // namespace tovra::e2e
