#include "support/child_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace kxl_test {

namespace {

constexpr std::string_view kChildOption = "--child=";
constexpr int kReadEnd = 100;  // in the child, out of the way of what the tests open
constexpr int kWriteEnd = 101;

std::map<std::string, ChildBody, std::less<>>& Bodies() {
  static std::map<std::string, ChildBody, std::less<>> bodies;
  return bodies;
}

[[noreturn]] void Exec(const char* body, const Arguments& arguments,
                       const Environment& environment) {
  const std::string option = std::string(kChildOption) + body;
  std::vector<char*> argv = {const_cast<char*>("child"), const_cast<char*>(option.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  execv("/proc/self/exe", argv.data());
  _exit(127);
}

}  // namespace

void Link::Tell(char step) const {
  if (write(writeEnd_, &step, 1) != 1) abort();
}

bool Link::Await() const {
  char step;
  return read(readEnd_, &step, 1) == 1;
}

void Link::Write(std::string_view text) const {
  if (write(writeEnd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) abort();
}

std::string Link::ReadAll() const {
  std::string text;
  std::array<char, 4096> piece;
  for (ssize_t count; (count = read(readEnd_, piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

bool AddChildBody(const char* name, ChildBody body) { return Bodies().emplace(name, body).second; }

bool RunsChildBody(int argc, char** argv, int& status) {
  if (argc < 2 || !std::string_view(argv[1]).starts_with(kChildOption)) return false;
  const auto body = Bodies().find(std::string_view(argv[1]).substr(kChildOption.size()));
  if (body == Bodies().end()) return false;
  status = body->second(Link(kReadEnd, kWriteEnd), Arguments(argv + 2, argv + argc));
  return true;
}

ChildProcess::ChildProcess(const char* body, const Arguments& arguments,
                           const Environment& environment)
    : Link(-1, -1) {
  std::array<int, 2> down;
  std::array<int, 2> up;
  if (pipe2(down.data(), O_CLOEXEC) != 0 || pipe2(up.data(), O_CLOEXEC) != 0) abort();
  id_ = fork();
  if (id_ == 0) {
    dup2(down[0], kReadEnd);
    dup2(up[1], kWriteEnd);
    Exec(body, arguments, environment);
  }
  close(down[0]);
  close(up[1]);
  readEnd_ = up[0];
  writeEnd_ = down[1];
}

ChildProcess::~ChildProcess() {
  if (id_ > 0) {
    kill(id_, SIGKILL);
    Exit();
  }
  close(readEnd_);
  close(writeEnd_);
}

int ChildProcess::Exit() {
  int status = 0;
  while (waitpid(id_, &status, 0) == -1 && errno == EINTR) {
  }
  id_ = 0;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace kxl_test
