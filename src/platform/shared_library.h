// Libraries that most hosts never need, loaded at the moment when they are.
#ifndef KXL_PLATFORM_SHARED_LIBRARY_H
#define KXL_PLATFORM_SHARED_LIBRARY_H

namespace kxl {

class SharedLibrary {
 public:
  // name is the library's file name with its version, "libsystemd.so.0". One that cannot be loaded
  // has no functions.
  explicit SharedLibrary(const char* name);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  // False, with function null, when there is none of that name. The function is valid as long as
  // this object.
  template <typename Function>
  bool Find(Function& function, const char* name) const {
    function = reinterpret_cast<Function>(FindSymbol(name));
    return function != nullptr;
  }

 private:
  void* FindSymbol(const char* name) const;

  void* handle_;
};

}  // namespace kxl

#endif  // KXL_PLATFORM_SHARED_LIBRARY_H
