"""How a desktop application works together with the Kelda Updater.

The nine calls of libkxl in Python; kxl.h(3) tells more of what each does to the shared files.

 1. Results. A call answers a Result, or an object with one as ``result``; it raises nothing
    whatever the machine's state. ValueError is for mistakes of the caller, which never reach the
    library: a wrong type, a zero byte or a lone surrogate in a text, a number out of range, an
    empty identifier. What else is wrong with a text the library judges: Result.INVALIDDATA.
 2. Truth. Result, Answer and Availability are neither true nor false: an ``if`` on one raises
    TypeError. Compare them.
 3. Threads. Every call may be made from any thread. It runs wholly on that thread, and the
    interpreter's lock is released meanwhile (ctypes does it): other threads go on.
 4. Waiting. A call waits for a lock of another process as long as its text says, the first call
    of a process 3 seconds longer; so no call belongs on the thread that draws, or into a
    coroutine. Each that may wait has a version ending in ``_async``, which makes it in a worker
    thread (asyncio.to_thread). Cancelling it gives up the answer, not the call.
 5. Environment. Calls that start the updater set variables in the process, of which os.environ
    knows nothing; do not change os.environ in another thread meanwhile. KX_LAUNCH_MODE,
    KX_DISPLAY_LANG and KX_LAUNCH_APPID stay set: a later check without a language or an
    application hands the earlier ones on, unless os.unsetenv() has taken them away before.
 6. Trace. Calls and results are in kxlLib.log in the user's data folder; nothing is printed.

Importing raises ImportError when libkxl.so.6 cannot be loaded.
"""

from ._application import (
    Application,
    Component,
    Trigger,
    check_all_for_updates,
    check_all_for_updates_async,
    is_update_check_enabled,
    is_update_check_enabled_async,
    longest_hold,
    longest_hold_async,
    version,
    version_async,
)
from ._hold import Hold, HoldTime
from ._results import Answer, Availability, Result

__all__ = [
    "Answer",
    "Application",
    "Availability",
    "Component",
    "Hold",
    "HoldTime",
    "Result",
    "Trigger",
    "check_all_for_updates",
    "check_all_for_updates_async",
    "is_update_check_enabled",
    "is_update_check_enabled_async",
    "longest_hold",
    "longest_hold_async",
    "version",
    "version_async",
]
