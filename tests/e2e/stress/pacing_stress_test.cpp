// The 1.2 s between two requests holds on the store's side of the wire while the machine is saturated:
// busy processes take every core, Tovra processes run one after another and side by side on one state
// folder, one of them through a back-off. Only the fake store's log is asserted: the kernel's receive
// stamp of each request's first byte, which no late server thread can shift.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <thread>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::LoggedRequest;
using tovra::e2e::Process;
using tovra::e2e::RunOptions;
using namespace std::chrono_literals;

constexpr const char* kLab = "2000000001";
constexpr const char* kRival = "2000000002";
const std::vector<std::string> kKeywords{"photo editor", "collage maker", "selfie", "filters", "retouch", "crop"};

json scenario() {
  json search = json::object();
  for (const auto& keyword : kKeywords) {
    search[keyword] = {{"ids", {"999", kLab, kRival}}, {"padTo", 60}};
  }
  return {{"apps", {{kLab, {{"name", "Photo Lab"}}}, {kRival, {{"name", "Scan Rival"}}}}},
          {"search", {{"us", search}}},
          // The second run's fifth keyword is refused once: it backs off while other processes keep asking.
          {"faults", {{{"path", "search"}, {"term", "retouch"}, {"status", 503}, {"skip", 1}, {"times", 1}}}}};
}

TEST(PacingStress, NoTwoRequestsReachTheStoreCloserThanTheIntervalOnASaturatedMachine) {
  Harness h(scenario());
  const auto otherData = h.directory() / "data-rival";
  std::filesystem::create_directories(otherData);
  const RunOptions rival{{{"TOVRA_DATA_DIR", otherData.string()}}};
  const auto succeeded = [](const tovra::e2e::RunResult& r) {
    EXPECT_EQ(r.exitCode, 0) << describe(r);
    return r.exitCode == 0;
  };

  std::vector<std::unique_ptr<Process>> busy;
  const unsigned cores = std::max(2u, std::thread::hardware_concurrency());
  for (unsigned i = 0; i < 2 * cores; ++i) {
    busy.push_back(
        std::make_unique<Process>("/bin/sh", std::vector<std::string>{"-c", "while :; do :; done"}, h.environment()));
  }

  ASSERT_TRUE(succeeded(h.run({"app", "add", kLab, "--country", "us"})));
  // One argument with commas: words the shell split apart would be read as one keyword.
  std::string list;
  for (const auto& keyword : kKeywords) {
    list += (list.empty() ? "" : ", ") + keyword;
  }
  ASSERT_TRUE(succeeded(h.run({"keywords", "add", kLab, "--country", "us", list})));
  // A run alone, then a run through a back-off while four more processes on the same state folder ask
  // the store, one of them for another data folder.
  ASSERT_TRUE(succeeded(h.run({"measure"})));
  std::vector<std::unique_ptr<Process>> together;
  together.push_back(h.start({"measure"}));
  together.push_back(h.start({"search", "photo editor", "--country", "us", "--limit", "0"}));
  together.push_back(h.start({"search", "selfie", "--country", "us", "--limit", "3"}));
  together.push_back(h.start({"app", "add", kRival, "--country", "us"}, rival));
  together.push_back(h.start({"lookup", kLab, kRival, "--country", "us"}));
  for (const auto& process : together) {
    ASSERT_TRUE(succeeded(process->wait(60s)));
  }
  busy.clear();

  auto requests = h.requests();
  // A lookup and a run of 6 searches; then a run of 6 searches and a retry, two searches, one of them with
  // its lookup, and two lookups.
  ASSERT_EQ(requests.size(), 1u + 6u + 7u + 3u + 2u);
  for (const auto& request : requests) {
    ASSERT_TRUE(request.firstByte) << "request " << request.number << " has no receive stamp from the kernel";
  }
  std::sort(requests.begin(), requests.end(),
            [](const LoggedRequest& a, const LoggedRequest& b) { return *a.firstByte < *b.firstByte; });
  double wireGap = 1e9;
  double readGap = 1e9;
  double lateness = 0;
  for (std::size_t i = 1; i < requests.size(); ++i) {
    const auto& before = requests[i - 1];
    const auto& after = requests[i];
    const double gap = *after.firstByte - *before.firstByte;
    EXPECT_GE(gap, 1.2) << "requests " << before.number << " (" << before.endpoint << " " << before.query << ") and "
                        << after.number << " (" << after.endpoint << " " << after.query << ")";
    wireGap = std::min(wireGap, gap);
    readGap = std::min(readGap, after.firstByteRead.value_or(0) - before.firstByteRead.value_or(0));
    lateness = std::max(lateness, after.firstByteRead.value_or(0) - *after.firstByte);
  }
  std::cout << "pacing under load: " << requests.size() << " requests, least gap on the wire " << wireGap
            << " s, as the store read them " << readGap << " s, store up to " << lateness << " s late\n";
}

}  // namespace
