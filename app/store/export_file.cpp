// Writing the export to its file: a temporary file beside the target, flushed to the disk, then renamed
// over the target, so the final name only ever holds a complete export.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "app/store/export.h"
#include "app/store/store_error.h"

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

StoreError fileError(int error, const fs::path& target) {
  const std::string where = target.string();
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return StoreError(StoreError::Kind::diskFull,
                        "The disk is full: the export could not be written to " + where + ". Nothing was left there.");
    case EACCES:
    case EPERM:
    case EROFS:
      return StoreError(StoreError::Kind::readOnly, "The folder " + target.parent_path().string() +
                                                        " cannot be written (" + std::strerror(error) +
                                                        "): the export could not be written.");
    default:
      return StoreError(StoreError::Kind::io, "The export could not be written to " + where + ": " +
                                                  std::strerror(error) + ". Nothing was left there.");
  }
}

// Gives `from` the name `to` unless `to` is taken, in one step where the file system can: a check before a
// plain rename would leave a moment in which another program's new file is replaced.
int renameWithoutReplacing(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    return -1;
  }
  // A file system without the flag: a hard link is refused on a taken name just the same.
  if (::link(from.c_str(), to.c_str()) == 0) {
    ::unlink(from.c_str());
    return 0;
  }
  if (errno == EEXIST) {
    return -1;
  }
  // Neither (a file system without links): the check and the rename are as close as they can be.
  struct stat taken {};
  if (::lstat(to.c_str(), &taken) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::rename(from.c_str(), to.c_str());
}

// Our own temporary file; removed when the export does not complete.
class TemporaryFile final {
 public:
  explicit TemporaryFile(const fs::path& target) : target_(target) {
    std::random_device seed;
    std::mt19937_64 random(seed());
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    for (int attempt = 0; attempt < 16 && fd_ < 0; ++attempt) {
      std::string name(1, '.');
      name.append(target.filename().string()).append(".").append(std::to_string(random() % 1000000000)).append(".tmp");
      path_ = folder / name;
      fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd_ < 0 && errno != EEXIST) {
        throw fileError(errno, target_);
      }
    }
    if (fd_ < 0) {
      throw fileError(EEXIST, target_);
    }
  }

  ~TemporaryFile() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
    if (!renamed_) {
      ::unlink(path_.c_str());
    }
  }

  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void write(std::string_view chunk) {
    while (!chunk.empty()) {
      const ssize_t written = ::write(fd_, chunk.data(), chunk.size());
      if (written < 0 && errno == EINTR) {
        continue;
      }
      if (written <= 0) {
        throw fileError(written < 0 ? errno : EIO, target_);
      }
      chunk.remove_prefix(static_cast<std::size_t>(written));
      written_ += static_cast<std::size_t>(written);
    }
    // Start writing back to the disk while the export goes on, so the final flush has little left.
    if (written_ - started_ >= kWriteBehind) {
      ::sync_file_range(fd_, static_cast<off_t>(started_), static_cast<off_t>(written_ - started_),
                        SYNC_FILE_RANGE_WRITE);
      started_ = written_;
    }
  }

  // Flushes the bytes to the disk, then gives the file its final name and makes the rename durable.
  void complete(ExistingFile existing) {
    if (::fsync(fd_) != 0) {
      throw fileError(errno, target_);
    }
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) {
      throw fileError(errno, target_);
    }
    const int moved = existing == ExistingFile::replace ? ::rename(path_.c_str(), target_.c_str())
                                                        : renameWithoutReplacing(path_, target_);
    if (moved != 0) {
      if (errno == EEXIST) {
        throw ExportNameTaken(target_);
      }
      throw fileError(errno, target_);
    }
    renamed_ = true;
    const fs::path folder = target_.has_parent_path() ? target_.parent_path() : fs::path(".");
    if (const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dir >= 0) {
      ::fsync(dir);
      ::close(dir);
    }
  }

 private:
  static constexpr std::size_t kWriteBehind = 16 << 20;

  fs::path target_;
  fs::path path_;
  int fd_ = -1;
  std::size_t written_ = 0;
  std::size_t started_ = 0;
  bool renamed_ = false;
};

}  // namespace

ExportNameTaken::ExportNameTaken(const fs::path& target)
    : std::runtime_error(target.string() + " already exists; nothing was written.") {}

void exportStoreToFile(Store& store, asokit::WallTime exportedAt, const fs::path& target, ExistingFile existing) {
  std::error_code error;
  if (fs::is_directory(target, error)) {
    throw StoreError(StoreError::Kind::io, "The export needs a file name; " + target.string() + " is a folder.");
  }
  TemporaryFile file(target);
  exportStore(store, exportedAt, [&](std::string_view chunk) { file.write(chunk); });
  file.complete(existing);
}

}  // namespace tovra::store
