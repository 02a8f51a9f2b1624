// Requests on the list of applications, against the same work by hand and against a database.
#include <kxl/kxl.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "stores/registered_applications.h"

namespace bench {

namespace {

// The list's applications in random order, over and over.
class Applications {
 public:
  explicit Applications(std::size_t count) {
    while (applications_.size() < count) {
      applications_.push_back(ApplicationOf(applications_.size()));
    }
    std::shuffle(applications_.begin(), applications_.end(), std::mt19937());
  }

  const Application& Next() { return applications_[next_++ % applications_.size()]; }

 private:
  std::vector<Application> applications_;
  std::size_t next_ = 0;
};

using Sequence = std::shared_ptr<Applications>;

// Another name than any before, and as long.
std::string NewName() {
  static std::uint64_t last = 1000000000000000000;
  return std::to_string(++last);
}

Variant Replacing(const Sequence& applications) {
  return Timed(kLibrary, [=] {
    const Application& application = applications->Next();
    Check(KXLRegisterApplication(application.id.c_str(), NewName().c_str(),
                                 application.folder.c_str()) == ESD_ERR_OK,
          "registering has failed");
  });
}

Variant ReplacingByHand(std::size_t applications) {
  return Timed(kMinimum,
               [text = ListText(applications), list = ListPath(), lockName = LockName(ListPath())] {
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

Variant ChangingNothing(const Sequence& applications) {
  return Timed(kLibrary, [=] {
    const auto& [id, name, folder] = applications->Next();
    Check(KXLRegisterApplication(id.c_str(), name.c_str(), folder.c_str()) ==
              ESD_ERR_ALREADYREGISTERED,
          "an application is not registered");
  });
}

Variant LookingUp(const Sequence& applications) {
  return Timed(kLibrary, [=] {
    kxl::KeldaUpdaterRegisteredApp app{esd::XMLNodePointer()};
    Check(kxl::KeldaUpdaterRegistrationManager().Find(applications->Next().id, app),
          "an application is not found");
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

constexpr std::array<const char*, 2> kJournals[] = {{kRollback, "DELETE"}, {kWriteAhead, "WAL"}};

std::string MakeDatabase(std::size_t applications, const char* journal) {
  std::string path = Path("list" + std::to_string(applications) + journal);
  Database database(path, journal);
  database.Run("CREATE TABLE application (id TEXT PRIMARY KEY, name TEXT, folder TEXT); BEGIN");
  for (std::size_t i = 0; i < applications; ++i) {
    const Application application = ApplicationOf(i);
    database.Run("INSERT INTO application VALUES (?1, ?2, '/opt/example/application')",
                 application.id, application.name);
  }
  database.Run("COMMIT");
  return path;
}

Variant ReplacingInDatabase(const char* name, const std::string& path, const char* journal,
                            const Sequence& applications) {
  return Timed(name, [=] {
    Database database(path, journal);
    database.Run(
        "INSERT INTO application VALUES (?1, ?2, '/opt/example/application') "
        "ON CONFLICT (id) DO UPDATE SET name = excluded.name",
        applications->Next().id, NewName());
  });
}

Variant LookingUpInDatabase(const char* name, const std::string& path, const char* journal,
                            const Sequence& applications) {
  return Timed(name, [=] {
    Database database(path, journal);
    Check(database.Run("SELECT folder FROM application WHERE id = ?1", applications->Next().id, {}),
          "no row");
  });
}

}  // namespace

void AddRegistrationRows() {
  for (const std::size_t count : kListSizes) {
    const auto sequence = std::make_shared<Applications>(count);
    std::vector<Variant> replacing = {Replacing(sequence), ReplacingByHand(count)};
    std::vector<Variant> lookingUp = {LookingUp(sequence), ReadingByHand()};
    for (const auto& [name, journal] : kJournals) {
      const std::string path = MakeDatabase(count, journal);
      replacing.push_back(ReplacingInDatabase(name, path, journal, sequence));
      lookingUp.push_back(LookingUpInDatabase(name, path, journal, sequence));
    }
    const std::string suffix = kOneOf + std::to_string(count);
    const auto makeList = [=] { WriteFile(ListPath(), ListText(count)); };
    AddRow(kReplacing + suffix, replacing, makeList);
    AddRow(kChangingNothing + suffix, {ChangingNothing(sequence), ReadingByHand()}, makeList);
    AddRow(kLookingUp + suffix, lookingUp, makeList);
  }
}

}  // namespace bench
