#include "support/child_process.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kxl_test {

namespace {

constexpr std::string_view kChildOption = "--child=";
constexpr int kReadEnd = 100;  // in the child, out of the way of what the tests open
constexpr int kWriteEnd = 101;

// Each process has the binary at another address; the distances inside it are the same.
std::uintptr_t Origin() { return reinterpret_cast<std::uintptr_t>(&RunsChildBody); }

[[noreturn]] void Exec(ChildBody body, const Arguments& arguments, const Environment& environment) {
  const std::string option =
      std::string(kChildOption) + std::to_string(reinterpret_cast<std::uintptr_t>(body) - Origin());
  std::vector<char*> argv = {const_cast<char*>("child"), const_cast<char*>(option.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  execv("/proc/self/exe", argv.data());
  _exit(127);
}

}  // namespace

bool Link::Await() const {
  char step;
  return read(readEnd_, &step, 1) == 1;
}

void Link::Write(std::string_view text) const {
  if (write(writeEnd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) abort();
}

std::string Link::ReadAll() const {
  std::string text;
  for (char byte; read(readEnd_, &byte, 1) == 1;) text += byte;
  return text;
}

bool RunsChildBody(int argc, char** argv, int& status) {
  if (argc < 2 || !std::string_view(argv[1]).starts_with(kChildOption)) return false;
  const auto body =
      reinterpret_cast<ChildBody>(Origin() + std::stoull(argv[1] + kChildOption.size()));
  status = body(Link(kReadEnd, kWriteEnd), Arguments(argv + 2, argv + argc));
  return true;
}

ChildProcess::ChildProcess(ChildBody body, const Arguments& arguments,
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

void LimitFileSize(const std::string& bytes) {
  const rlimit limit = {std::stoul(bytes), std::stoul(bytes)};
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) abort();
}

void FailSystemCall(int number, int error, std::optional<std::uint32_t> argument) {
  const std::uint8_t unless = argument ? 1 : 0;  // the argument is another one
  std::array<sock_filter, 6> filter = {
      {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 3),
       BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, argument.value_or(0), 0, unless),
       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)),
       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
  sock_fprog program = {filter.size(), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    abort();
  }
}

}  // namespace kxl_test
