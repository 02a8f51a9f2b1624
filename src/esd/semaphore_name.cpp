#include <md5.h>

#include <array>
#include <string_view>

#include "esd/resource_locker.h"

namespace esd {

std::string SemaphoreName(const std::string& resourceName) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, MD5_DIGEST_LENGTH + 2> digest{};  // zeros fill the last group of three
  // Not for secrecy: paths are longer than names of semaphores may be, and hold what these may not.
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, reinterpret_cast<const std::uint8_t*>(resourceName.data()),
            resourceName.size());
  MD5Final(digest.data(), &context);

  std::string name;
  for (std::size_t i = 0; i < digest.size(); i += 3) {
    const unsigned group = digest[i] * 0x10000U + digest[i + 1] * 0x100U + digest[i + 2];
    for (const unsigned shift : {18U, 12U, 6U, 0U}) name += kAlphabet[group >> shift & 63U];
  }
  name.replace(name.size() - 2, 2, "==");  // 16 bytes leave two characters of padding
  return name;
}

}  // namespace esd
