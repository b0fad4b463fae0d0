#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <thread>

#include "AsoKit/aso_error.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/help_examples.h"
#include "app/cli/usage.h"
#include "app/research/error_lead.h"
#include "app/research/request_gate.h"

namespace {

using tovra::cli::Exit;

// Ctrl-C is read on a thread of its own (sigwait), so that stopping never runs inside a signal handler:
// the first asks a run to stop after the request in flight, the second quits at once.
void watchInterrupts(tovra::cli::Context& context) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::thread([set, &context]() mutable {
    int interrupts = 0;
    for (;;) {
      int signal = 0;
      if (sigwait(&set, &signal) != 0) {
        continue;
      }
      // A command that does not listen for the stop (a one-off search, a lookup) quits on the first.
      if (signal == SIGTERM || ++interrupts >= 2 || !context.requestUserStop()) {
        context.cancel().request_stop();
        std::cerr << "\nStopped.\n";
        _exit(static_cast<int>(Exit::stoppedByUser));
      }
      std::cerr << "\nStopping after the request in flight… (Ctrl-C again quits at once)\n";
    }
  }).detach();
}

// The store's block is per address, so a refusal met by any command holds every later request of every
// Tovra process, as a halted run does. Done here, once, so that no command can forget it.
void holdAfterRefusal(tovra::cli::Context& context, std::ostream& err) {
  try {
    context.services().holdAfterRefusal();
  } catch (const std::exception& e) {
    err << e.what() << "\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  tovra::cli::WatchedOutput stdoutWatched(std::cout);
  tovra::cli::Context context(stdoutWatched, std::cerr);
  CLI::App app{"Tovra measures where apps rank in App Store search.", "tovra"};
  app.set_version_flag("-V,--version", tovra::cli::versionText());
  app.add_option("--data-dir", context.dataDirOption, "Where the store lives (default: $XDG_DATA_HOME/Tovra)")
      ->check(CLI::Validator(
          [](std::string& dir) -> std::string {
            // An empty folder name would quietly mean the default store, not the one the user meant.
            return dir.empty() ? "the folder name is empty: give a folder, or leave --data-dir out." : "";
          },
          "DIR"));
  app.add_flag("--json", context.json, "Machine-readable output on stdout");
  app.add_flag("--wide", context.wide,
               "Print tables whole (default: fit them to COLUMNS or the terminal, 80 columns when not a terminal)");
  app.require_subcommand(1);
  app.fallthrough();
  for (const auto& command : tovra::cli::registeredCommands()) {
    command.setup(app, context);
  }
  tovra::cli::addHelpExamples(app);

  // Before the parse: a usage error must answer in JSON when JSON was asked for, wherever --json stands.
  const bool json = tovra::cli::asksForJson(argc, argv);
  const auto fail = [&](Exit status, const std::string& message, const std::string& hint = "") {
    return tovra::cli::endWithError(context, json, stdoutWatched, status, message, hint);
  };
  if (const auto unknown = tovra::cli::unknownCommandIn(app, argc, argv)) {
    return fail(Exit::usage, *unknown);
  }

  watchInterrupts(context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) {
      return app.exit(e);  // --help, --version
    }
    return fail(Exit::usage, e.what(), "Run with --help for more information.");
  } catch (const tovra::cli::CommandError& e) {
    const int status = fail(e.status(), e.what());
    context.salvageIfDamaged(&e);
    if (e.isStoreRefusal()) {
      holdAfterRefusal(context, std::cerr);
    }
    return status;
  } catch (const asokit::AsoError& e) {
    if (!tovra::research::isRefusal(e)) {
      return fail(Exit::failed, tovra::research::withErrorLead(e.description()));
    }
    const int status = fail(Exit::refused, tovra::research::withErrorLead(e.description()));
    holdAfterRefusal(context, std::cerr);
    return status;
  } catch (const asokit::Cancelled&) {
    return fail(Exit::stoppedByUser, "");
  } catch (const std::exception& e) {
    const int status = fail(Exit::failed, e.what());
    context.salvageIfDamaged(&e);
    return status;
  }
  if (context.salvageIfDamaged()) {
    return static_cast<int>(Exit::failed);
  }
  return 0;
}
