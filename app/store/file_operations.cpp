#include "app/store/file_operations.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

std::runtime_error failure(const std::string& what, const fs::path& path, const std::error_code& error) {
  return std::runtime_error(what + " " + path.string() + ": " + error.message());
}

std::runtime_error failure(const std::string& what, const fs::path& path, int error) {
  return failure(what, path, std::error_code(error, std::generic_category()));
}

}  // namespace

void SystemFileOperations::createDirectories(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw failure("Could not create the folder", folder, error);
  }
  if (!fs::is_directory(folder, error)) {
    throw failure("Could not create the folder", folder, std::make_error_code(std::errc::not_a_directory));
  }
}

bool SystemFileOperations::exists(const fs::path& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

std::optional<std::string> SystemFileOperations::readFile(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) {
    return std::nullopt;
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    return std::nullopt;
  }
  std::ostringstream contents;
  contents << in.rdbuf();
  if (in.bad()) {
    return std::nullopt;
  }
  return contents.str();
}

void SystemFileOperations::writeFile(const fs::path& file, std::string_view contents) {
  // A temporary beside the file, created with the usual permissions (the umask applies), then renamed
  // over it: a reader sees the old contents or the new ones, never a mix.
  std::random_device seed;
  fs::path temporary;
  int fd = -1;
  for (int attempt = 0; attempt < 16 && fd < 0; ++attempt) {
    std::string name(1, '.');
    name.append(file.filename().string()).append(".").append(std::to_string(seed())).append(".tmp");
    temporary = file.parent_path() / name;
    fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) {
      throw failure("Could not write", file, errno);
    }
  }
  if (fd < 0) {
    throw failure("Could not write", file, EEXIST);
  }
  std::size_t written = 0;
  while (written < contents.size()) {
    const ssize_t n = ::write(fd, contents.data() + written, contents.size() - written);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      const int error = n < 0 ? errno : EIO;
      ::close(fd);
      ::unlink(temporary.c_str());
      throw failure("Could not write", file, error);
    }
    written += static_cast<std::size_t>(n);
  }
  if (::fsync(fd) != 0) {
    const int error = errno;
    ::close(fd);
    ::unlink(temporary.c_str());
    throw failure("Could not write", file, error);
  }
  if (::close(fd) != 0 || ::rename(temporary.c_str(), file.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    throw failure("Could not write", file, error);
  }
}

void SystemFileOperations::copy(const fs::path& from, const fs::path& to) {
  std::error_code error;
  if (fs::exists(fs::symlink_status(to, error))) {
    throw failure("Could not copy to", to, EEXIST);
  }
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
  if (error) {
    throw failure("Could not copy " + from.string() + " to", to, error);
  }
}

void SystemFileOperations::move(const fs::path& from, const fs::path& to) {
  // RENAME_NOREPLACE: a backup already standing at the target is never replaced.
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
    throw failure("Could not move " + from.string() + " to", to, errno);
  }
}

}  // namespace tovra::store
