// Feeds arbitrary bytes to the three answer parsers: each must either read the answer or fail with its
// typed error, never crash, hang or return garbage silently.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "AsoKit/aso_error.h"
#include "AsoKit/lookup.h"
#include "AsoKit/search_hints.h"
#include "AsoKit/store_search.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  try {
    const auto result = asokit::store_search::parse(bytes);
    (void)result.topApps(10);
  } catch (const asokit::AsoError&) {
  }
  try {
    (void)asokit::lookup::parse(bytes);
  } catch (const asokit::AsoError&) {
  }
  try {
    (void)asokit::search_hints::parse(bytes);
  } catch (const asokit::AsoError&) {
  }
  return 0;
}
