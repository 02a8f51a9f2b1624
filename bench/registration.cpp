// Requests on the list of applications, against the same work by hand and against a database.
#include <kxl/kxl.h>
#include <sqlite3.h>

#include <string>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "stores/registered_applications.h"

namespace bench {

namespace {

auto MakeList(std::size_t applications) {
  return [=] { WriteFile(ListPath(), ListText(applications, "Before")); };
}

Variant Replacing(std::size_t applications) {
  const std::string id = MiddleId(applications);
  const std::string folder = "/opt/example/application" + std::to_string(applications / 2);
  return Timed(kLibrary, [=, count = 100000]() mutable {
    const std::string name = std::to_string(++count);  // another one than before
    Check(KXLRegisterApplication(id.c_str(), name.c_str(), folder.c_str()) == ESD_ERR_OK,
          "registering has failed");
  });
}

Variant ReplacingByHand(std::size_t applications) {
  return Timed(kMinimum, [text = ListText(applications, "Before"), list = ListPath(),
                          lockName = LockName(ListPath())] {
    const Lock lock(lockName);
    Parse(list);
    Replace(list, text);
  });
}

Variant ReadingByHand() {
  return Timed(kMinimum, [list = ListPath(), lockName = LockName(ListPath())] {
    const Lock lock(lockName);
    Parse(list);
  });
}

Variant ChangingNothing() {
  return Timed(kLibrary, [] {
    Check(KXLRegisterApplication("com.example.application0", "Example Application",
                                 "/opt/example/application0") == ESD_ERR_ALREADYREGISTERED,
          "an application is not registered");
  });
}

Variant LookingUp(std::size_t applications) {
  return Timed(kLibrary, [id = MiddleId(applications)] {
    kxl::KeldaUpdaterRegisteredApp app{esd::XMLNodePointer()};
    Check(kxl::KeldaUpdaterRegistrationManager().Find(id, app), "an application is not found");
  });
}

class Database {
 public:
  Database(const std::string& path, const char* journal) {
    Check(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, "no database");
    Run((std::string("PRAGMA journal_mode=") + journal + "; PRAGMA synchronous=FULL").c_str());
  }
  ~Database() { sqlite3_close(database_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Run(const char* statements) {
    Check(sqlite3_exec(database_, statements, nullptr, nullptr, nullptr) == SQLITE_OK, statements);
  }

  // Runs a statement with two texts as its parameters; whether it has a row.
  bool Run(const char* text, const std::string& first, const std::string& second) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database_, text, -1, &statement, nullptr);
    sqlite3_bind_text(statement, 1, first.c_str(), -1, SQLITE_TRANSIENT);
    if (!second.empty()) sqlite3_bind_text(statement, 2, second.c_str(), -1, SQLITE_TRANSIENT);
    const int status = sqlite3_step(statement);
    sqlite3_finalize(statement);
    Check(status == SQLITE_ROW || status == SQLITE_DONE, text);
    return status == SQLITE_ROW;
  }

 private:
  sqlite3* database_ = nullptr;
};

constexpr char kJournal[] = "DELETE";
constexpr char kWriteAhead[] = "WAL";

std::string NameOf(const char* journal) {
  return journal == kJournal ? "SQLite, rollback journal" : "SQLite, write-ahead log";
}

std::string MakeDatabase(std::size_t applications, const char* journal) {
  std::string path = Path("list" + std::to_string(applications) + journal);
  Database database(path, journal);
  database.Run("CREATE TABLE application (id TEXT PRIMARY KEY, name TEXT, folder TEXT); BEGIN");
  for (std::size_t i = 0; i < applications; ++i) {
    database.Run("INSERT INTO application VALUES (?1, ?2, '/opt/example/application')",
                 "com.example.application" + std::to_string(i), "Example Application");
  }
  database.Run("COMMIT");
  return path;
}

Variant ReplacingInDatabase(std::size_t applications, const std::string& path,
                            const char* journal) {
  return Timed(NameOf(journal), [=, id = MiddleId(applications), count = 0]() mutable {
    Database database(path, journal);
    database.Run(
        "INSERT INTO application VALUES (?1, ?2, '/opt/example/application') "
        "ON CONFLICT (id) DO UPDATE SET name = excluded.name",
        id, std::to_string(++count));
  });
}

Variant LookingUpInDatabase(std::size_t applications, const std::string& path,
                            const char* journal) {
  return Timed(NameOf(journal), [=, id = MiddleId(applications)] {
    Database database(path, journal);
    Check(database.Run("SELECT folder FROM application WHERE id = ?1", id, {}), "no row");
  });
}

}  // namespace

void AddRegistrationRows() {
  for (const std::size_t applications : {10U, 100U, 1000U, 10000U}) {
    const std::string suffix = ", " + std::to_string(applications) + " applications";
    const std::string journal = MakeDatabase(applications, kJournal);
    const std::string writeAhead = MakeDatabase(applications, kWriteAhead);
    AddRow("register, one is replaced" + suffix,
           {Replacing(applications), ReplacingByHand(applications),
            ReplacingInDatabase(applications, journal, kJournal),
            ReplacingInDatabase(applications, writeAhead, kWriteAhead)},
           MakeList(applications));
    AddRow("register, nothing changes" + suffix, {ChangingNothing(), ReadingByHand()},
           MakeList(applications));
    AddRow("look one up" + suffix,
           {LookingUp(applications), ReadingByHand(),
            LookingUpInDatabase(applications, journal, kJournal),
            LookingUpInDatabase(applications, writeAhead, kWriteAhead)},
           MakeList(applications));
  }
}

}  // namespace bench
