#include "app/store/integrity.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::store {
namespace {

// The engine stops after this many findings; the first few say enough, and a badly damaged file could
// otherwise list one line per page.
constexpr int kMaxFindings = 10;

bool reportsDamage(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

}  // namespace

StoreCheckResult checkStoreFile(const std::filesystem::path& file, CheckDepth depth) {
  StoreCheckResult result;
  try {
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX,
                              static_cast<int>(Store::busyTimeout.count()));
    const std::string pragma = depth == CheckDepth::quick ? "quick_check" : "integrity_check";
    SQLite::Statement check(database, "PRAGMA " + pragma + "(" + std::to_string(kMaxFindings) + ")");
    while (check.executeStep()) {
      const std::string line = check.getColumn(0).getString();
      if (line != "ok") {
        result.findings.push_back(line);
      }
    }
    result.verdict = result.findings.empty() ? StoreCheckResult::Verdict::sound : StoreCheckResult::Verdict::damaged;
  } catch (const SQLite::Exception& error) {
    result.findings = {StoreError::fromSqlite(error, "checking the store").description()};
    result.verdict =
        reportsDamage(error.getErrorCode()) ? StoreCheckResult::Verdict::damaged : StoreCheckResult::Verdict::unchecked;
  } catch (const std::exception& error) {
    result.findings = {error.what()};
    result.verdict = StoreCheckResult::Verdict::unchecked;
  }
  return result;
}

std::string checkSummary(const StoreCheckResult& result) {
  switch (result.verdict) {
    case StoreCheckResult::Verdict::sound:
      return "The store passed its check: the engine found nothing damaged.";
    case StoreCheckResult::Verdict::damaged: {
      std::string text = "The store file is damaged.";
      for (const auto& finding : result.findings) {
        text += "\n  " + finding;
      }
      return text;
    }
    case StoreCheckResult::Verdict::unchecked:
      break;
  }
  return "The store could not be checked: " +
         (result.findings.empty() ? std::string("no reason given.") : result.findings.front());
}

}  // namespace tovra::store
