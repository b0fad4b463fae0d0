#pragma once

#include <QWidget>
#include <filesystem>

#include "app/store/launch_alert.h"

namespace tovra::gui {

enum class LaunchAlertChoice {
  goOn,      // the application goes on (a recovered store)
  quit,      // the application must end ("Quit", or a store that could not be opened at all)
  tryAgain,  // open the store again ("Try Again", offered for a store another program holds)
};

// Shows the store's launch alert over `parent` with the alert's own texts and buttons, and tells what
// the user chose.
LaunchAlertChoice presentLaunchAlert(QWidget* parent, const store::StoreLaunchAlert& alert);

// Shows the folder in the desktop's file manager (org.freedesktop.FileManager1), else opens it.
void revealInFileManager(const std::filesystem::path& folder);

}  // namespace tovra::gui
