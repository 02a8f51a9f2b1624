// An updater's answer: an identifier, and the document that lies where its answer is looked for.
#include <kxl/kxl.h>

#include <cstdio>

#include "api/availability.h"
#include "esd/resource_locker.h"
#include "fuzz/machine.h"
#include "platform/path.h"
#include "stores/lock_files.h"

namespace {

// As the updater writes it; other forms are left to the library.
bool IsPlain(const std::string& document, std::int32_t& number) {
  return std::sscanf(document.c_str(), "<UpdateInfo><Result>%d", &number) == 1 &&
         document == "<UpdateInfo><Result>" + std::to_string(number) + "</Result></UpdateInfo>";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const std::string appId = std::string(input.Field()).c_str();
  const std::string document = input.Rest();
  const std::string folder = fuzz::DataPath("Data/UpdateAvailable/");
  const std::string bystander = fuzz::DataPath("Data/bystander.xml");
  const std::string other = folder + "x.other/3.xml";
  constexpr std::size_t kLongestLockedName = 250;
  const bool hasAnswer =
      kxl::IsPathComponent(appId) && appId.size() <= kLongestLockedName && appId != "x.other";
  const std::string answer = folder + appId + "/3.xml";
  fuzz::Put(bystander, "<a/>");
  fuzz::Put(other, "<a/>");
  // An empty document is there too: without one the updater would be started.
  if (hasAnswer) fuzz::Put(answer, document.empty() ? " " : document);

  constexpr std::int32_t kUntouched = 77;
  std::int32_t number = kUntouched;
  if (!hasAnswer && kxl::IsPathComponent(appId)) return 0;
  // The lock has only the identifier in its name: a run that was stopped may have left it.
  esd::ResourceLocker(kxl::RequestLockName(appId), 0).Unlock(esd::Force::kYes);
  const std::int32_t code =
      kxl::IsUpdateAvailable(appId.c_str(), "Name", "/folder", 3, &number, false);
  fuzz::Check(fuzz::Exists(bystander) && fuzz::Exists(other), "other files stay");
  if (code != ESD_ERR_OK) {
    fuzz::Check(number == kUntouched, "no answer, no number");
    fuzz::Check(code == ESD_ERR_INVALIDDATA || (code == ESD_ERR_FAILURE && !hasAnswer),
                "the code is a documented one");
    if (hasAnswer) fuzz::Put(answer, {});
    return 0;
  }
  fuzz::Check(!fuzz::Exists(answer), "an answer is used up");
  std::int32_t expected = 0;
  fuzz::Check(!IsPlain(document, expected) || number == expected, "the number is the answer's");
  return 0;
}
