"""The package kxl, against the reference updater on a private machine."""

import asyncio
import base64
import hashlib
import importlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from unittest import mock

import kxl
from kxl import Answer, Component, HoldTime, Result, Trigger

SOURCE = pathlib.Path(__file__).parents[2]
EDITOR = kxl.Application("python.editor", "Éditeur", pathlib.Path("/opt/editor"))
LEFT = kxl.Application("python.left", "Left", "/opt/left")


def answer(request: int = 1) -> kxl.Availability:
    while (found := EDITOR.ask_for_update(request)).answer is Answer.PENDING:
        time.sleep(0.05)
    return found


class PythonTest(unittest.TestCase):
    def test_all_nine_calls(self) -> None:
        catalogue = pathlib.Path(os.environ["KXL_ROOT"], "var/lib/Kelda/Updater6/Catalogue")
        catalogue.mkdir()
        project = (SOURCE / "bindings/python/pyproject.toml").read_text()
        self.assertIn(f'\nversion = "{kxl.version()}"\n', project)
        self.assertIs(kxl.is_update_check_enabled(), True)
        self.assertEqual(EDITOR.register(), Result.OK)
        self.assertEqual(EDITOR.register(), Result.ALREADYREGISTERED)
        pending = EDITOR.ask_for_update()
        self.assertEqual((pending.answer, pending.result), (Answer.PENDING, 8))
        self.assertRaises(ValueError, lambda: pending.number)
        none = answer()
        self.assertEqual((none.answer, none.number), (Answer.NONE_WAITS, 0))
        update = f'<Catalogue><Update appID="{EDITOR.identifier}"/></Catalogue>'
        (catalogue / "catalogue.xml").write_text(update)
        waits = answer(2**32 - 1)
        self.assertEqual((waits.answer, waits.number), (Answer.WAITS, 1))
        with mock.patch.dict(os.environ, {"KXL_UPDATER_MISBEHAVE": "garbage"}):
            unreadable = answer()
        self.assertEqual((unreadable.answer, unreadable.result), (Answer.UNREADABLE, 0))
        for thing in (pending, none, waits, waits.answer, Result.OK, Result.FAILURE):
            self.assertRaises(TypeError, bool, thing)
        components = [Component("*", "Spelling", "1.2"), Component("Font", "Fonts", "1")]
        self.assertEqual(EDITOR.download_missing_components(components), Result.OK)
        self.assertEqual(EDITOR.download_missing_components(iter(components)), Result.ALL_LISTED)
        while (acted := EDITOR.do_plugin_action()) == Result.UPDATER_RUNNING:
            time.sleep(0.05)
        self.assertEqual(acted, Result.OK)
        hold = EDITOR.hold(50000)
        with hold as held:
            self.assertEqual(held, HoldTime(Result.OK, 43200, EDITOR.identifier))
            self.assertEqual(kxl.longest_hold().owner, EDITOR.identifier)
            self.assertIn(EDITOR.hold_left().seconds, range(43100, 43201))
            scheduled = EDITOR.check_for_updates(trigger=Trigger.SCHEDULED)
            self.assertEqual(scheduled, Result.CHECK_SUPPRESSED)
        self.assertEqual(hold.cleared, Result.OK)
        self.assertEqual(EDITOR.hold_left(), HoldTime(Result.OK, 0, None))
        self.assertEqual(kxl.check_all_for_updates(), Result.OK)
        self.assertEqual(EDITOR.unregister(), Result.OK)
        self.assertEqual(EDITOR.unregister(), Result.REGISTRATIONFAILED)

    def test_mistakes_are_raised_and_the_rest_is_answered(self) -> None:
        for mistake in (
            lambda: kxl.Application("", "Editor", "/opt"),
            lambda: kxl.Application("a\0b", "Editor", "/opt"),
            lambda: kxl.Application("a", "Editor\ud800", "/opt"),
            lambda: kxl.Application("a", "Editor", "/opt\0"),
            lambda: kxl.Application("a", b"Editor", "/opt"),  # type: ignore[arg-type]
            lambda: EDITOR.check_for_updates(language="en\0US"),
            lambda: EDITOR.ask_for_update(-1),
            lambda: EDITOR.set_hold(2**32),
            lambda: EDITOR.download_missing_components([Component("a", "\0", "1")]),
            lambda: EDITOR.download_missing_components(["abc"]),  # type: ignore[list-item]
        ):
            self.assertRaises(ValueError, mistake)
        for judged in (("é", "A", "/a"), ("a" * 257, "A", "/a"), ("a", "A", "/\udcff")):
            self.assertEqual(kxl.Application(*judged).ask_for_update().result, Result.INVALIDDATA)
        self.assertEqual((Result(99), Result(99).name), (99, "UNKNOWN_99"))
        with mock.patch("ctypes.CDLL", side_effect=OSError("gone")):
            with self.assertRaisesRegex(ImportError, "libkxl.so.6 .*libkxl6.*: gone"):
                importlib.reload(sys.modules["kxl._library"])

    def test_a_call_that_waits_holds_up_no_other_thread(self) -> None:
        holds = os.environ["HOME"] + "/.local/share/Kelda/Updater6/suppress_all.dat"
        digest = base64.b64encode(hashlib.md5(holds.encode()).digest(), b"+_")
        lock = pathlib.Path("/dev/shm/sem." + digest.decode())

        async def calls() -> "tuple[list[HoldTime], float]":
            cancelled = asyncio.ensure_future(LEFT.hold(60).__aenter__())
            waiting = [asyncio.ensure_future(EDITOR.set_hold_async(60)) for _ in range(3)]
            pause = 0.0
            while not all(call.done() for call in waiting):
                before = time.monotonic()
                await asyncio.sleep(0.01)
                pause = max(pause, time.monotonic() - before)
                cancelled.cancel()
            async with EDITOR.hold(60) as held:
                return [await call for call in waiting] + [held], pause

        lock.touch(exist_ok=False)
        release = threading.Timer(1, lock.unlink)
        release.start()
        answers, pause = asyncio.run(calls())
        self.assertEqual(answers, [HoldTime(Result.OK, 60, EDITOR.identifier)] * 4)
        self.assertFalse(release.is_alive(), "the lock was not waited for")
        self.assertLess(pause, 0.5)
        self.assertEqual(kxl.longest_hold(), HoldTime(Result.OK, 0, None))

    def test_the_guide(self) -> None:
        guide = (SOURCE / "docs/integration.md").read_text()
        section = re.findall("^## Python$.*?(?=^## )", guide, re.M | re.S)[0]
        programs = re.findall("^```python\n(.*?)^```$", section, re.M | re.S)
        ran = [subprocess.check_output([sys.executable, "-c", p], text=True) for p in programs]
        self.assertEqual(ran, ["Done.\n", "Answer.NONE_WAITS\n"])


if __name__ == "__main__":
    if "KXL_ROOT" in os.environ:
        unittest.main()
    with tempfile.TemporaryDirectory() as machine:
        sys.exit(subprocess.call([sys.argv[1], machine, "--", sys.executable, __file__]))
