// A refusal (HTTP 403 after the retries) holds for every command: whichever command meets it exits 3, and
// the next Tovra process is refused by the shared hold without asking the store.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AsoKit/shared_pacing.h"
#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;

constexpr const char* kTracked = "6443120871";

// Search and hints always refuse; lookup refuses one app only, so that another can be tracked first.
json scenario() {
  return {{"apps",
           {{kTracked, {{"name", "Lumen – Photo Editor"}, {"developer", "Brightside Labs"}}},
            {"1584637209", {{"name", "Collage Studio"}, {"developer", "Tiles"}, {"bundleId", "com.tiles.collage"}}}}},
          {"faults",
           {{{"path", "search"}, {"status", 403}},
            {{"path", "hints"}, {"status", 403}},
            {{"path", "lookup"}, {"term", "1584637209"}, {"status", 403}},
            {{"path", "lookup"}, {"term", "com.tiles.collage"}, {"status", 403}}}}};
}

struct RefusalCase {
  std::string name;
  std::vector<std::string> args;
  bool needsTrackedKeyword = false;
};

class RefusalHolds : public ::testing::TestWithParam<RefusalCase> {
 protected:
  Harness h{scenario(), {.https = true}};
};

TEST_P(RefusalHolds, ExitsThreeAndTheNextCommandAsksNothing) {
  const auto& c = GetParam();
  if (c.needsTrackedKeyword) {
    const auto added = h.run({"app", "add", kTracked, "--country", "us"});
    ASSERT_EQ(added.exitCode, 0) << describe(added);
    const auto keyword = h.run({"keywords", "add", kTracked, "--country", "us", "photo editor"});
    ASSERT_EQ(keyword.exitCode, 0) << describe(keyword);
  }
  const auto before = h.requests().size();
  const auto r = h.run(c.args, {.timeout = std::chrono::seconds{90}});
  EXPECT_EQ(r.exitCode, 3) << describe(r);
  const auto sent = h.requests();
  ASSERT_GT(sent.size(), before) << "the command never met the refusal";
  EXPECT_EQ(sent.back().status, 403);

  // The hold every process shares: about 900 s from now.
  const auto heldUntil = asokit::SharedPacingFile(h.stateDir()).heldUntil();
  ASSERT_TRUE(heldUntil.has_value());
  const auto left = std::chrono::duration_cast<std::chrono::seconds>(*heldUntil - std::chrono::system_clock::now());
  EXPECT_GT(left.count(), 800);
  EXPECT_LE(left.count(), 900);

  // A lookup the store would answer is refused by the hold, without a request.
  const auto next = h.run({"lookup", kTracked, "--country", "us"});
  EXPECT_EQ(next.exitCode, 3) << describe(next);
  EXPECT_THAT(next.err, HasSubstr("403"));
  EXPECT_EQ(h.requests().size(), sent.size());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, RefusalHolds,
    ::testing::Values(RefusalCase{"Search", {"search", "photo editor", "--country", "us"}},
                      RefusalCase{"Lookup", {"lookup", "1584637209", "--country", "us"}},
                      RefusalCase{"LookupBundle", {"lookup", "--bundle-id", "com.tiles.collage", "--country", "us"}},
                      RefusalCase{"AppAddByName", {"app", "add", "collage studio", "--country", "us"}},
                      RefusalCase{"AppAddById", {"app", "add", "1584637209", "--country", "us"}},
                      RefusalCase{"Hints", {"hints", "pho", "--country", "us"}},
                      RefusalCase{"Signals", {"signals", "photo editor", "--country", "us"}},
                      RefusalCase{"Discover", {"discover", "photo editor", "--country", "us"}},
                      RefusalCase{"Check", {"check", kTracked, "photo editor", "--country", "us"}, true},
                      RefusalCase{"Measure", {"measure"}, true}),
    [](const auto& info) { return info.param.name; });

}  // namespace
