#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tovra::e2e {

// Variables for a child: a value sets the variable, std::nullopt removes it.
using Environment = std::map<std::string, std::optional<std::string>>;

struct RunResult {
  int exitCode = -1;  // the exit status, or -1 when a signal ended the program
  int signal = 0;     // the signal that ended it, 0 when it exited
  bool timedOut = false;
  std::string out;
  std::string err;
};

// A child program with its own stdin, stdout and stderr pipes, in its own process group.
class Process final {
 public:
  // `environment` is the child's whole environment (entries set to std::nullopt are left out).
  // Throws std::runtime_error when the program cannot be started.
  Process(const std::string& program, const std::vector<std::string>& args, const Environment& environment,
          std::string input = {});
  ~Process();  // kills the process group if still running
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  // Whether the program has ended (it is then reaped; wait() still returns its output).
  bool ended();
  // Feeds stdin, collects stdout and stderr until both close, and reaps the program. Past
  // `timeout` the whole process group is killed and the result says so.
  RunResult wait(std::chrono::milliseconds timeout);

 private:
  void closeAll();

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string input_;
  std::optional<int> status_;
};

}  // namespace tovra::e2e
