#pragma once

#include <filesystem>
#include <memory>

namespace tovra::research {

// Whether a measurement run is going on in any Tovra process of the user, so that the research tools
// (hint probes, signals checks, check once) leave the store to it. The running process holds an
// exclusive advisory lock (flock) on one small file in the state folder for the whole run; the system
// drops the lock when that process ends, however it ends, so a crashed run never blocks research.
class MeasurementPresence final {
 public:
  static constexpr const char* kFileName = "measurement.lock";

  // The file lives in `directory` (the folder of the shared pacing state), created when needed.
  explicit MeasurementPresence(std::filesystem::path directory);

  // Held while a run lasts; dropping it ends the presence.
  class Hold final {
   public:
    explicit Hold(int fd) : fd_(fd) {}
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    int fd_;
  };

  // Marks a run as going on; none when another run (in any process) already holds the mark, or when the
  // file cannot be opened (the run then goes on unmarked rather than not at all).
  std::unique_ptr<Hold> hold() const;
  // True while any process, this one included, holds the mark. A file that cannot be opened reads as no
  // run, so research is never blocked by a broken state folder.
  bool running() const;

  const std::filesystem::path& file() const { return file_; }

 private:
  int open() const;

  std::filesystem::path file_;
};

}  // namespace tovra::research
