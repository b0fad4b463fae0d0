#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "app/cli/command.h"

// The command line's frame around the commands: mistakes in what was typed are answered before anything
// runs, and an error reaches a script as a JSON object when it asked for JSON.
namespace tovra::cli {

class Context;

// Standard output that remembers whether anything was written, so that an error after a command printed
// its result does not add a second JSON document to stdout.
class WatchedOutput final : public std::ostream {
 public:
  explicit WatchedOutput(std::ostream& target);
  bool written() const { return buffer_.written; }

 private:
  struct Buffer final : std::streambuf {
    explicit Buffer(std::streambuf* target) : target(target) {}
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;
    int sync() override { return target->pubsync(); }
    std::streambuf* target;
    bool written = false;
  };
  Buffer buffer_;
};

// "tovra 1.4.0"
std::string versionText();

// Refuses a country that is not one of the 27 storefronts while the command line is read, so a command
// never starts with one; the message names the nearest codes.
CLI::Validator countryCheck();

// The first command word that names no command where a command is expected ("tovra serach", "tovra app
// ad"), with the nearest ones; none when every command word is known.
std::optional<std::string> unknownCommandIn(const CLI::App& root, int argc, const char* const* argv);

// Whether the command line asks for JSON output, read before it is parsed (a usage error comes before
// the flag is known).
bool asksForJson(int argc, const char* const* argv);

// Ends the command with `status`: the message on stderr and, with --json and nothing printed yet, the JSON
// error object {"error": message, "exitStatus": status} on stdout. `stderrHint` follows the message on
// stderr only (where to read more). Returns the status.
int endWithError(Context& context, bool json, const WatchedOutput& out, Exit status, const std::string& message,
                 const std::string& stderrHint = "");

}  // namespace tovra::cli
