#include "AsoKit/shared_pacing.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace asokit {
namespace {

// One fixed-width record, rewritten in place with a single write, so a process killed half-way through
// a write leaves at worst a record that does not parse (read as empty), never a mix of two records.
constexpr std::size_t kRecordSize = 160;
constexpr const char* kMagic = "tovra-pacing-1";

std::string encode(const std::string& bootId, const std::optional<std::int64_t>& slot,
                   const std::optional<std::int64_t>& hold) {
  std::string record = std::string(kMagic) + " " + (bootId.empty() ? "unknown" : bootId) + " " +
                       (slot ? std::to_string(*slot) : "-") + " " + (hold ? std::to_string(*hold) : "-");
  record.resize(kRecordSize - 1, ' ');
  record += '\n';
  return record;
}

std::optional<std::int64_t> number(const std::string& text) {
  if (text == "-") {
    return std::nullopt;
  }
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || end == text.c_str() || *end != '\0') {
    return std::nullopt;
  }
  return value;
}

std::string errorText(int error) {
  return std::strerror(error);
}

}  // namespace

// The file opened and locked for one read-modify-write; closing the descriptor releases the lock, and
// so does the kernel when the process dies holding it.
class SharedPacingFile::Locked final {
 public:
  explicit Locked(const std::filesystem::path& file) {
    fd_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
      return;
    }
    int locked = 0;
    do {
      locked = ::flock(fd_, LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0) {
      ::close(fd_);
      fd_ = -1;
    }
  }
  ~Locked() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

  bool ok() const { return fd_ >= 0; }

  State read() const {
    State state;
    char buffer[kRecordSize + 1] = {};
    const auto got = ::pread(fd_, buffer, kRecordSize, 0);
    if (got != static_cast<ssize_t>(kRecordSize)) {
      return state;
    }
    std::istringstream in(std::string(buffer, kRecordSize));
    std::string magic, boot, slot, hold;
    if (!(in >> magic >> boot >> slot >> hold) || magic != kMagic) {
      return state;
    }
    state.bootId = boot;
    state.slotNanos = number(slot);
    state.holdNanos = number(hold);
    return state;
  }

  bool write(const State& state) const {
    const auto record = encode(state.bootId, state.slotNanos, state.holdNanos);
    if (::pwrite(fd_, record.data(), record.size(), 0) != static_cast<ssize_t>(record.size())) {
      return false;
    }
    // A longer file left by something else would otherwise keep its tail.
    return ::ftruncate(fd_, static_cast<off_t>(record.size())) == 0;
  }

 private:
  int fd_ = -1;
};

SharedPacingFile::SharedPacingFile(std::filesystem::path directory, std::string bootId)
    : file_(directory / kFileName), bootId_(std::move(bootId)) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    throw std::runtime_error("Tovra could not create its state folder " + directory.string() + ": " + error.message());
  }
  const int fd = ::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    throw std::runtime_error("Tovra could not open its shared pacing file " + file_.string() + ": " + errorText(errno));
  }
  ::close(fd);
  sendingFd_ = ::open((directory / kSendingFileName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

SharedPacingFile::~SharedPacingFile() {
  if (sendingFd_ >= 0) {
    ::close(sendingFd_);
  }
}

bool SharedPacingFile::takeSending() {
  if (sendingFd_ < 0) {
    return true;
  }
  int taken = 0;
  do {
    taken = ::flock(sendingFd_, LOCK_EX | LOCK_NB);
  } while (taken != 0 && errno == EINTR);
  // A lock that fails for another reason than being held must not stop every request of the machine.
  return taken == 0 || errno != EWOULDBLOCK;
}

void SharedPacingFile::releaseSending() {
  if (sendingFd_ >= 0) {
    ::flock(sendingFd_, LOCK_UN);
  }
}

std::string SharedPacingFile::currentBootId() {
  std::ifstream in("/proc/sys/kernel/random/boot_id");
  std::string id;
  if (!(in >> id) || id.empty()) {
    return "unknown";
  }
  return id;
}

std::optional<MonoTime> SharedPacingFile::claimSlot(MonoTime now, std::chrono::nanoseconds interval) {
  const Locked locked(file_);
  if (!locked.ok()) {
    return std::nullopt;
  }
  auto state = locked.read();
  const auto nowNanos = std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count();
  // A slot from another boot counts on a clock that no longer runs. A slot a little after `now` is
  // another process's booking made between our reading of the clock and our taking of the lock, and it
  // is waited out like any other; one further ahead than an interval cannot come from this clock.
  if (state.bootId == bootId_ && state.slotNanos && *state.slotNanos <= nowNanos + interval.count()) {
    const auto earliest = *state.slotNanos + interval.count();
    if (earliest > nowNanos) {
      return MonoTime(std::chrono::duration_cast<MonoTime::duration>(std::chrono::nanoseconds{earliest}));
    }
  }
  // Another process let a request through and has not told yet when it went out: the next slot counts
  // from a moment still to come. The lock is released under the file's lock, so this test cannot miss
  // the slot its holder writes.
  if (!takeSending()) {
    return now + kSendingPoll;
  }
  if (state.bootId != bootId_) {
    state.slotNanos.reset();
  }
  state.bootId = bootId_;
  state.slotNanos = nowNanos;
  locked.write(state);
  return std::nullopt;
}

void SharedPacingFile::markSent(MonoTime sentBy) {
  const Locked locked(file_);
  if (locked.ok()) {
    auto state = locked.read();
    const auto sentNanos = std::chrono::duration_cast<std::chrono::nanoseconds>(sentBy.time_since_epoch()).count();
    // Only ever later: another process may have booked a slot after ours meanwhile.
    if (state.bootId == bootId_ && (!state.slotNanos || *state.slotNanos < sentNanos)) {
      state.slotNanos = sentNanos;
      locked.write(state);
    }
  }
  releaseSending();
}

std::optional<WallTime> SharedPacingFile::heldUntil() {
  const Locked locked(file_);
  if (!locked.ok()) {
    return std::nullopt;
  }
  const auto state = locked.read();
  if (!state.holdNanos) {
    return std::nullopt;
  }
  return WallTime(std::chrono::duration_cast<WallTime::duration>(std::chrono::nanoseconds{*state.holdNanos}));
}

bool SharedPacingFile::hold(WallTime until) {
  const Locked locked(file_);
  if (!locked.ok()) {
    return false;
  }
  auto state = locked.read();
  if (state.bootId.empty()) {
    state.bootId = bootId_;
  }
  const auto nanos = std::chrono::duration_cast<std::chrono::nanoseconds>(until.time_since_epoch()).count();
  state.holdNanos = nanos;
  return locked.write(state);
}

void SharedPacingFile::releaseHold() {
  const Locked locked(file_);
  if (!locked.ok()) {
    return;
  }
  auto state = locked.read();
  if (state.bootId.empty()) {
    state.bootId = bootId_;
  }
  state.holdNanos.reset();
  locked.write(state);
}

}  // namespace asokit
