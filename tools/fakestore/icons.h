#pragma once

#include <string>
#include <string_view>

namespace tovra::fakestore {

// An app icon for the artwork address `path`: a PNG of `size` pixels whose colours follow from the path,
// so each demo app keeps its own icon from run to run and the offline demo needs no image files.
std::string iconPng(std::string_view path, int size = 128);

}  // namespace tovra::fakestore
