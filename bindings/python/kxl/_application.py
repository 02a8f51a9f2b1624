"""The calls for one application, and those for all."""

import asyncio
import ctypes
import enum
import os
from dataclasses import dataclass
from typing import Iterable, NamedTuple, Optional, Union

from ._arguments import (
    int32_argument,
    language_argument,
    number_argument,
    path_argument,
    text_argument,
)
from ._hold import Hold, HoldTime
from ._library import MissingComponent, MissingComponentList, library
from ._results import Answer, Availability, Result

_NOT_WRITTEN = 0xFFFFFFFF  # more than any hold


class Trigger(enum.IntEnum):
    """Why a check is wanted. Any other number is a scheduled check that no hold suppresses."""

    MANUAL = 0  #: the user asks
    SCHEDULED = 1  #: it is time to look again


class Component(NamedTuple):
    """One component that an application lacks."""

    name: str  #: "*" stands for any name
    category: str  #: compared byte for byte
    version: str  #: up to four numbers, separated by a space, ',', '.' or '-'


def _hold_time(result: int, seconds: ctypes.c_uint32, owner: Optional[str]) -> HoldTime:
    known = seconds.value != _NOT_WRITTEN
    return HoldTime(Result(result), seconds.value if known else None, owner if known else None)


def _record(component: object) -> MissingComponent:
    if not isinstance(component, Component):
        raise ValueError(f"a component must be a kxl.Component, not {type(component).__name__}")
    return MissingComponent(
        *(text_argument(value, what) for what, value in component._asdict().items())
    )


@dataclass(frozen=True)
class Application:
    """The application that the host is, with the calls that concern it.

    identifier:    1 to 256 bytes, each 1 to 127, for example "com.example.editor"
    display_name:  1 to 512 bytes of UTF-8, the name that the updater shows
    folder:        1 to 255 bytes of UTF-8, a text or a path, where it is installed

    Raises ValueError for an empty identifier, which would mean all applications. Otherwise the
    library judges the three, and answers Result.INVALIDDATA.
    """

    identifier: str
    display_name: str
    folder: Union[str, "os.PathLike[str]"]

    def __post_init__(self) -> None:
        if not self._arguments()[0]:
            raise ValueError("identifier is empty")

    def _arguments(self) -> "tuple[bytes, bytes, bytes]":
        return (
            text_argument(self.identifier, "identifier"),
            text_argument(self.display_name, "display_name"),
            path_argument(self.folder),
        )

    def register(self) -> Result:
        """Adds the application to the list that the updater looks after, or renews its entry.

        Call it after installing and whenever the application was moved. For administrators only.
        What the list's XML cannot carry, such as '"', '&' or '<' in the identifier, is
        REGISTRATIONFAILED too. A damaged list is set aside, and a new one is begun.

        Answers OK, ALREADYREGISTERED, INVALIDDATA, REGISTRATIONFAILED or FAILURE. Waits 4 seconds
        at most.
        """
        return Result(library.KXLRegisterApplication(*self._arguments()))

    def unregister(self) -> Result:
        """Takes the application off the list, with its settings of this user.

        With the last application the list goes, and the updater is started to tidy up.

        Answers OK, INVALIDDATA, NOTREGISTERED, REGISTRATIONFAILED (also when there is no list at
        all, and when the user is no administrator) or FAILURE. Waits 4 seconds at most.
        """
        return Result(library.KXLUnRegisterApplication(self._arguments()[0]))

    def check_for_updates(
        self,
        *,
        language: Optional[str] = None,
        trigger: int = Trigger.MANUAL,
        refresh: bool = False,
    ) -> Result:
        """Starts the updater: at once for a manual check, and for a scheduled one when it is due.

        language:  "en_US" or "en-us"; a shorter text counts as none
        trigger:   a Trigger
        refresh:   registers name and folder first when they have changed

        Answers OK (also when a scheduled check is not due), KX, INVALIDDATA, NOTREGISTERED (with
        refresh), NOTENABLED, CHECK_SUPPRESSED or FAILURE. Waits 6 seconds at most, with refresh
        12.
        """
        return Result(
            library.KXLTriggerUpdateCheck(
                *self._arguments(),
                language_argument(language),
                int32_argument(trigger, "trigger"),
                bool(refresh),
            )
        )

    def ask_for_update(self, request: int = 1, *, refresh: bool = False) -> Availability:
        """Asks whether an update waits. Any user may ask.

        The first call starts the updater and is pending; call again with the same request number,
        seconds later, until it is not. The answer is used up then. One request at a time: another
        number drops an answer that was not fetched, and of several callers one gets the answer. An
        updater that was killed keeps the request pending until its lock is removed.

        request:  the caller's own number, from 0 to 4294967295
        refresh:  as in check_for_updates()

        Results: OK, NOTIFY_PENDING, KX, INVALIDDATA, NOTREGISTERED (with refresh), NOTENABLED (by
        the administrator) or FAILURE (also for an identifier that cannot stand in a file name).
        Waits with refresh only, 6 seconds at most.
        """
        number = ctypes.c_int32(-1)  # stays where the answer is damaged
        result = Result(
            library.KXLIsUpdateAvailable(
                *self._arguments(),
                number_argument(request, "request", 0, 0xFFFFFFFF),
                number,
                bool(refresh),
            )
        )
        if result == Result.NOTIFY_PENDING:
            return Availability(Answer.PENDING, result)
        if result != Result.OK:
            return Availability(Answer.FAILED, result)
        if number.value == -1:
            return Availability(Answer.UNREADABLE, result)
        answer = Answer.NONE_WAITS if number.value == 0 else Answer.WAITS
        return Availability(answer, result, number.value)

    def download_missing_components(
        self,
        components: Iterable[Component],
        *,
        language: Optional[str] = None,
        operation: int = 0,
        refresh: bool = False,
    ) -> Result:
        """Lists components for the updater to fetch, then tells the running updater or starts it.

        A component is listed already when its category and version are, under the same name or
        with "*" for either name.

        operation:          recorded for the updater as it is
        language, refresh:  as in check_for_updates()

        Answers OK and ALL_LISTED, FAILURE (a version that is none, a list that cannot be locked
        or written; components before the one that failed stay listed), KX (they are listed, but
        the updater is not installed), INVALIDDATA, NOTREGISTERED or NOTENABLED. Waits 2 seconds at
        most for each component until one fails and once more, half a second for a session bus that
        does not answer, and with refresh 6 seconds more.
        """
        records = [_record(component) for component in components]
        pointers = (ctypes.POINTER(MissingComponent) * len(records))(
            *(ctypes.pointer(record) for record in records)
        )
        return Result(
            library.KXLDownloadMissingComponents(
                *self._arguments(),
                language_argument(language),
                MissingComponentList(len(records), pointers),
                int32_argument(operation, "operation"),
                bool(refresh),
            )
        )

    def do_plugin_action(self) -> Result:
        """Starts the updater in the background for its plug-in action; the updater must not run.

        Answers OK, KX, INVALIDDATA, NOTREGISTERED, NOTENABLED, UPDATER_RUNNING or FAILURE. Waits 5
        seconds at most.
        """
        return Result(library.KXLDoPluginAction(self._arguments()[0]))

    def set_hold(self, seconds: int) -> HoldTime:
        """Holds update notices back from now on; replaces the application's earlier hold.

        More than 43200 seconds, twelve hours, are lowered to that, in the answer too; 0 clears the
        hold. Results: OK, FAILURE, INVALIDDATA or SUPPRESS_FILE_BUSY. Waits 3 seconds at most for
        the file of holds, and half a second for a session bus that does not answer.
        """
        length = ctypes.c_uint32(number_argument(seconds, "seconds", 0, 0xFFFFFFFF))
        result = Result(library.KXLSuppressUpdates(self._buffer(), None, length, 0))
        is_set = result == Result.OK and length.value != 0
        return HoldTime(
            result,
            length.value if result == Result.OK else None,
            self.identifier if is_set else None,
        )

    def clear_hold(self) -> Result:
        """Ends the application's hold. Answers and waits as set_hold() does."""
        return self.set_hold(0).result

    def hold_left(self) -> HoldTime:
        """What is left of the application's hold. Answers and waits as longest_hold() does."""
        seconds = ctypes.c_uint32(_NOT_WRITTEN)
        result = library.KXLSuppressUpdates(self._buffer(), None, seconds, 1)
        return _hold_time(result, seconds, self.identifier if seconds.value else None)

    def hold(self, seconds: int) -> Hold:
        """A hold for the time of a with statement, or an async with statement."""
        return Hold(self, seconds)

    def _buffer(self) -> "ctypes.Array[ctypes.c_char]":
        return ctypes.create_string_buffer(self._arguments()[0])

    async def register_async(self) -> Result:
        """register() in a worker thread."""
        return await asyncio.to_thread(self.register)

    async def unregister_async(self) -> Result:
        """unregister() in a worker thread."""
        return await asyncio.to_thread(self.unregister)

    async def check_for_updates_async(
        self,
        *,
        language: Optional[str] = None,
        trigger: int = Trigger.MANUAL,
        refresh: bool = False,
    ) -> Result:
        """check_for_updates() in a worker thread."""
        return await asyncio.to_thread(
            self.check_for_updates, language=language, trigger=trigger, refresh=refresh
        )

    async def ask_for_update_async(
        self, request: int = 1, *, refresh: bool = False
    ) -> Availability:
        """ask_for_update() in a worker thread."""
        return await asyncio.to_thread(self.ask_for_update, request, refresh=refresh)

    async def download_missing_components_async(
        self,
        components: Iterable[Component],
        *,
        language: Optional[str] = None,
        operation: int = 0,
        refresh: bool = False,
    ) -> Result:
        """download_missing_components() in a worker thread."""
        return await asyncio.to_thread(
            self.download_missing_components,
            list(components),
            language=language,
            operation=operation,
            refresh=refresh,
        )

    async def do_plugin_action_async(self) -> Result:
        """do_plugin_action() in a worker thread."""
        return await asyncio.to_thread(self.do_plugin_action)

    async def set_hold_async(self, seconds: int) -> HoldTime:
        """set_hold() in a worker thread."""
        return await asyncio.to_thread(self.set_hold, seconds)

    async def clear_hold_async(self) -> Result:
        """clear_hold() in a worker thread."""
        return await asyncio.to_thread(self.clear_hold)

    async def hold_left_async(self) -> HoldTime:
        """hold_left() in a worker thread."""
        return await asyncio.to_thread(self.hold_left)


def version() -> str:
    """The version of the shared library, "6.2.0"."""
    packed: int = library.KXLGetVersion()
    return f"{packed >> 28}.{packed >> 24 & 15}.{packed >> 20 & 15}"


def is_update_check_enabled() -> bool:
    """Whether this user may check for updates: hide the application's command otherwise.

    True without an updater too; the check then answers Result.KX. Waits for no lock, other than
    the first call of a process.
    """
    enabled: int = library.KXLIsUpdateCheckEnabled()
    return enabled == 1


def check_all_for_updates(
    *, language: Optional[str] = None, trigger: int = Trigger.MANUAL
) -> Result:
    """Starts the updater for a check of all applications; see Application.check_for_updates().

    An earlier check of one application has left KX_LAUNCH_APPID in the environment, which the
    updater would heed: ``os.unsetenv("KX_LAUNCH_APPID")`` before.
    """
    return Result(
        library.KXLTriggerUpdateCheck(
            None, None, None, language_argument(language), int32_argument(trigger, "trigger"), False
        )
    )


def longest_hold() -> HoldTime:
    """What is left of the longest hold of all applications, and whose it is.

    Answers OK, FAILURE or SUPPRESS_FILE_BUSY. Waits 3 seconds at most.
    """
    size = 257
    while True:
        buffer = ctypes.create_string_buffer(size)
        needed = ctypes.c_uint32(size)
        seconds = ctypes.c_uint32(_NOT_WRITTEN)
        result = library.KXLSuppressUpdates(buffer, needed, seconds, 1)
        if needed.value <= size:
            owner = buffer.value.decode(errors="replace")
            return _hold_time(result, seconds, owner or None)
        size = needed.value


async def version_async() -> str:
    """version() in a worker thread: the first call of a process may wait."""
    return await asyncio.to_thread(version)


async def is_update_check_enabled_async() -> bool:
    """is_update_check_enabled() in a worker thread: the first call of a process may wait."""
    return await asyncio.to_thread(is_update_check_enabled)


async def check_all_for_updates_async(
    *, language: Optional[str] = None, trigger: int = Trigger.MANUAL
) -> Result:
    """check_all_for_updates() in a worker thread."""
    return await asyncio.to_thread(check_all_for_updates, language=language, trigger=trigger)


async def longest_hold_async() -> HoldTime:
    """longest_hold() in a worker thread."""
    return await asyncio.to_thread(longest_hold)
