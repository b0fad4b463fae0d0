// tovra-fakestore: the App Store's search, hints and lookup endpoints on loopback, answered from a
// scenario file, for tests and the offline demo.

#include <fmt/format.h>
#include <pthread.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tools/fakestore/request_log.h"
#include "tools/fakestore/scenario.h"
#include "tools/fakestore/store_server.h"

namespace {

using tovra::fakestore::Scenario;

constexpr const char* kFooter = R"(Scenario (JSON; all keys optional, unknown keys refused):
  "apps":    {"<id>": {"name" (required), "developer", "bundleId", "artwork", "ratingCount", "averageRating"}}
  "search":  {"<country>": {"<term>": ["<id>", ...] or {"ids": [...], "padTo": n}}}
  "hints":   {"<country>": {"<prefix>": ["term", {"term": "...", "priority": n}, ...]}}
  "faults":  [{filters..., effects...}]
  "storm403AfterRequests": n, "stormLength": n   every request after the n-th answers 403 (for
                                                 stormLength requests, or for good)
  "namedResults": 8                              how many head ids of a search answer carry names

Countries are lower-case storefront codes, read from the X-Apple-Store-Front header (search, hints)
or the "country" query item (lookup). Terms and prefixes match exactly, else ignoring ASCII case and
repeated blanks; one without an entry gets a valid empty answer. "padTo" fills a result list with
invented apps that lookup knows. Search or hints without a known storefront or a term, and lookup
without "id" or "bundleId", answer 400. Query values are percent-decoded; "+" stays "+".

Fault filters: "path" ("search", "hints", "lookup", "*"), "term" (exact term, prefix, or the
lookup's id list or bundle id), "country", "skip" (matching requests let through first), "times"
(n or "forever", the default). The first matching fault that is not spent applies.
Fault effects: "status" (a 2xx keeps the normal body), "delayMs", "body" (with "contentType"),
"truncate" (half the body, sent as a complete answer), "hangUp" (half the announced body, then the
connection closes), "reshape":
  search: not-object, no-bubbles, empty-bubbles, results-not-list, page-data, software-second,
          no-names, numeric-ids
  hints:  not-plist, no-hints, hints-not-list, binary
  lookup: not-object, no-results

Every request is logged as one JSON line: time (handler start), accepted (its connection), firstByte
(received by the kernel; plain HTTP only), firstByteRead (read by the store), all epoch seconds with
microseconds or null; method, path and query as sent, params (decoded, in order), headers, remotePort, endpoint, country, number, status, fault.
SIGTERM or SIGINT stops the store cleanly (exit status 0); a bad scenario or usage exits 2.
More in tools/fakestore/README.md.)";

// Written under a temporary name and renamed, so a reader never sees half a file.
void writeAtomically(const std::filesystem::path& file, const std::string& content) {
  const std::filesystem::path temporary = file.string() + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out.flush()) {
      throw std::runtime_error(fmt::format("cannot write {}", temporary.string()));
    }
  }
  std::filesystem::rename(temporary, file);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"tovra-fakestore: a fake App Store (store search, search hints, lookup) on 127.0.0.1"};
  std::string scenarioFile;
  std::string portFile;
  std::string certificateFile;
  std::string logFile;
  int port = 0;
  bool https = false;
  bool checkOnly = false;
  app.add_option("--scenario", scenarioFile, "The scenario file (JSON)")->required();
  app.add_option("--port", port, "The TCP port on 127.0.0.1; 0 picks a free one")->check(CLI::Range(0, 65535));
  app.add_option("--port-file", portFile, "Write the chosen port to this file once the store listens");
  app.add_flag("--https", https, "Serve HTTPS with a self-signed certificate made at start");
  app.add_option("--cert-out", certificateFile,
                 "Write the certificate (PEM) here, for clients to trust (TOVRA_CA_FILE); needs --https");
  app.add_option("--log", logFile, "Append one JSON line per request to this file");
  app.add_flag("--check", checkOnly, "Read and check the scenario, then exit");
  app.footer(kFooter);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // --help arrives here too, with exit code 0; every real usage error is status 2.
    return app.exit(error) == 0 ? 0 : 2;
  }
  if (!certificateFile.empty() && !https) {
    std::fputs("tovra-fakestore: --cert-out needs --https\n", stderr);
    return 2;
  }

  Scenario scenario;
  try {
    scenario = tovra::fakestore::loadScenario(scenarioFile);
  } catch (const tovra::fakestore::ScenarioError& error) {
    std::fprintf(stderr, "tovra-fakestore: %s\n", error.what());
    return 2;
  }
  if (checkOnly) {
    std::printf("tovra-fakestore: %s is a valid scenario (%zu apps, %zu faults)\n", scenarioFile.c_str(),
                scenario.apps.size(), scenario.faults.size());
    return 0;
  }

  // Signals are taken by sigwait below; blocking them first keeps every server thread out of it.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  try {
    tovra::fakestore::RequestLog log(logFile);
    tovra::fakestore::StoreServer server(std::move(scenario), log, https);
    const int bound = server.bind(port);
    if (!certificateFile.empty()) {
      writeAtomically(certificateFile, server.certificatePem());
    }
    bool served = true;
    const pthread_t mainThread = pthread_self();
    std::thread serving([&] {
      served = server.serve();
      pthread_kill(mainThread, SIGUSR1);
    });
    server.waitUntilServing();
    if (!portFile.empty()) {
      writeAtomically(portFile, std::to_string(bound) + "\n");
    }
    std::printf("tovra-fakestore: serving %s://127.0.0.1:%d\n", https ? "https" : "http", bound);
    std::fflush(stdout);

    int received = 0;
    sigwait(&signals, &received);
    server.stop();
    serving.join();
    if (received == SIGUSR1 && !served) {
      std::fputs("tovra-fakestore: the server stopped unexpectedly\n", stderr);
      return 1;
    }
    std::fprintf(stderr, "tovra-fakestore: stopped (%s)\n", sigabbrev_np(received));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tovra-fakestore: %s\n", error.what());
    return 1;
  }
}
