#include "app/research/measurement_presence.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace tovra::research {
namespace {

class MeasurementPresenceTest : public ::testing::Test {
 protected:
  void TearDown() override { std::filesystem::remove_all(dir); }

  std::filesystem::path dir = std::filesystem::temp_directory_path() / ("tovra-presence-" + std::to_string(::getpid()));
};

TEST_F(MeasurementPresenceTest, ARunIsSeenWhileItsHoldLasts) {
  const MeasurementPresence presence(dir / "state");
  EXPECT_FALSE(presence.running());
  {
    const auto hold = presence.hold();
    ASSERT_TRUE(hold);
    EXPECT_TRUE(presence.running());
    EXPECT_TRUE(MeasurementPresence(dir / "state").running()) << "another reader sees it too";
    EXPECT_FALSE(presence.hold()) << "a second run cannot hold it at the same time";
  }
  EXPECT_FALSE(presence.running());
}

TEST_F(MeasurementPresenceTest, AnotherProcesssRunIsSeenAndEndsWithIt) {
  const MeasurementPresence presence(dir);
  int ready[2];
  int release[2];
  ASSERT_EQ(::pipe(ready), 0);
  ASSERT_EQ(::pipe(release), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const auto hold = presence.hold();
    char c = hold ? '1' : '0';
    (void)!::write(ready[1], &c, 1);
    (void)!::read(release[0], &c, 1);
    ::_exit(0);
  }
  char c = 0;
  ASSERT_EQ(::read(ready[0], &c, 1), 1);
  ASSERT_EQ(c, '1');
  EXPECT_TRUE(presence.running());
  (void)!::write(release[1], &c, 1);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_FALSE(presence.running()) << "the lock went with the process";
}

TEST_F(MeasurementPresenceTest, AnUnusableFolderNeverBlocksResearch) {
  const MeasurementPresence presence("/proc/no-such-folder");
  EXPECT_FALSE(presence.running());
  EXPECT_FALSE(presence.hold());
}

}  // namespace
}  // namespace tovra::research
