// The harness's child processes: what every end-to-end assertion about output and exit status rests on.

#include "tests/e2e/process.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace {

using namespace std::chrono_literals;
using tovra::e2e::Environment;
using tovra::e2e::Process;

const Environment kPath{{"PATH", "/usr/bin:/bin"}};

TEST(Process, KeepsStdoutStderrAndTheExitStatusApart) {
  Process shell("/bin/sh", {"-c", "printf out; printf err >&2; exit 3"}, kPath);
  const auto result = shell.wait(10s);
  EXPECT_EQ(result.out, "out");
  EXPECT_EQ(result.err, "err");
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_FALSE(result.timedOut);
}

// More than a pipe holds in each direction, so a harness that wrote all input before reading would
// deadlock.
TEST(Process, FeedsLargeInputWhileReadingOutput) {
  const std::string input(1 << 20, 'x');
  Process cat("/bin/cat", {}, kPath, input);
  const auto result = cat.wait(20s);
  EXPECT_EQ(result.out.size(), input.size());
  EXPECT_EQ(result.exitCode, 0);
}

TEST(Process, GivesTheChildOnlyTheEnvironmentAsked) {
  Environment environment = kPath;
  environment["TOVRA_PROBE"] = "here";
  environment["TOVRA_GONE"] = std::nullopt;
  Process shell("/bin/sh", {"-c", "printf '%s|%s' \"$TOVRA_PROBE\" \"${HOME-unset}\""}, environment);
  EXPECT_EQ(shell.wait(10s).out, "here|unset");
}

TEST(Process, KillsAProgramThatOutlivesItsTimeout) {
  Process sleeper("/bin/sleep", {"30"}, kPath);
  const auto result = sleeper.wait(300ms);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.signal, SIGKILL);
}

TEST(Process, ReportsTheSignalThatEndedIt) {
  Process sleeper("/bin/sleep", {"30"}, kPath);
  sleeper.signal(SIGINT);
  const auto result = sleeper.wait(10s);
  EXPECT_EQ(result.signal, SIGINT);
  EXPECT_EQ(result.exitCode, -1);
}

TEST(Process, SaysWhenAProgramCannotRun) {
  try {
    Process missing("/nonexistent/tovra", {}, kPath);
    ADD_FAILURE() << "a missing program started";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "cannot run /nonexistent/tovra: No such file or directory");
  }
}

}  // namespace
