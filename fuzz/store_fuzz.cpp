// Opens mutated store files the way a launch does: the bootstrap with its integrity check due, the
// move aside and the salvage, then every record read back. Whatever the bytes, opening must end in a
// store or a notice, and the store in records or a StoreError, never a crash or a hang.
//
// The input is a list of patches over a small, real store (so the engine gets past its header and
// into the pages): each patch is a page number, an offset inside the page, a length and that many bytes.
// A first byte of 0xFF instead cuts the file at the page the next byte names.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

#include "AsoKit/clock.h"
#include "app/store/bootstrap.h"
#include "app/store/export.h"
#include "app/store/file_operations.h"
#include "app/store/footprint.h"
#include "app/store/store.h"
#include "tools/storegen/storegen.h"

namespace {

namespace fs = std::filesystem;
constexpr std::size_t kPage = 4096;

const fs::path& workFolder() {
  // Never destroyed, so that the clean-up at exit can still name it.
  static const fs::path* const folder = [] {
    std::string pattern = (fs::temp_directory_path() / "tovra-store-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    // Every run of the replay in the test suite would otherwise leave one behind.
    std::atexit([] {
      std::error_code ignored;
      fs::remove_all(workFolder(), ignored);
    });
    return new fs::path(pattern);
  }();
  return *folder;
}

const std::string& templateStore() {
  static const std::string bytes = [] {
    const fs::path folder = workFolder() / "template";
    fs::create_directories(folder);
    tovra::storegen::GeneratorOptions options;
    options.apps = 2;
    options.keywordsPerApp = 3;
    options.days = 6;
    options.laddersPerKeyword = 1;
    tovra::storegen::generateStore(*tovra::store::Store::open(folder / "default.store"), options);
    std::ifstream in(folder / "default.store", std::ios::binary);
    std::string read{std::istreambuf_iterator<char>(in), {}};
    fs::remove_all(folder);
    return read;
  }();
  return bytes;
}

std::string mutated(const std::uint8_t* data, std::size_t size) {
  std::string bytes = templateStore();
  const std::size_t pages = bytes.size() / kPage;
  std::size_t at = 0;
  if (size >= 2 && data[0] == 0xFF) {
    bytes.resize((data[1] % (pages + 1)) * kPage + (size > 2 ? data[2] : 0));
    at = 3;
  }
  while (at + 4 <= size && !bytes.empty()) {
    const std::size_t page = data[at] % pages;
    const std::size_t offset = (static_cast<std::size_t>(data[at + 1]) << 8 | data[at + 2]) % kPage;
    std::size_t length = data[at + 3];
    at += 4;
    length = std::min({length, size - at, bytes.size() - std::min(bytes.size(), page * kPage + offset)});
    for (std::size_t i = 0; i < length; ++i) {
      bytes[page * kPage + offset + i] = static_cast<char>(data[at + i]);
    }
    at += length;
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path folder = workFolder() / "data";
  fs::remove_all(folder);
  fs::create_directories(folder);
  {
    std::ofstream out(folder / "default.store", std::ios::binary);
    const std::string bytes = mutated(data, size);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  std::ofstream(folder / "TovraStore.version") << "1.0.0";

  tovra::store::SystemFileOperations files;
  asokit::VirtualClock clock{asokit::WallTime{std::chrono::seconds{1'736'848'800}}};
  tovra::store::StoreBootstrap bootstrap(folder, files, clock.wall(), tovra::store::LocalTimeFormat("UTC"),
                                         tovra::store::StoreBootstrap::diskContainer());
  bootstrap.checkWhen([] { return std::optional(tovra::store::CheckDepth::quick); });
  auto result = bootstrap.open();
  if (!result.container && !result.notice) {
    __builtin_trap();  // opening must give a store or say why there is none
  }
  if (result.container) {
    try {
      (void)tovra::store::StoreInventory::count(*result.container);
      (void)tovra::store::exportStoreToString(*result.container, clock.wall().now());
    } catch (const tovra::store::StoreError&) {
    }
  }
  return 0;
}
