#include "platform/shared_library.h"

#include <dlfcn.h>

namespace kxl {

SharedLibrary::SharedLibrary(const char* name) : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

void* SharedLibrary::FindSymbol(const char* name) const {
  return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

}  // namespace kxl
