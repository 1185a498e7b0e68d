// Holds an SQLite file for itself alone until it is killed, but no longer than five minutes:
//   kblutils_locker PATH
// prints a line once it does. Ends with 1 when it cannot.

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <thread>

int main(int count, char** arguments) {
  if (count != 2) return 2;
  sqlite3* database = nullptr;
  if (sqlite3_open(arguments[1], &database) != SQLITE_OK) return 1;
  if (sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) != SQLITE_OK) return 1;
  (void)std::puts("locked");
  (void)std::fflush(stdout);
  std::this_thread::sleep_for(std::chrono::minutes(5));
  return 0;
}
