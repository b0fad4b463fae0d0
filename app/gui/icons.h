#pragma once

#include <QIcon>
#include <string_view>

namespace tovra::gui {

// Registers the bundled icons; the application and the widget tests call it once before any window.
void initIcons();
// The bundled icon for a symbol name of the core ("play", "laurel.leading").
QIcon symbolIcon(std::string_view symbol);

}  // namespace tovra::gui
