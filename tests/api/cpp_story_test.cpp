// A host in C++ on a test machine, with the reference updater.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <kxl/kxl.hpp>
#include <thread>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using kxl::Application;
using kxl::Result;
using kxl::ScopedHold;

const Application kEditor{"com.example.editor", "Editor", "/opt/editor"};
const Application kPlayer{"com.example.player", "Player", "/opt/player"};

// Asked so quickly, the library starts several updaters: another request has a number of its own.
kxl::Availability Answer(std::uint32_t number) {
  while (true) {
    const kxl::Availability answer = kEditor.IsUpdateAvailable(number);
    if (!std::holds_alternative<kxl::Pending>(answer)) return answer;
    std::this_thread::yield();
  }
}

std::chrono::seconds Left(const Application& application) {
  return application.RemainingHold().left.value_or(-1s);
}

TEST(CppHost, AllNineFunctions) {
  const std::string catalogue = std::getenv("KXL_ROOT") + "/var/lib/Kelda/Updater6/Catalogue"s;
  std::filesystem::create_directories(catalogue);
  std::ofstream(catalogue + "/catalogue.xml")
      << "<Catalogue><Update appID=\"com.example.editor\"/></Catalogue>";

  EXPECT_EQ(kxl::LibraryVersion(), "6.2.0");
  EXPECT_TRUE(kxl::IsUpdateCheckEnabled());
  EXPECT_EQ(kEditor.Register(), Result::kOk);
  EXPECT_EQ(std::error_code(kEditor.Register()).message(),
            "The application is known to the updater already.");

  EXPECT_TRUE(std::get<kxl::Answered>(Answer(1)).UpdateWaits());
  setenv("KXL_UPDATER_MISBEHAVE", "garbage", 1);
  EXPECT_EQ(std::get<kxl::Failed>(Answer(2)).code, Result::kFailure) << "damaged is not no";
  unsetenv("KXL_UPDATER_MISBEHAVE");

  const std::vector<kxl::Component> fonts = {{"Serif", "Fonts", "1.2"}, {"Mono", "Fonts", "2"}};
  EXPECT_EQ(kEditor.DownloadMissingComponents(fonts, "en_US"), Result::kOk);
  EXPECT_EQ(kEditor.DownloadMissingComponents({fonts[1]}), Result::kAllListed);
  Result action = Result::kUpdaterRunning;
  while (action == Result::kUpdaterRunning) action = kEditor.DoPluginAction();
  EXPECT_EQ(action, Result::kOk);

  EXPECT_EQ(kEditor.SetHold(24h).left, 12h);
  EXPECT_EQ(kEditor.SetHold(-1s).code, Result::kInvalidData);
  EXPECT_EQ(kEditor.TriggerUpdateCheck(kxl::Trigger::kScheduled), Result::kCheckSuppressed);
  const auto [code, longest] = kxl::LongestHold();
  EXPECT_EQ(longest.value().owner, kEditor.identifier.Get());
  EXPECT_GT(longest.value().left, 11h);
  EXPECT_EQ(kEditor.ClearHold(), code);
  EXPECT_EQ(kxl::TriggerUpdateCheck(kxl::Trigger::kScheduled), Result::kOk);
  EXPECT_EQ(kEditor.TriggerUpdateCheck(kxl::Trigger::kManual, "en_US"), Result::kOk);
  EXPECT_EQ(kPlayer.Unregister(), Result::kNotRegistered);
  EXPECT_EQ(kEditor.Unregister(), Result::kOk);
}

TEST(CppHost, AHoldIsClearedByTheLastOfItsOwnersOnly) {
  {
    ScopedHold hold(kEditor, 1h);
    hold = ScopedHold(kEditor, 2h);  // renewed
    EXPECT_GT(Left(kEditor), 1h);
    ScopedHold moved = std::move(hold);
    hold = ScopedHold(kPlayer, 1h);
    EXPECT_GT(Left(kEditor), 1h);
    moved = std::move(hold);
    EXPECT_TRUE(Left(kEditor) == 0s && Left(kPlayer) > 0s);
    moved = ScopedHold(kPlayer, -1s);
    EXPECT_EQ(Left(kPlayer), 0s) << "nothing has taken its place";
    moved = ScopedHold(kPlayer, 1h);
  }
  EXPECT_EQ(Left(kPlayer), 0s);
}

TEST(CppHost, AZeroByteIsInvalidDataEverywhere) {
  const kxl::Text whole = "com.example.editor";
  const kxl::Text cut = "com.example.editor\0.x";
  const ScopedHold hold(kEditor, 1h);
  for (const Application& application :
       {Application{cut, whole, whole}, {whole, cut, whole}, {whole, whole, "/opt\0"}}) {
    EXPECT_EQ(application.Register(), Result::kInvalidData);
    EXPECT_EQ(application.TriggerUpdateCheck(kxl::Trigger::kManual), Result::kInvalidData);
    EXPECT_EQ(std::get<kxl::Failed>(application.IsUpdateAvailable(1)).code, Result::kInvalidData);
    EXPECT_EQ(application.DownloadMissingComponents({}), Result::kInvalidData);
  }
  const Application application{cut, whole, whole};
  EXPECT_EQ(application.Unregister(), Result::kInvalidData);
  EXPECT_EQ(application.DoPluginAction(), Result::kInvalidData);
  EXPECT_EQ(application.SetHold(1h).code, Result::kInvalidData);
  EXPECT_FALSE(application.RemainingHold().left || Application{}.RemainingHold().left);
  EXPECT_EQ(kEditor.TriggerUpdateCheck(kxl::Trigger::kManual, cut), Result::kInvalidData);
  EXPECT_EQ(kxl::TriggerUpdateCheck(kxl::Trigger::kManual, cut), Result::kInvalidData);
  EXPECT_EQ(kEditor.DownloadMissingComponents({{"*", "c\0"s, "1"}}), Result::kInvalidData);
}

TEST(CppHost, ThreadsCallAtTheSameTime) {
  std::vector<std::future<bool>> threads;
  for (int i = 0; i < 8; ++i) {
    threads.push_back(std::async(std::launch::async, [i] {
      const Application own{"com.example.n" + std::to_string(i), "Name", "/opt"};
      const ScopedHold hold(own, 1h);
      return own.Register() == Result::kOk && Left(own) > 0s && kxl::LongestHold().hold &&
             own.IsUpdateAvailable(1).index() == 0 && own.Unregister() == Result::kOk;
    }));
  }
  for (std::future<bool>& thread : threads) EXPECT_TRUE(thread.get());
  EXPECT_FALSE(kxl::LongestHold().hold);
}

}  // namespace
