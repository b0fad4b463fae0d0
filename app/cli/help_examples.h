#pragma once

namespace CLI {
class App;
}

namespace tovra::cli {

// Puts one or two examples under every command's --help (after any text the command has there already),
// so the manual page, written from the same help, carries them too.
void addHelpExamples(CLI::App& root);

}  // namespace tovra::cli
