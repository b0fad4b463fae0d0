#pragma once

#include <QWidget>
#include <filesystem>

#include "app/store/launch_alert.h"

namespace tovra::gui {

// Shows the store's launch alert over `parent` with the alert's own texts and buttons. Returns whether
// the application must end ("Quit", or a store that could not be opened at all).
bool presentLaunchAlert(QWidget* parent, const store::StoreLaunchAlert& alert);

// Shows the folder in the desktop's file manager (org.freedesktop.FileManager1), else opens it.
void revealInFileManager(const std::filesystem::path& folder);

}  // namespace tovra::gui
