"""kxl-updater-check, against the reference updater and its misbehaviours.

updater_check_test.py BUILD-FOLDER [--whole]     whole: each misbehaviour fails no other check
"""

import base64
import concurrent.futures
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
# Where nobody's updater is found by another run's library, they need not take turns.
ALONE = ["unshare", "--pid", "--fork", "--mount-proc", "--kill-child"]
if subprocess.run([*ALONE, "true"], stderr=subprocess.DEVNULL).returncode != 0:
    ALONE = []


def failing(misbehaviour, names):
    """The checks that fail, of those names or, without any, of all."""
    command = [*ALONE, *COMMAND, "--json"] + [word for name in names for word in ("--only", name)]
    environment = {**os.environ, "KXL_UPDATER_MISBEHAVE": misbehaviour}
    run = subprocess.run(command, env=environment, stdout=subprocess.PIPE)
    results = [json.loads(line) for line in run.stdout.splitlines()]
    broken = {result["name"]: result for result in results if not result["ok"]}
    assert results and run.returncode == (1 if broken else 0), run
    return broken


class UpdaterCheck(unittest.TestCase):
    def test_the_table_and_the_well_behaved(self):
        row = r"^\| `([a-z0-9 ]+)` \|[^|]*\| ((?:`[a-z-]+`,? ?)+)\|$"
        rows = [("", "")] + re.findall(row, README.read_text(), re.M)
        self.assertGreater(len(rows), 12)
        expected = [re.findall("`([a-z-]+)`", cell) for _, cell in rows]
        tried = [() if WHOLE else names[:1] for names in expected]
        with concurrent.futures.ThreadPoolExecutor(3 if ALONE else 1) as pool:
            found = list(pool.map(failing, [name for name, _ in rows], tried))
        for (name, _), names, only, broken in zip(rows, expected, tried, found):
            with self.subTest(name):
                self.assertEqual(sorted(broken), sorted(only or names), broken)

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
