#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::store {

// How deeply the store file is checked: `quick` walks every page and record of the file (cheap enough
// for a launch after an unclean exit); `full` also proves that every index agrees with its table.
enum class CheckDepth { quick, full };

struct StoreCheckResult {
  enum class Verdict {
    sound,      // the engine found nothing wrong
    damaged,    // the engine reported the file as damaged
    unchecked,  // the check could not run (the store is locked, unreadable by permission, …)
  };
  Verdict verdict = Verdict::unchecked;
  // The engine's own findings (at most a few), or why the check could not run.
  std::vector<std::string> findings;

  bool damaged() const { return verdict == Verdict::damaged; }
};

// Checks the store file through a connection of its own that only reads, so it may run on any thread
// while the store is open elsewhere. Never throws.
StoreCheckResult checkStoreFile(const std::filesystem::path& file, CheckDepth depth);

// What the user reads about a check's outcome.
std::string checkSummary(const StoreCheckResult& result);

inline constexpr std::string_view kCheckingStore = "Checking the store…";
inline constexpr std::string_view kNoFileToCheck = "The store is kept in memory only; there is no file to check.";
// After a check found the open store damaged in a process that keeps it open (the desktop).
inline constexpr std::string_view kSalvageAtNextLaunch =
    "Tovra no longer writes to it. Quit Tovra and open it again: the damaged file is then moved aside whole "
    "and what can still be read is salvaged into a new store.";

}  // namespace tovra::store
