#pragma once
// Deliberately wrong: the App Store client must not include SQLite.
#include <sqlite3.h>
