// What kxl.hpp accepts and what it refuses, for the compiler alone.
#include <kxl/kxl.hpp>

namespace {

using namespace std::chrono_literals;
using kxl::Application;
using kxl::Text;
using std::is_constructible_v;
using std::is_convertible_v;

static_assert(is_convertible_v<const char (&)[4], Text> && is_convertible_v<std::string, Text>);
static_assert(!is_constructible_v<Text, std::nullptr_t> && !is_constructible_v<Text, char (&)[4]> &&
              !is_convertible_v<const char*, Text>);
static_assert(!is_constructible_v<bool, kxl::Availability> &&
              !is_constructible_v<bool, kxl::Result> &&
              !is_constructible_v<bool, kxl::HoldAnswer> && !is_convertible_v<kxl::Result, int>);
static_assert(is_constructible_v<std::error_code, kxl::Result>);
static_assert(std::is_aggregate_v<Application> &&
              std::is_nothrow_move_constructible_v<Application>);
static_assert(std::is_nothrow_move_assignable_v<kxl::ScopedHold> &&
              std::is_nothrow_move_constructible_v<kxl::ScopedHold> &&
              !std::is_copy_constructible_v<kxl::ScopedHold>);
static_assert(std::is_invocable_v<decltype(&Application::SetHold), Application, decltype(24h)> &&
              !std::is_invocable_v<decltype(&Application::SetHold), Application, decltype(1ms)> &&
              !std::is_invocable_v<decltype(&Application::SetHold), Application, int>);

// Components that are made as the range goes, and an end of another type.
struct Countdown {
  int left;
  struct End {};
  Countdown begin() { return *this; }
  static End end() { return {}; }
  kxl::Component operator*() const { return {"Dictionary", "Spelling", std::to_string(left)}; }
  void operator++() { --left; }
  bool operator!=(End) const { return left != 0; }
};

[[maybe_unused]] bool Accepted(const Application& editor, std::vector<kxl::Component>& missing) {
  editor.Unregister();
  editor.ClearHold();
  const auto& [code, left] = editor.SetHold(24h);
  if (editor.DownloadMissingComponents(Countdown{2}) == code) return true;
  return left > 1h && editor.Register() == std::error_code(kxl::Result::kAllListed) &&
         editor.DownloadMissingComponents(std::as_const(missing)) == kxl::Result::kOk &&
         editor.DownloadMissingComponents({{"Dictionary", "Spelling", "1.2"}}, "en_US") == code;
}

[[maybe_unused]] void Ignored(const Application& editor, std::vector<kxl::Component>& missing) {
  editor.Register();                          // refused
  editor.IsUpdateAvailable(1);                // refused
  editor.SetHold(1h);                         // refused
  editor.DownloadMissingComponents(missing);  // refused
  kxl::LongestHold();                         // refused
  kxl::ScopedHold(editor, 1h);                // refused
}

}  // namespace
