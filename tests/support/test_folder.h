// The throw-away machine that every test runs on, and what most tests use.
#ifndef KXL_TESTS_SUPPORT_TEST_FOLDER_H
#define KXL_TESTS_SUPPORT_TEST_FOLDER_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "support/child_process.h"

namespace kxl_test {

namespace fs = std::filesystem;

// What every XML file that is written begins with.
inline constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

// An empty folder, the same for every test of a process and emptied after each. It is the KXL_ROOT
// of the process and of its children, their HOME is "home" in it and their XDG_RUNTIME_DIR "run". A
// test that leaves a companion file or a held lock behind fails.
const std::string& TestFolder();
std::string InTestFolder(std::string_view name);

// Where the library's files lie on this machine.
std::string ListPath();        // the registered applications
std::string ComponentsPath();  // the missing components
std::string LibraryLog();
std::string PrefsPath();
std::string SuppressPath();  // the holds
std::string AdminListPath();
std::string UpdaterExecutable();

std::string ReadFile(const std::string& path);
std::string ReadLog(const std::string& path);  // without the time at the start of each line
void WriteFile(const std::string& path, std::string_view text);      // makes missing folders
void WriteScript(const std::string& path, const std::string& body);  // for the shell, executable
void WriteSettings(const std::string& settings);                     // the preferences' elements
// The list of applications that holds these entries, as the library writes them.
std::string ApplicationList(const std::string& entries);
std::string ApplicationEntry(const std::string& id, const std::string& name,
                             const std::string& folder);
mode_t ModeOf(const std::string& path);  // with the set-id bits
std::size_t Count(const std::string& text, const std::string& piece);

// A child's environment in which this user, "kelly", is a member of the group "admin", and in which
// the lines given are the group database.
Environment WithAccounts(const std::string& groups = "admin:x:5000:kelly\n");

// As above, but a child may become any user and group as far as it is told (uid_wrapper).
Environment WithFreeIdentity(const std::string& groups);

}  // namespace kxl_test

#endif  // KXL_TESTS_SUPPORT_TEST_FOLDER_H
