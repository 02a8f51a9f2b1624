// Requests on the list of applications, against the same work by hand and against a database.
#include <kxl/kxl.h>
#include <sqlite3.h>

#include <filesystem>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "stores/registered_applications.h"

namespace bench {

namespace {

// The middle application's name is another one at every iteration, so that there is something to
// write. Lists begin with the odd one.
const char* Name(std::size_t iteration) { return iteration % 2 == 0 ? "Even" : "Odd"; }

auto MakeList(std::size_t applications) {
  return [=] { WriteFile(ListPath(), ListText(applications, Name(1))); };
}

void AddReplacing(std::size_t applications, const std::string& row) {
  const std::string id = MiddleId(applications);
  const std::string folder = "/opt/example/application" + std::to_string(applications / 2);
  AddRow(row, kLibrary, MakeList(applications), [=](std::size_t iteration) {
    Check(KXLRegisterApplication(id.c_str(), Name(iteration), folder.c_str()) == ESD_ERR_OK,
          "registering has failed");
  });
  const std::string texts[] = {ListText(applications, Name(0)), ListText(applications, Name(1))};
  AddRow(row, kMinimum, MakeList(applications), [=](std::size_t iteration) {
    const Lock lock(ListPath());
    ParseForNothing(Read(ListPath()));
    Replace(ListPath(), texts[iteration % 2]);
  });
}

void AddReading(std::size_t applications, const std::string& row) {
  AddRow(row, kMinimum, MakeList(applications), [](std::size_t /*iteration*/) {
    const Lock lock(ListPath());
    ParseForNothing(Read(ListPath()));
  });
}

void AddNoChange(std::size_t applications, const std::string& row) {
  AddRow(row, kLibrary, MakeList(applications), [](std::size_t /*iteration*/) {
    Check(KXLRegisterApplication("com.example.application0", "Example Application",
                                 "/opt/example/application0") == ESD_ERR_ALREADYREGISTERED,
          "an application is not registered");
  });
  AddReading(applications, row);
}

void AddLookup(std::size_t applications, const std::string& row) {
  const std::string id = MiddleId(applications);
  AddRow(row, kLibrary, MakeList(applications), [=](std::size_t /*iteration*/) {
    kxl::KeldaUpdaterRegisteredApp app{esd::XMLNodePointer()};
    Check(kxl::KeldaUpdaterRegistrationManager().Find(id, app), "an application is not found");
  });
  AddReading(applications, row);
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

std::string DatabasePath(std::size_t applications, const char* journal) {
  return Path("list" + std::to_string(applications) + journal);
}

auto MakeDatabase(std::size_t applications, const char* journal) {
  return [=] {
    const std::string path = DatabasePath(applications, journal);
    if (std::filesystem::exists(path)) return;
    Database database(path, journal);
    database.Run("CREATE TABLE application (id TEXT PRIMARY KEY, name TEXT, folder TEXT); BEGIN");
    for (std::size_t i = 0; i < applications; ++i) {
      database.Run("INSERT INTO application VALUES (?1, ?2, '/opt/example/application')",
                   "com.example.application" + std::to_string(i), "Example Application");
    }
    database.Run("COMMIT");
  };
}

void AddDatabase(std::size_t applications, const char* journal, const std::string& variant,
                 const std::string& replace, const std::string& lookup) {
  const std::string path = DatabasePath(applications, journal);
  const std::string id = MiddleId(applications);
  AddRow(replace, variant, MakeDatabase(applications, journal), [=](std::size_t iteration) {
    Database database(path, journal);
    database.Run(
        "INSERT INTO application VALUES (?1, ?2, '/opt/example/application') "
        "ON CONFLICT (id) DO UPDATE SET name = excluded.name",
        id, Name(iteration));
  });
  AddRow(lookup, variant, MakeDatabase(applications, journal), [=](std::size_t /*iteration*/) {
    Database database(path, journal);
    Check(database.Run("SELECT folder FROM application WHERE id = ?1", id, {}), "no row");
  });
}

}  // namespace

void AddRegistrationRows() {
  for (const std::size_t applications : {10U, 100U, 1000U, 10000U}) {
    const std::string suffix = ", " + std::to_string(applications) + " applications";
    const std::string replace = "register, one is replaced" + suffix;
    const std::string lookup = "look one up" + suffix;
    AddReplacing(applications, replace);
    AddNoChange(applications, "register, nothing changes" + suffix);
    AddLookup(applications, lookup);
    AddDatabase(applications, "DELETE", "SQLite, rollback journal", replace, lookup);
    AddDatabase(applications, "WAL", "SQLite, write-ahead log", replace, lookup);
  }
}

}  // namespace bench
