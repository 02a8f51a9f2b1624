"""kxl-updater-check, against the reference updater and its misbehaviours.

updater_check_test.py BUILD-FOLDER [--whole]     whole: each misbehaviour fails no other check
"""

import base64
import hashlib
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = pathlib.Path(sys.argv.pop(1))
WHOLE = "--whole" in sys.argv and sys.argv.pop()
README = pathlib.Path(__file__).parents[2] / "tools/updater/README.md"
COMMAND = [BUILD / "kxl-updater-check", BUILD / "Kelda Updater.app"]


def failing(misbehaviour, names=()):
    """The checks that fail, of all or of those names."""
    only = [word for name in names for word in ("--only", name)]
    environment = {**os.environ, "KXL_UPDATER_MISBEHAVE": misbehaviour}
    run = subprocess.run([*COMMAND, "--json", *only], env=environment, stdout=subprocess.PIPE)
    results = [json.loads(line) for line in run.stdout.splitlines()]
    broken = {result["name"]: result for result in results if not result["ok"]}
    assert results and run.returncode == (1 if broken else 0), run
    return broken


class UpdaterCheck(unittest.TestCase):
    def test_the_reference_updater_keeps_all_rules(self):
        self.assertEqual(failing(""), {})

    def test_each_misbehaviour_fails_what_the_table_says(self):
        rows = re.findall(
            r"^\| `([a-z0-9 ]+)` \|[^|]*\| ((?:`[a-z-]+`,? ?)+)\|$", README.read_text(), re.M
        )
        self.assertGreater(len(rows), 12)
        for misbehaviour, cell in rows:
            names = re.findall("`([a-z-]+)`", cell)
            tried = names if WHOLE else names[:2]
            with self.subTest(misbehaviour):
                self.assertEqual(
                    sorted(failing(misbehaviour, () if WHOLE else tried)), sorted(tried)
                )

    def test_an_interrupt_leaves_nothing(self):
        for request in (signal.SIGTERM, signal.SIGINT):
            with tempfile.TemporaryDirectory() as folder:
                environment = {**os.environ, "TMPDIR": folder}
                command = [*COMMAND, "--only", "preferences-wait-once"]
                run = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
                locked = "*/1/home/kelly/.local/share/Kelda/Updater6/KeldaUpdaterPrefs.dat"
                while not (found := list(pathlib.Path(folder).glob(locked))):
                    time.sleep(0.01)
                digest = hashlib.md5(str(found[0]).encode()).digest()
                name = base64.b64encode(digest).decode().replace("/", "_")
                while not (lock := pathlib.Path("/dev/shm/sem." + name)).exists():
                    time.sleep(0.01)
                run.send_signal(request)
                self.assertEqual(run.wait(30), 128 + request)
                self.assertEqual((os.listdir(folder), lock.exists()), ([], False))
                find = f"grep -lzsF {folder} /proc/[0-9]*/environ || true"
                found = subprocess.run(
                    ["env", "-u", "TMPDIR", "sh", "-c", find], capture_output=True
                )
                self.assertEqual(found.stdout, b"")


unittest.main()
