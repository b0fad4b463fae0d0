// Holds an exclusive lock on a SQLite file, the way another program might, until it is killed:
//   test_store_lock_holder STORE READY_FILE
// READY_FILE is created once the lock is held, so the test knows when to start.

#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: test_store_lock_holder STORE READY_FILE\n");
    return 2;
  }
  sqlite3* database = nullptr;
  if (sqlite3_open_v2(argv[1], &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    std::fprintf(stderr, "cannot open %s: %s\n", argv[1], sqlite3_errmsg(database));
    return 1;
  }
  char* message = nullptr;
  // The read after BEGIN EXCLUSIVE is what makes SQLite take the lock on the file itself.
  if (sqlite3_exec(database, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; SELECT count(*) FROM sqlite_schema;",
                   nullptr, nullptr, &message) != SQLITE_OK) {
    std::fprintf(stderr, "cannot lock %s: %s\n", argv[1], message ? message : "");
    return 1;
  }
  std::ofstream(argv[2]) << "locked\n";
  for (;;) {
    pause();
  }
}
