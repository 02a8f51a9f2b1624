"""What calls answer."""

import enum
from dataclasses import dataclass, field
from typing import NoReturn, Optional


class _NoTruth:
    """Success is 0 and "pending" is no "no": neither may decide an if by itself."""

    def __bool__(self) -> NoReturn:
        raise TypeError(f"{type(self).__name__} is neither true nor false: compare it")


class Result(_NoTruth, enum.IntEnum):
    """Result codes, those of enum KXLResult without the prefix of their names.

    A code that a newer library has added is UNKNOWN_ and its number: treat it as a failure.
    A result is neither true nor false; compare it: ``result == Result.OK``.
    """

    OK = 0  #: done
    FAILURE = 1  #: failed; also whatever went wrong inside the library
    KX = 2  #: the updater is not installed or could not be started
    INVALIDDATA = 3  #: a text is missing, too long or malformed
    REGISTRATIONFAILED = 4  #: the list of applications could not, or may not, be written
    ALREADYREGISTERED = 5  #: registered already with this very name and folder
    NOTREGISTERED = 6  #: the application is not registered
    NOTENABLED = 7  #: updates are switched off, or the user is no administrator
    NOTIFY_PENDING = 8  #: the updater is still looking; ask again later
    ALL_LISTED = 9  #: every component was on the list already
    UPDATER_RUNNING = 12  #: the updater is running already
    CHECK_SUPPRESSED = 13  #: a hold suppresses scheduled checks
    SUPPRESS_FILE_BUSY = 14  #: the file of holds stayed locked for 3 seconds

    @classmethod
    def _missing_(cls, value: object) -> Optional["Result"]:
        if not isinstance(value, int):
            return None
        result = int.__new__(cls, value)
        result._name_ = f"UNKNOWN_{value}"
        result._value_ = value
        return result

    def __str__(self) -> str:
        return f"Result.{self.name}"

    @property
    def message(self) -> str:
        """A sentence that a user can read, in English."""
        return _MESSAGES.get(self, f"The updater gave an unknown answer ({int(self)}).")


_MESSAGES = {
    Result.OK: "Done.",
    Result.FAILURE: "It has failed. Try again later.",
    Result.KX: "The updater is not installed or could not be started.",
    Result.INVALIDDATA: "The request is not valid.",
    Result.REGISTRATIONFAILED: "The list of applications could not, or may not, be changed.",
    Result.ALREADYREGISTERED: "The application is registered already.",
    Result.NOTREGISTERED: "The application is not registered.",
    Result.NOTENABLED: "Updates are switched off, or you are not an administrator.",
    Result.NOTIFY_PENDING: "The updater is still looking.",
    Result.ALL_LISTED: "It has been asked for already.",
    Result.UPDATER_RUNNING: "The updater is running already.",
    Result.CHECK_SUPPRESSED: "Checks for updates are being held back.",
    Result.SUPPRESS_FILE_BUSY: "The holds on update notices are in use. Try again later.",
}


class Answer(_NoTruth, enum.Enum):
    """What is known of an update. It is neither true nor false; compare it."""

    PENDING = "pending"  #: not known yet; ask again with the same request number
    WAITS = "waits"  #: an update waits
    NONE_WAITS = "none waits"  #: no update waits
    UNREADABLE = "unreadable"  #: the updater's answer was damaged and is used up; not known
    FAILED = "failed"  #: not known; the result tells why


@dataclass(frozen=True)
class Availability(_NoTruth):
    """The answer to Application.ask_for_update(): look at ``answer``.

    It is neither true nor false, so that nobody takes "not known" for "no".
    """

    answer: Answer
    result: Result  #: OK when the updater has answered, NOTIFY_PENDING, or why there is no answer
    _number: Optional[int] = field(default=None, repr=False)

    @property
    def number(self) -> int:
        """The updater's number: 0 when none waits, another one when one does.

        Raises ValueError when ``answer`` is neither WAITS nor NONE_WAITS.
        """
        if self._number is None:
            raise ValueError(f"there is no number: {self.answer.value}")
        return self._number
