#include "app/store/session_marks.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <system_error>

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kDamaged = "damaged";

// Stable across processes and builds (unlike std::hash), so the GUI and the command line name a store
// alike.
std::string keyOf(const fs::path& storeFile) {
  std::error_code error;
  const auto absolute = fs::weakly_canonical(storeFile, error);
  const std::string text = (error ? storeFile : absolute).string();
  std::uint64_t hash = 14695981039346656037ull;
  for (const unsigned char c : text) {
    hash = (hash ^ c) * 1099511628211ull;
  }
  char digits[17] = {};
  const auto end = std::to_chars(digits, digits + 16, hash, 16).ptr;
  return "store-" + std::string(digits, end);
}

}  // namespace

SessionMarks::SessionMarks(fs::path folder, const fs::path& storeFile, long ownProcessId, IsRunning isRunning)
    : folder_(std::move(folder)),
      key_(keyOf(storeFile)),
      ownProcessId_(ownProcessId),
      isRunning_(std::move(isRunning)) {}

SessionMarks SessionMarks::forThisProcess(fs::path folder, const fs::path& storeFile) {
  return SessionMarks(std::move(folder), storeFile, static_cast<long>(::getpid()), [](long processId) {
    // EPERM: the process exists but belongs to someone else, which for a mark of ours means it still runs.
    return ::kill(static_cast<pid_t>(processId), 0) == 0 || errno == EPERM;
  });
}

fs::path SessionMarks::markFor(const std::string& suffix) const {
  return folder_ / (key_ + "." + suffix);
}

bool SessionMarks::checkDue() {
  bool due = false;
  std::error_code error;
  const std::string prefix = key_ + ".";
  for (fs::directory_iterator it(folder_, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (name.rfind(prefix, 0) != 0) {
      continue;
    }
    const std::string suffix = name.substr(prefix.size());
    if (suffix == kDamaged) {
      due = true;
      continue;
    }
    long processId = 0;
    const auto [next, parsed] = std::from_chars(suffix.data(), suffix.data() + suffix.size(), processId);
    if (parsed != std::errc{} || next != suffix.data() + suffix.size() || processId == ownProcessId_) {
      continue;
    }
    if (!isRunning_(processId)) {
      due = true;
      std::error_code ignored;
      fs::remove(it->path(), ignored);
    }
  }
  return due;
}

bool SessionMarks::damageNoted() const {
  std::error_code error;
  return fs::exists(markFor(std::string(kDamaged)), error);
}

void SessionMarks::begin() {
  std::error_code error;
  fs::create_directories(folder_, error);
  std::ofstream{markFor(std::to_string(ownProcessId_))};
  begun_ = true;
}

void SessionMarks::end() {
  if (!begun_) {
    return;
  }
  std::error_code ignored;
  fs::remove(markFor(std::to_string(ownProcessId_)), ignored);
  begun_ = false;
}

void SessionMarks::noteDamage() {
  std::error_code error;
  fs::create_directories(folder_, error);
  std::ofstream{markFor(std::string(kDamaged))};
}

void SessionMarks::clearDamage() {
  std::error_code ignored;
  fs::remove(markFor(std::string(kDamaged)), ignored);
}

}  // namespace tovra::store
