#include "platform/environment.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <set>
#include <vector>

#include "platform/thread_guards.h"

namespace kxl {

namespace {

// What is made here is never deleted: see the header.

// A variable is one word, which a reader finds either as it was or as it is to be.
void Store(char*& place, char* text) {
  std::atomic_ref<char*>(place).store(text, std::memory_order_release);
}

struct Made {
  std::set<std::string> texts;
  std::vector<std::unique_ptr<char*[]>> lists;
};
Made* made = nullptr;

// A child forked while another thread was in here begins anew.
[[maybe_unused]] const bool resetsInChild =
    CallAroundFork(nullptr, nullptr, [] { made = nullptr; });

char* Keep(const std::string& text) {
  return const_cast<char*>(made->texts.insert(text).first->c_str());
}

// The variables; after clearenv(3) there is no list.
char** Variables() {
  static char* none[] = {nullptr};
  return environ == nullptr ? none : environ;
}

// Where the variable stands in the list, or the null at its end.
char** Find(char** list, const std::string& assignment) {
  const std::size_t length = assignment.size();
  while (*list != nullptr && assignment.compare(0, length, *list, 0, length) != 0) ++list;
  return list;
}

// A copy of the list with room for more.
char** Enlarge(char** list, std::size_t count, std::size_t capacity) {
  char** const larger = made->lists.emplace_back(new char*[capacity]()).get();
  std::copy_n(list, count, larger);
  return larger;
}

}  // namespace

void SetVariable(const std::string& name, const std::string& value) {
  constexpr std::size_t kSpare = 32;
  static char** ours = nullptr;
  static std::size_t capacity = 0;
  if (made == nullptr) made = new Made;
  const std::string assignment = name + "=";
  char* const text = Keep(assignment + value);
  char** place = Find(Variables(), assignment);
  if (*place == nullptr) {
    const auto count = static_cast<std::size_t>(place - Variables());
    if (environ != ours || count + 2 > capacity) {
      capacity = count + kSpare;
      ours = Enlarge(Variables(), count, capacity);
      std::atomic_ref<char**>(environ).store(ours, std::memory_order_release);
      place = ours + count;
    }
    Store(place[1], nullptr);
  }
  Store(*place, text);
}

}  // namespace kxl
