#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/store/bootstrap.h"

namespace tovra::store {

// The modal alert that tells the user about the store notice once the application has launched. Built
// here so that every front end says exactly the same.
struct StoreLaunchAlert {
  enum class Style { warning, critical };

  static constexpr std::string_view okButton = "OK";
  static constexpr std::string_view quitButton = "Quit";
  static constexpr std::string_view tryAgainButton = "Try Again";
  static constexpr std::string_view showFolderButton = "Show in File Manager";

  Style style = Style::warning;
  std::string messageText;
  std::string informativeText;
  // In order; the folder button is offered only when a folder is known, and reveals `folder`.
  std::vector<std::string> buttons;
  std::optional<std::filesystem::path> folder;
  // A failed, unreachable or locked store ends the application once the alert closes; a recovered one
  // goes on. A locked store offers to open it again instead ("Try Again"), which needs no restart.
  bool endsApplication = false;

  static StoreLaunchAlert from(const StoreOpenNotice& notice);
};

}  // namespace tovra::store
