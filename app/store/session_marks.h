#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace tovra::store {

// Tells whether the processes that used a store all closed it. Each process that opens the store leaves
// a small mark named after the store and its process id in `folder` (the state folder) and takes it away
// when it closes the store; a mark whose process no longer runs was left by a crash, a kill or a power
// loss. A check that finds the store damaged leaves a mark too, so that the next launch deals with it even
// when the process that found it could not.
class SessionMarks final {
 public:
  using IsRunning = std::function<bool(long processId)>;

  SessionMarks(std::filesystem::path folder, const std::filesystem::path& storeFile, long ownProcessId,
               IsRunning isRunning);
  // This process, with the system telling which processes still run.
  static SessionMarks forThisProcess(std::filesystem::path folder, const std::filesystem::path& storeFile);

  // Whether the store is due for an integrity check: a process ended without closing it, or damage was
  // found in it. Takes away the marks of processes that ended. Never throws.
  bool checkDue();
  // Whether a check found the store damaged and it was not salvaged since.
  bool damageNoted() const;
  // This process has the store open / closed it normally. Never throw; a mark that cannot be written
  // only means one check fewer or one more.
  void begin();
  void end();
  // Damage was found / the damaged store was moved aside and salvaged.
  void noteDamage();
  void clearDamage();

 private:
  std::filesystem::path markFor(const std::string& suffix) const;

  std::filesystem::path folder_;
  std::string key_;
  long ownProcessId_;
  IsRunning isRunning_;
  bool begun_ = false;
};

}  // namespace tovra::store
