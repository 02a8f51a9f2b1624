#include "bench/minimum.h"

#include <expat.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "bench/machine.h"
#include "esd/resource_locker.h"

namespace bench {

std::string LockName(const std::string& path) {
  return esd::SemaphorePath(path).substr(std::strlen("/dev/shm/sem."));
}

Lock::Lock(const std::string& name)
    : name_(name), semaphore_(sem_open(name.c_str(), O_CREAT | O_EXCL, 0700, 1)) {
  Check(semaphore_ != SEM_FAILED, "a lock is held");
}

Lock::~Lock() {
  sem_unlink(name_.c_str());
  sem_close(semaphore_);
}

void Parse(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info;
  Check(file >= 0 && fstat(file, &info) == 0, "no file to read");
  const auto size = static_cast<int>(info.st_size);
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetElementHandler(
      parser, [](void*, const char*, const char**) {}, [](void*, const char*) {});
  XML_SetCharacterDataHandler(parser, [](void*, const char*, int) {});
  XML_SetXmlDeclHandler(parser, [](void*, const char*, const char*, int) {});
  Check(read(file, XML_GetBuffer(parser, size), info.st_size) == size &&
            XML_ParseBuffer(parser, size, XML_TRUE) == XML_STATUS_OK,
        "a document does not parse");
  XML_ParserFree(parser);
  close(file);
}

void Replace(const std::string& path, std::string_view text) {
  const std::string companion = path + "_";
  const int file =
      open(companion.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
  Check(file >= 0 && fchmod(file, 0664) == 0 &&
            write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
            fdatasync(file) == 0 && close(file) == 0 &&
            renameat2(AT_FDCWD, companion.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0 &&
            unlink(companion.c_str()) == 0,
        "a file cannot be replaced");
}

}  // namespace bench
