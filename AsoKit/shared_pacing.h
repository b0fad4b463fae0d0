#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "AsoKit/clock.h"

namespace asokit {

// The request slot and the cooldown hold shared by every Tovra process of the user. The store sees one
// network address, so a GUI and a command line asking at once must together keep 1.2 s apart, and a
// refusal earned by one holds back all of them.
class SharedPacing {
 public:
  virtual ~SharedPacing() = default;

  // Books the machine's request slot at `now` when no process sent a request less than `interval`
  // before and none is between booking a slot and sending, and returns nothing; the booking holds the
  // other processes back until markSent. Otherwise books nothing and returns when to ask again.
  virtual std::optional<MonoTime> claimSlot(MonoTime now, std::chrono::nanoseconds interval) = 0;
  // The request booked last had gone out by `sentBy`: moves the machine's slot there when it is later,
  // and lets the other processes go on.
  virtual void markSent(MonoTime sentBy) = 0;
  virtual std::optional<WallTime> heldUntil() = 0;
  // False when the hold could not be shared; the caller then keeps it to itself.
  virtual bool hold(WallTime until) = 0;
  virtual void releaseHold() = 0;
};

// The shared state in one small file under an advisory lock (flock). The slot is an instant of the
// system's monotonic clock (one clock for every process since boot, the one the transport reads when a
// request went out) stamped with the boot id, so a reboot forgets it; the hold is a wall-clock deadline.
// The lock is held only to read and rewrite the file, never while waiting. A file that cannot be read or
// written later on (removed, damaged) never fails a request: pacing then falls back to the process's own
// limiter.
//
// A booked request's moment on the wire is known only once it has been written, so from booking to
// markSent the process also holds a lock on a second file, "pacing.sending"; the others wait while it is
// held. The kernel drops it with the process, so a process killed in between holds nobody back.
class SharedPacingFile final : public SharedPacing {
 public:
  static constexpr const char* kFileName = "pacing";
  static constexpr const char* kSendingFileName = "pacing.sending";
  // How often a process asks again while another is between booking and sending.
  static constexpr std::chrono::milliseconds kSendingPoll{10};

  // Uses `directory`/pacing, creating the folder when needed. Throws std::runtime_error in words when the
  // folder cannot be made or the file cannot be opened.
  explicit SharedPacingFile(std::filesystem::path directory, std::string bootId = currentBootId());
  ~SharedPacingFile() override;
  SharedPacingFile(const SharedPacingFile&) = delete;
  SharedPacingFile& operator=(const SharedPacingFile&) = delete;

  // /proc/sys/kernel/random/boot_id, or "unknown" when it cannot be read.
  static std::string currentBootId();

  std::optional<MonoTime> claimSlot(MonoTime now, std::chrono::nanoseconds interval) override;
  void markSent(MonoTime sentBy) override;
  std::optional<WallTime> heldUntil() override;
  bool hold(WallTime until) override;
  void releaseHold() override;

  const std::filesystem::path& file() const { return file_; }

 private:
  struct State {
    std::string bootId;
    std::optional<std::int64_t> slotNanos;  // the monotonic clock's count at the last booked slot
    std::optional<std::int64_t> holdNanos;  // the hold's deadline, nanoseconds since the epoch
  };
  class Locked;

  // False while another process holds the sending lock.
  bool takeSending();
  void releaseSending();

  std::filesystem::path file_;
  std::string bootId_;
  int sendingFd_ = -1;  // -1 when the sending file could not be opened: pacing then goes without it
};

}  // namespace asokit
