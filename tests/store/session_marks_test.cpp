#include "app/store/session_marks.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>

#include "temp_dir.h"

namespace tovra::store {
namespace {

namespace fs = std::filesystem;

// Processes 100 and 200 run; any other has ended.
bool running(long processId) {
  return processId == 100 || processId == 200;
}

struct MarkCase {
  std::string name;
  // What earlier processes left: each runs one step on the same store.
  std::function<void(SessionMarks& other, SessionMarks& ended)> before;
  bool due;
};

void PrintTo(const MarkCase& c, std::ostream* out) {
  *out << c.name;
}

class SessionMarksTest : public ::testing::TestWithParam<MarkCase> {
 protected:
  testing::TempDir temp;
  fs::path store = temp.path() / "data" / "default.store";
};

TEST_P(SessionMarksTest, ACheckIsDueOnlyAfterAnEndedProcessLeftTheStoreOpenOrDamageWasFound) {
  SessionMarks other(temp.path(), store, 200, running);  // another Tovra process that still runs
  SessionMarks ended(temp.path(), store, 300, running);  // one that has ended since
  GetParam().before(other, ended);
  SessionMarks own(temp.path(), store, 100, running);

  EXPECT_EQ(own.checkDue(), GetParam().due);
  // An ended process's mark is taken away once it was seen: the next launch is not checked again for it.
  own.begin();
  SessionMarks next(temp.path(), store, 100, running);
  const bool damageLeft = GetParam().name == "DamageFound";
  EXPECT_EQ(next.checkDue(), damageLeft);
}

INSTANTIATE_TEST_SUITE_P(
    Marks, SessionMarksTest,
    ::testing::Values(
        MarkCase{"NoEarlierProcess", [](SessionMarks&, SessionMarks&) {}, false},
        MarkCase{"EndedCleanly",
                 [](SessionMarks&, SessionMarks& ended) {
                   ended.begin();
                   ended.end();
                 },
                 false},
        MarkCase{"StillRunningElsewhere", [](SessionMarks& other, SessionMarks&) { other.begin(); }, false},
        MarkCase{"EndedWithTheStoreOpen", [](SessionMarks&, SessionMarks& ended) { ended.begin(); }, true},
        MarkCase{"DamageFound", [](SessionMarks& other, SessionMarks&) { other.noteDamage(); }, true},
        MarkCase{"DamageFoundThenSalvaged",
                 [](SessionMarks& other, SessionMarks&) {
                   other.noteDamage();
                   other.clearDamage();
                 },
                 false}),
    [](const ::testing::TestParamInfo<MarkCase>& info) { return info.param.name; });

TEST(SessionMarksStoresTest, AnotherStoresMarksDoNotMakeThisOneDue) {
  testing::TempDir temp;
  SessionMarks(temp.path(), temp.path() / "a" / "default.store", 300, running).begin();
  SessionMarks(temp.path(), temp.path() / "b" / "default.store", 300, running).noteDamage();
  SessionMarks own(temp.path(), temp.path() / "c" / "default.store", 100, running);
  EXPECT_FALSE(own.checkDue());
}

}  // namespace
}  // namespace tovra::store
