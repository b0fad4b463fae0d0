#pragma once
// Deliberately wrong: the core must not include Qt.
#include <QString>
