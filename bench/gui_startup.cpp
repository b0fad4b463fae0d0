// From process start to the desktop application's first page showing its rows, on a generated store of
// 2,000 keywords × 400 days, against `tovra today` on the same store in the same run. Goal: under 1 s,
// and at most 3 × the command line.
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "app/store/store.h"
#include "bench/large_store.h"
#include "bench/timing.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 7;

// Runs the program to its end with its output thrown away; false when it could not start or failed.
bool run(const std::string& program, std::vector<std::string> arguments, const std::vector<std::string>& extraEnv) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::vector<char*> argv;
  std::string name = program;
  argv.push_back(name.data());
  for (auto& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  std::vector<std::string> env(extraEnv);
  for (char** entry = environ; *entry; ++entry) {
    env.emplace_back(*entry);
  }
  std::vector<char*> envp;
  for (auto& entry : env) {
    envp.push_back(entry.data());
  }
  envp.push_back(nullptr);
  pid_t pid = 0;
  const bool spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return spawned && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main() {
  const fs::path bin = TOVRA_BIN_DIR;
  const auto cli = (bin / "app/cli/tovra").string();
  const auto gui = (bin / "app/gui/tovra-gui").string();
  if (!fs::exists(cli) || !fs::exists(gui)) {
    std::fprintf(stderr, "build tovra and tovra-gui first\n");
    return 1;
  }
  char pattern[] = "/tmp/tovra-bench-gui-XXXXXX";
  const fs::path folder = ::mkdtemp(pattern);
  const auto data = folder / "data";
  fs::create_directories(data);
  tovra::bench::generateLargeStore(data / "default.store");
  // Icons are asked of a closed loopback port and kept in the throw-away folder: a benchmark reaches no
  // network and leaves nothing in the user's cache.
  const std::vector<std::string> env{"TOVRA_DATA_DIR=" + data.string(),
                                     "TOVRA_STATE_DIR=" + (folder / "state").string(),
                                     "XDG_CONFIG_HOME=" + (folder / "config").string(),
                                     "XDG_CACHE_HOME=" + (folder / "cache").string(),
                                     "TOVRA_ARTWORK_URL=http://127.0.0.1:9",
                                     "QT_QPA_PLATFORM=offscreen"};
  bool ok = true;
  // Alternating rounds, so both programs meet the same load of the machine.
  std::vector<double> today;
  std::vector<double> window;
  for (int round = 0; round < kRounds; ++round) {
    today.push_back(tovra::bench::medianSeconds(1, [&] { ok = run(cli, {"today"}, env) && ok; }));
    window.push_back(tovra::bench::medianSeconds(1, [&] { ok = run(gui, {"--quit-when-shown"}, env) && ok; }));
  }
  fs::remove_all(folder);
  std::sort(today.begin(), today.end());
  std::sort(window.begin(), window.end());
  const auto cliMedian = today[kRounds / 2];
  const auto guiMedian = window[kRounds / 2];
  if (!ok) {
    std::printf("a program failed; the figures below are not to be trusted\n");
  }
  std::printf("tovra today:                        median %7.1f ms\n", cliMedian * 1e3);
  std::printf("tovra-gui to the first page's rows: median %7.1f ms (goal < 1000 ms)\n", guiMedian * 1e3);
  std::printf("ratio to the command line: %.2f (goal <= 3)\n", guiMedian / cliMedian);
  return ok ? 0 : 1;
}
