#include "platform/environment.h"

#include <unistd.h>

#include <algorithm>
#include <boost/atomic/atomic_ref.hpp>
#include <cstddef>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/thread_guards.h"

namespace kxl {

namespace {

// What is made here is never deleted: see the header.

// A variable is one word, which a reader finds either as it was or as it is to be. Boost's
// reference, because libc++ 14 has none.
void Store(char*& place, char* text) {
  boost::atomic_ref<char*>(place).store(text, boost::memory_order_release);
}

struct Made {
  std::set<std::string> texts;
  std::vector<std::unique_ptr<char*[]>> lists;
  char** list = nullptr;     // the last of them
  std::size_t capacity = 0;  // its size
};
Made* made = nullptr;

// A child forked while a thread was in here begins anew. When it is that thread's own child, it
// goes on with what it has begun.
[[maybe_unused]] const bool resetsInChild =
    CallAroundFork(nullptr, nullptr, [] { made = nullptr; });

Made& MadeSoFar() {
  Made* const soFar = made;
  return soFar == nullptr ? *(made = new Made) : *soFar;
}

// The variables; after clearenv(3) there is no list.
char** Variables() {
  static char* none[] = {nullptr};
  return environ == nullptr ? none : environ;
}

// Where the variable stands in the list, or the null at its end.
char** Find(char** list, std::string_view name) {
  while (*list != nullptr &&
         (std::strncmp(*list, name.data(), name.size()) != 0 || (*list)[name.size()] != '=')) {
    ++list;
  }
  return list;
}

// Puts a copy of the list with room for more into its place, and answers its end.
char** Enlarge(Made& mine, char** list, std::size_t count) {
  constexpr std::size_t kSpare = 32;
  const std::size_t capacity = count + kSpare;
  mine.list = mine.lists.emplace_back(std::make_unique<char*[]>(capacity)).get();
  mine.capacity = capacity;
  char** const end = std::copy_n(list, count, mine.list);
  boost::atomic_ref<char**>(environ).store(mine.list, boost::memory_order_release);
  return end;
}

}  // namespace

void SetVariable(const std::string& name, const std::string& value) {
  Made& mine = MadeSoFar();
  char* const text = const_cast<char*>(mine.texts.insert(name + '=' + value).first->c_str());
  char** place = Find(Variables(), name);
  if (*place == nullptr) {
    const auto count = static_cast<std::size_t>(place - Variables());
    if (environ != mine.list || count + 2 > mine.capacity) {
      place = Enlarge(mine, Variables(), count);
    }
    Store(place[1], nullptr);
  }
  Store(*place, text);
}

char* FindVariable(std::string_view name) { return *Find(Variables(), name); }

void RestoreVariable(std::string_view name, char* assignment) noexcept {
  char** place = Find(Variables(), name);
  if (assignment != nullptr && *place != nullptr) {
    Store(*place, assignment);
    return;
  }
  for (; *place != nullptr; place = Find(place, name)) {
    for (char** entry = place; *entry != nullptr; ++entry) Store(*entry, entry[1]);
  }
}

}  // namespace kxl
