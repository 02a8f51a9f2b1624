"""Holds of update notices."""

from __future__ import annotations

import asyncio
import threading
from dataclasses import dataclass
from typing import TYPE_CHECKING, Optional

from ._arguments import number_argument
from ._results import Result

if TYPE_CHECKING:
    from ._application import Application


@dataclass(frozen=True)
class HoldTime:
    """What a call about holds answers.

    ``seconds`` is what the hold was set to (twelve hours at most) or what is left of it, 0
    without one, and None when that is not known. ``owner`` is the application whose hold it is,
    or None. A question may be answered beside Result.FAILURE: when the file of holds was read, but
    could not be written.
    """

    result: Result
    seconds: Optional[int]
    owner: Optional[str]


class Hold:
    """Holds update notices back during one with statement: a presentation or a game.

    ::

        with application.hold(3600) as held:
            present()   # held.result tells whether it was set, held.seconds for how long

    The end of the statement clears the hold if it was set, and leaves what that answered in
    ``cleared``. An application has one hold: the inner of two statements ends the outer one's. A
    hold ends by itself after its time, twelve hours at most, also when the process was killed.
    Use ``async with`` in a coroutine.
    """

    def __init__(self, application: Application, seconds: int) -> None:
        number_argument(seconds, "seconds", 0, 0xFFFFFFFF)
        self.cleared: Optional[Result] = None  #: what clearing it has answered
        self._application = application
        self._seconds = seconds
        self._turn = threading.Lock()
        self._is_set = False
        self._is_abandoned = False

    def __enter__(self) -> HoldTime:
        with self._turn:
            held = self._application.set_hold(self._seconds)
            self._is_set = held.owner is not None
            if self._is_abandoned:
                self._clear()
            return held

    def __exit__(self, *_: object) -> None:
        with self._turn:
            self._clear()

    async def __aenter__(self) -> HoldTime:
        loop = asyncio.get_running_loop()
        try:
            return await loop.run_in_executor(None, self.__enter__)
        except asyncio.CancelledError:
            # There will be no exit. The thread that sets the hold cannot be stopped, and may be
            # at any point: whichever of the two comes last clears it.
            self._is_abandoned = True
            loop.run_in_executor(None, self.__exit__)
            raise

    async def __aexit__(self, *_: object) -> None:
        # Shielded: a cancelled task must not leave a hold behind.
        await asyncio.shield(asyncio.get_running_loop().run_in_executor(None, self.__exit__))

    def _clear(self) -> None:
        if self._is_set:
            self._is_set = False
            self.cleared = self._application.clear_hold()
