#include "tests/e2e/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace tovra::e2e {
namespace {

using Clock = std::chrono::steady_clock;

void closeFd(int& fd) {
  if (fd >= 0) {
    ::close(fd);
    fd = -1;
  }
}

// Reads what is there; closes the descriptor at end of file.
void drain(int& fd, std::string& into) {
  char buffer[65536];
  const ssize_t got = ::read(fd, buffer, sizeof buffer);
  if (got > 0) {
    into.append(buffer, static_cast<std::size_t>(got));
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    closeFd(fd);
  }
}

RunResult decode(int status) {
  RunResult result;
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& args, const Environment& environment,
                 std::string input)
    : input_(std::move(input)) {
  // A child that exits before reading its input must not take the test down with SIGPIPE.
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment) {
    if (value) {
      variables.push_back(name + "=" + *value);
    }
  }
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& arg : args) {
    argv.push_back(const_cast<char*>(arg.c_str()));
  }
  argv.push_back(nullptr);
  std::vector<char*> envp;
  envp.reserve(variables.size() + 1);
  for (std::string& variable : variables) {
    envp.push_back(variable.data());
  }
  envp.push_back(nullptr);

  int in[2], out[2], err[2], failed[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0 ||
      pipe2(failed, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("cannot make pipes: ") + std::strerror(errno));
  }
  pid_ = fork();
  if (pid_ < 0) {
    const int reason = errno;
    for (const int fd : {in[0], in[1], out[0], out[1], err[0], err[1], failed[0], failed[1]}) {
      ::close(fd);
    }
    throw std::runtime_error("cannot start " + program + ": " + std::strerror(reason));
  }
  if (pid_ == 0) {
    // Only async-signal-safe calls from here to exec: the test process has other threads.
    setpgid(0, 0);
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    execve(program.c_str(), argv.data(), envp.data());
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(failed[1], &error, sizeof error);
    _exit(127);
  }
  setpgid(pid_, pid_);  // also here, so a kill of the group cannot come before the child's own call
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  ::close(failed[1]);
  in_ = in[1];
  out_ = out[0];
  err_ = err[0];
  int error = 0;
  const ssize_t got = ::read(failed[0], &error, sizeof error);
  ::close(failed[0]);
  if (got == sizeof error) {
    int status = 0;
    waitpid(pid_, &status, 0);
    status_ = status;
    closeAll();
    throw std::runtime_error("cannot run " + program + ": " + std::strerror(error));
  }
  fcntl(in_, F_SETFL, O_NONBLOCK);
  if (input_.empty()) {
    closeFd(in_);
  }
}

Process::~Process() {
  if (!status_ && pid_ > 0) {
    killpg(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  closeAll();
}

void Process::closeAll() {
  closeFd(in_);
  closeFd(out_);
  closeFd(err_);
}

void Process::signal(int number) const {
  if (!status_) {
    ::kill(pid_, number);
  }
}

bool Process::ended() {
  if (status_) {
    return true;
  }
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    status_ = status;
  }
  return status_.has_value();
}

RunResult Process::wait(std::chrono::milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  std::string out;
  std::string err;
  std::size_t written = 0;
  bool timedOut = false;
  while (out_ >= 0 || err_ >= 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
      timedOut = true;
      break;
    }
    pollfd fds[3];
    nfds_t count = 0;
    if (in_ >= 0) {
      fds[count++] = {in_, POLLOUT, 0};
    }
    if (out_ >= 0) {
      fds[count++] = {out_, POLLIN, 0};
    }
    if (err_ >= 0) {
      fds[count++] = {err_, POLLIN, 0};
    }
    if (::poll(fds, count, static_cast<int>(std::min<long>(left.count(), 100))) <= 0) {
      continue;
    }
    for (nfds_t i = 0; i < count; ++i) {
      if (fds[i].revents == 0) {
        continue;
      }
      if (fds[i].fd == in_) {
        const ssize_t put = ::write(in_, input_.data() + written, input_.size() - written);
        if (put > 0) {
          written += static_cast<std::size_t>(put);
        }
        if ((put < 0 && errno != EAGAIN && errno != EINTR) || written == input_.size()) {
          closeFd(in_);
        }
      } else if (fds[i].fd == out_) {
        drain(out_, out);
      } else if (fds[i].fd == err_) {
        drain(err_, err);
      }
    }
  }
  closeAll();
  while (!ended()) {
    if (timedOut || Clock::now() >= deadline) {
      timedOut = true;
      killpg(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
      status_ = status;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  RunResult result = decode(*status_);
  result.timedOut = timedOut;
  result.out = std::move(out);
  result.err = std::move(err);
  return result;
}

}  // namespace tovra::e2e
