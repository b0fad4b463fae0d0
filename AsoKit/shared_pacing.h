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

  // Books the machine's request slot at `now` when no process started a request less than `interval`
  // before, and returns nothing. Otherwise books nothing and returns when to ask again.
  virtual std::optional<MonoTime> claimSlot(MonoTime now, std::chrono::nanoseconds interval) = 0;
  // The request booked last went out only at `sentAt`: moves the machine's slot there when it is later.
  virtual void markSent(MonoTime sentAt) = 0;
  virtual std::optional<WallTime> heldUntil() = 0;
  // False when the hold could not be shared; the caller then keeps it to itself.
  virtual bool hold(WallTime until) = 0;
  virtual void releaseHold() = 0;
};

// The shared state in one small file under an advisory lock (flock). The slot is an instant of the
// system's monotonic clock (one clock for every process since boot) stamped with the boot id, so a
// reboot forgets it; the hold is a wall-clock deadline. The lock is held only to read and rewrite the
// file, never while waiting. A file that cannot be read or written later on (removed, damaged) never
// fails a request: pacing then falls back to the process's own limiter.
class SharedPacingFile final : public SharedPacing {
 public:
  static constexpr const char* kFileName = "pacing";

  // Uses `directory`/pacing, creating the folder when needed. Throws std::runtime_error in words when the
  // folder cannot be made or the file cannot be opened.
  explicit SharedPacingFile(std::filesystem::path directory, std::string bootId = currentBootId());

  // /proc/sys/kernel/random/boot_id, or "unknown" when it cannot be read.
  static std::string currentBootId();

  std::optional<MonoTime> claimSlot(MonoTime now, std::chrono::nanoseconds interval) override;
  void markSent(MonoTime sentAt) override;
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

  std::filesystem::path file_;
  std::string bootId_;
};

}  // namespace asokit
