/**
 * @file
 * kxl.hpp - kxl.h in the manner of C++: the same calls, with what C leaves to care as types.
 *
 * Conventions, beside those of kxl.h, which hold here too
 *
 *  1. One type. kxl::Application names the application; the calls about it are its members. What
 *     belongs to no application is a free function. The text of each names its function of kxl.h,
 *     where stands what it waits for, what it sets in the environment and what each code means.
 *  2. Texts. A text is a std::string or a literal, as kxl::Text, and is never null. One with a zero
 *     byte inside is invalid data (kxl::Result::kInvalidData): it is not cut, and the library is not
 *     called with it.
 *  3. Results. kxl::Result is an error code enumeration: it converts to std::error_code, whose
 *     message() is a sentence for a user. An error_code is true for everything but kOk, so also for
 *     answers that leave nothing to do, such as kAlreadyRegistered.
 *  4. Exceptions. Nothing here throws. What allocates lets through what the standard library throws
 *     when memory is short, and what a range of the caller's throws; the other calls are noexcept.
 *  5. Threads. Every function may be called from any thread, and waits on that thread; nothing here
 *     starts one. An object may be used by several threads as long as none of them changes it.
 *
 * Header only: link libkxl as for kxl.h. Valid C++17 and later.
 */
#ifndef KXL_KXL_HPP
#define KXL_KXL_HPP

#include <kxl/kxl.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

/** Everything of kxl.hpp. */
namespace kxl {

/** The codes of enum KXLResult. The library may answer others, which are failures. */
enum class Result : std::int32_t {
  kOk = ESD_ERR_OK,                                 /**< done */
  kFailure = ESD_ERR_FAILURE,                       /**< failed; try later */
  kNoUpdater = ESD_ERR_KX,                          /**< no updater, or it could not be started */
  kInvalidData = ESD_ERR_INVALIDDATA,               /**< a mistake of the caller */
  kRegistrationFailed = ESD_ERR_REGISTRATIONFAILED, /**< the list could not be written, or the user
                                                       may not */
  kAlreadyRegistered = ESD_ERR_ALREADYREGISTERED,   /**< all is as it should be */
  kNotRegistered = ESD_ERR_NOTREGISTERED,           /**< the application is not registered */
  kNotEnabled = ESD_ERR_NOTENABLED,                 /**< switched off, or for administrators only */
  kNotifyPending = ESD_ERR_NOTIFY_PENDING,          /**< ask again; see kxl::Pending */
  kAllListed = KXL_ALL_LISTED,                      /**< every component was listed already */
  kUpdaterRunning = KXL_UPDATER_RUNNING,            /**< the updater is running already */
  kCheckSuppressed = KXL_CHECK_SUPPRESSED,          /**< a hold suppresses scheduled checks */
  kSuppressFileBusy = KXL_SUPPRESS_FILE_BUSY        /**< the file of holds is locked; try later */
};

/** The category "kxl" of error codes made from kxl::Result. */
[[nodiscard]] inline const std::error_category& ResultCategory() noexcept {
  class Category final : public std::error_category {
   public:
    [[nodiscard]] const char* name() const noexcept override { return "kxl"; }
    [[nodiscard]] std::string message(int code) const override {
      switch (static_cast<Result>(code)) {
        case Result::kOk:
          return "Done.";
        case Result::kFailure:
          return "That did not work. Please try again later.";
        case Result::kNoUpdater:
          return "The updater is not installed or could not be started.";
        case Result::kInvalidData:
          return "The application has given the updater data that it cannot use.";
        case Result::kRegistrationFailed:
          return "The updater's list of applications could not be changed. Only an administrator "
                 "may change it.";
        case Result::kAlreadyRegistered:
          return "The application is known to the updater already.";
        case Result::kNotRegistered:
          return "The application is not known to the updater.";
        case Result::kNotEnabled:
          return "Updates are switched off, or only an administrator may ask for them.";
        case Result::kNotifyPending:
          return "The updater is still looking.";
        case Result::kAllListed:
          return "Everything that is missing was asked for before.";
        case Result::kUpdaterRunning:
          return "The updater is running already.";
        case Result::kCheckSuppressed:
          return "Update notices are held back for now.";
        case Result::kSuppressFileBusy:
          return "Another application is changing what holds update notices back. Please try again "
                 "later.";
      }
      return "The updater has answered with the unknown code " + std::to_string(code) + ".";
    }
  };
  // Never destroyed: a worker thread may still ask it for a message while the process ends.
  static const union Lasting {
    Lasting() noexcept : category() {}
    ~Lasting() {}
    Category category;
  } lasting;
  return lasting.category;
}

/** Makes results error codes; std::error_code's constructor finds it. */
[[nodiscard]] inline std::error_code make_error_code(Result result) noexcept {
  return {static_cast<int>(result), ResultCategory()};
}

/** Why an update check is wanted. */
enum class Trigger : KXLTriggerType {
  kManual = KXL_TRIGGER_MANUAL,      /**< the user asks */
  kScheduled = KXL_TRIGGER_SCHEDULED /**< it is time to look again */
};

/** Whether a call registers the application first when its name or folder has changed
 * (bOverrideData in kxl.h). */
enum class Refresh : bool { kNo, kYes };

/** A text of the host's, with all its bytes. Converts from what may be passed for one. */
class Text {
 public:
  /** An empty text. */
  Text() noexcept = default;
  /** The string's bytes, a zero byte among them too. */
  Text(std::string text) noexcept : text_(std::move(text)) {}
  /** All of a literal, not only what stands before a zero byte in it. */
  template <std::size_t N>
  Text(const char (&literal)[N]) : text_(literal, literal[N - 1] == '\0' ? N - 1 : N) {}
  /** A buffer is no literal: which of its bytes are the text, a std::string of it says. */
  template <std::size_t N>
  Text(char (&buffer)[N]) = delete;
  /** There is no null text. */
  Text(std::nullptr_t) = delete;

  /** The bytes. */
  [[nodiscard]] const std::string& Get() const noexcept { return text_; }
  /** Whether the text could be passed on: false with a zero byte inside. */
  [[nodiscard]] bool IsWhole() const noexcept { return text_.find('\0') == std::string::npos; }

 private:
  std::string text_;
};

/** One component that an application lacks; see KXLMissingComponent. */
struct Component {
  Text name;     /**< "*" stands for any name */
  Text category; /**< compared byte for byte */
  Text version;  /**< up to four numbers, "1.2" for instance */
};

/** The updater is still looking: ask again, with the same number, in some seconds. */
struct Pending {};

/** The updater has answered. */
struct Answered {
  std::int32_t number; /**< 0 when no update waits, another number when one does */
  /** Whether an update waits. */
  [[nodiscard]] constexpr bool UpdateWaits() const noexcept { return number != 0; }
};

/** Nobody knows whether an update waits. */
struct Failed {
  Result
      code; /**< why; kFailure also when the updater's answer is damaged, which ends the request */
};

/** What became of the question whether an update waits. Only an Answered says yes or no: look for it
 * with std::get_if or std::visit. */
using Availability = std::variant<Pending, Answered, Failed>;

/** What became of a call about the hold of one application. */
struct [[nodiscard]] HoldAnswer {
  Result code; /**< kOk, or why the call has failed */
  /** How long the hold goes on, zero for no hold. Empty when that is not known, which is only so when
   * the call has failed. */
  std::optional<std::chrono::seconds> left;
};

/** A hold that is running. */
struct OwnedHold {
  std::string owner;         /**< the identifier of the application that has set it */
  std::chrono::seconds left; /**< how long it goes on */
};

/** What became of the question for the longest hold. */
struct [[nodiscard]] LongestHoldAnswer {
  Result code; /**< kOk, or why the call has failed */
  /** The hold; empty when there is none or, when the call has failed, none is known. */
  std::optional<OwnedHold> hold;
};

/**
 * An application, as the updater knows it. The calls take the texts as they are at that moment.
 *
 * kInvalidData, beside what kxl.h tells of each call, is the answer to a text with a zero byte inside.
 */
struct Application {
  Text identifier;  /**< 1 to 256 bytes, each 1 to 127, for example "com.example.editor" */
  Text displayName; /**< 1 to 512 bytes of UTF-8, the name that the updater shows */
  Text folder;      /**< 1 to 255 bytes of UTF-8, where the application is installed */

  /** Adds the application to the updater's list, or replaces its entry (KXLRegisterApplication).
   * kOk and kAlreadyRegistered: the entry is in the list. */
  [[nodiscard]] Result Register() const noexcept {
    if (!IsWhole()) return Result::kInvalidData;
    return static_cast<Result>(KXLRegisterApplication(
        identifier.Get().c_str(), displayName.Get().c_str(), folder.Get().c_str()));
  }

  /** Takes the application off the list (KXLUnRegisterApplication). A removal goes on whatever the
   * answer is. */
  Result Unregister() const noexcept {
    if (!identifier.IsWhole()) return Result::kInvalidData;
    return static_cast<Result>(KXLUnRegisterApplication(identifier.Get().c_str()));
  }

  /** Starts the updater for a check of this application (KXLTriggerUpdateCheck). A language that is
   * empty is none. */
  [[nodiscard]] Result TriggerUpdateCheck(Trigger trigger, const Text& language = {},
                                          Refresh refresh = Refresh::kNo) const noexcept {
    if (!IsWhole() || !language.IsWhole()) return Result::kInvalidData;
    return static_cast<Result>(KXLTriggerUpdateCheck(
        identifier.Get().c_str(), displayName.Get().c_str(), folder.Get().c_str(),
        language.Get().c_str(), static_cast<KXLTriggerType>(trigger), refresh == Refresh::kYes));
  }

  /**
   * Asks whether an update waits (KXLIsUpdateAvailable). The request's number is the caller's own; one
   * request of an application at a time.
   *
   * A damaged answer is Failed with kFailure. An answer that is the least number of 32 bits cannot be
   * told from one, and counts as damaged too.
   */
  [[nodiscard]] Availability IsUpdateAvailable(std::uint32_t requestNumber,
                                               Refresh refresh = Refresh::kNo) const noexcept {
    if (!IsWhole()) return Failed{Result::kInvalidData};
    constexpr std::int32_t kNone = std::numeric_limits<std::int32_t>::min();
    std::int32_t number = kNone;
    const auto code = static_cast<Result>(KXLIsUpdateAvailable(
        identifier.Get().c_str(), displayName.Get().c_str(), folder.Get().c_str(), requestNumber,
        &number, refresh == Refresh::kYes));
    if (code == Result::kNotifyPending) return Pending{};
    if (code != Result::kOk) return Failed{code};
    if (number == kNone) return Failed{Result::kFailure};
    return Answered{number};
  }

  /**
   * Asks the updater to fetch what the application lacks (KXLDownloadMissingComponents).
   *
   * @param components     a range whose elements convert to kxl::Component; it is gone through once
   * @param language       as in TriggerUpdateCheck
   * @param operationType  recorded for the updater as it is
   * @param refresh        whether to register first
   *
   * kOk and kAllListed: all are listed. One text with a zero byte inside, and none is.
   */
  template <typename Range>
  [[nodiscard]] Result DownloadMissingComponents(Range&& components, const Text& language = {},
                                                 std::int32_t operationType = 0,
                                                 Refresh refresh = Refresh::kNo) const {
    std::vector<Component> wanted;  // a range may make its elements as it goes
    for (auto&& component : components) wanted.push_back(component);
    std::vector<KXLMissingComponent> records;
    for (const Component& component : wanted) {
      if (!component.name.IsWhole() || !component.category.IsWhole() ||
          !component.version.IsWhole()) {
        return Result::kInvalidData;
      }
      records.push_back({component.name.Get().c_str(), component.category.Get().c_str(),
                         component.version.Get().c_str()});
    }
    if (!IsWhole() || !language.IsWhole()) return Result::kInvalidData;
    std::vector<const KXLMissingComponent*> pointers;
    pointers.reserve(records.size());
    for (const KXLMissingComponent& record : records) pointers.push_back(&record);
    const KXLMissingComponentList list = {static_cast<std::uint32_t>(pointers.size()),
                                          pointers.data()};
    return static_cast<Result>(KXLDownloadMissingComponents(
        identifier.Get().c_str(), displayName.Get().c_str(), folder.Get().c_str(),
        language.Get().c_str(), &list, operationType, refresh == Refresh::kYes));
  }

  /** The same for components in braces: {{"Dictionary", "Spelling", "1.2"}}. */
  [[nodiscard]] Result DownloadMissingComponents(std::initializer_list<Component> components,
                                                 const Text& language = {},
                                                 std::int32_t operationType = 0,
                                                 Refresh refresh = Refresh::kNo) const {
    return DownloadMissingComponents<>(components, language, operationType, refresh);
  }

  /** Starts the updater's plug-in action for the application (KXLDoPluginAction). */
  [[nodiscard]] Result DoPluginAction() const noexcept {
    if (!identifier.IsWhole()) return Result::kInvalidData;
    return static_cast<Result>(KXLDoPluginAction(identifier.Get().c_str()));
  }

  /**
   * Holds update notices back from now on (KXLSuppressUpdates). An application has one hold: a new one
   * takes its place, and zero clears it. More than twelve hours are lowered to that: the answer tells
   * how long the hold is. Less than zero is invalid data. kxl::ScopedHold clears it by itself.
   */
  HoldAnswer SetHold(std::chrono::seconds length) const noexcept {
    using Count = std::chrono::seconds::rep;
    if (length.count() < 0) return {Result::kInvalidData, std::nullopt};
    auto seconds = static_cast<std::uint32_t>(
        std::min<Count>(length.count(), std::numeric_limits<std::uint32_t>::max()));
    const Result code = Suppress(seconds, 0);
    if (code != Result::kOk) return {code, std::nullopt};
    return {code, std::chrono::seconds(seconds)};
  }

  /** Ends the application's hold, if there is one. One that could not be cleared ends by itself. */
  Result ClearHold() const noexcept { return SetHold(std::chrono::seconds::zero()).code; }

  /** What is left of the application's hold. May be known beside kFailure, as kxl.h tells. */
  HoldAnswer RemainingHold() const noexcept {
    std::uint32_t seconds = std::numeric_limits<std::uint32_t>::max();  // longer than any hold
    const Result code = Suppress(seconds, 1);
    if (seconds == std::numeric_limits<std::uint32_t>::max()) return {code, std::nullopt};
    return {code, std::chrono::seconds(seconds)};
  }

 private:
  bool IsWhole() const noexcept {
    return identifier.IsWhole() && displayName.IsWhole() && folder.IsWhole();
  }

  // An empty identifier would be the question for the longest hold. Any other is only read.
  Result Suppress(std::uint32_t& seconds, std::int32_t query) const noexcept {
    if (!identifier.IsWhole() || identifier.Get().empty()) return Result::kInvalidData;
    return static_cast<Result>(
        KXLSuppressUpdates(const_cast<char*>(identifier.Get().c_str()), nullptr, &seconds, query));
  }
};

/**
 * Holds update notices back for as long as it lives, during a presentation or a game: sets the
 * application's hold when it is made, and clears it when it is destroyed, which both wait for the lock
 * of the holds (3 seconds at most). After twelve hours the hold ends by itself, and so it does after
 * its length in a process that is killed. May be moved, and not be copied.
 *
 * An application has one hold, so there should be one ScopedHold of it at a time. Assigning a new one
 * of the same application renews the hold.
 */
class [[nodiscard]] ScopedHold {
 public:
  /** Sets the hold, which GetAnswer() tells of: one that could not be set is not cleared later. */
  [[nodiscard]] ScopedHold(Application application, std::chrono::seconds length) noexcept
      : application_(std::move(application)), answer_(application_.SetHold(length)) {}

  /** Takes the hold over; the other one clears nothing then. */
  ScopedHold(ScopedHold&& other) noexcept
      : application_(std::move(other.application_)), answer_(other.answer_) {
    other.answer_.left.reset();
  }

  /** Clears this hold and takes the other one over. */
  ScopedHold& operator=(ScopedHold&& other) noexcept {
    if (this == &other) return *this;
    // One of the same application has taken this one's place when it was made.
    const bool isReplaced =
        other.IsSet() && application_.identifier.Get() == other.application_.identifier.Get();
    if (!isReplaced) Clear();
    application_ = std::move(other.application_);
    answer_ = other.answer_;
    other.answer_.left.reset();
    return *this;
  }

  ScopedHold(const ScopedHold&) = delete;
  ScopedHold& operator=(const ScopedHold&) = delete;

  /** Clears the hold. */
  ~ScopedHold() { Clear(); }

  /** What setting the hold has answered; without a length after the hold was moved away. */
  const HoldAnswer& GetAnswer() const noexcept { return answer_; }

 private:
  bool IsSet() const noexcept {
    return answer_.left.value_or(std::chrono::seconds::zero()) > std::chrono::seconds::zero();
  }
  void Clear() const noexcept {
    if (IsSet()) application_.ClearHold();
  }

  Application application_;
  HoldAnswer answer_;
};

/** Whether this user may check for updates (KXLIsUpdateCheckEnabled). An application hides its "check
 * for updates" command when not. */
[[nodiscard]] inline bool IsUpdateCheckEnabled() noexcept { return KXLIsUpdateCheckEnabled() == 1; }

/** Starts the updater for a check of all applications (KXLTriggerUpdateCheck without an identifier). */
[[nodiscard]] inline Result TriggerUpdateCheck(Trigger trigger,
                                               const Text& language = {}) noexcept {
  if (!language.IsWhole()) return Result::kInvalidData;
  return static_cast<Result>(KXLTriggerUpdateCheck(nullptr, nullptr, nullptr,
                                                   language.Get().c_str(),
                                                   static_cast<KXLTriggerType>(trigger), false));
}

/** The longest hold of all applications, and whose it is (KXLSuppressUpdates without an identifier). */
[[nodiscard]] inline LongestHoldAnswer LongestHold() {
  std::string owner;
  std::uint32_t size = 0;
  std::uint32_t needed = 257;  // what an identifier takes; a foreign line of the file may be longer
  std::uint32_t seconds = 0;
  Result code = Result::kOk;
  while (needed > size) {
    size = needed;
    seconds = 0;
    owner.assign(size, '\0');
    code = static_cast<Result>(KXLSuppressUpdates(owner.data(), &needed, &seconds, 1));
  }
  if (seconds == 0) return {code, std::nullopt};
  owner.resize(std::strlen(owner.c_str()));
  return {code, OwnedHold{std::move(owner), std::chrono::seconds(seconds)}};
}

/** The library's version as text, "6.2.0" (KXLGetVersion). */
[[nodiscard]] inline std::string LibraryVersion() {
  const std::uint32_t version = KXLGetVersion();
  return std::to_string(version >> 28) + "." + std::to_string(version >> 24 & 15) + "." +
         std::to_string(version >> 20 & 15);
}

}  // namespace kxl

/** @cond */
template <>
struct std::is_error_code_enum<kxl::Result> : std::true_type {};
/** @endcond */

#endif /* KXL_KXL_HPP */
