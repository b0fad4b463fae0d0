#include "app/research/measurement_presence.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tovra::research {

MeasurementPresence::MeasurementPresence(std::filesystem::path directory) : file_(directory / kFileName) {
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);
}

MeasurementPresence::Hold::~Hold() {
  // Closing the descriptor releases its lock.
  ::close(fd_);
}

int MeasurementPresence::open() const {
  return ::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

std::unique_ptr<MeasurementPresence::Hold> MeasurementPresence::hold() const {
  const int fd = open();
  if (fd < 0) {
    return nullptr;
  }
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return nullptr;
  }
  return std::make_unique<Hold>(fd);
}

bool MeasurementPresence::running() const {
  const int fd = open();
  if (fd < 0) {
    return false;
  }
  // A lock is per open file, so this probe conflicts with a hold of this very process too.
  const bool free = ::flock(fd, LOCK_SH | LOCK_NB) == 0;
  const bool held = !free && errno == EWOULDBLOCK;
  ::close(fd);
  return held;
}

}  // namespace tovra::research
