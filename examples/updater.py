#!/usr/bin/python3
"""An updater, written from docs/updater.md: the tasks, the locks and the journal.

It stands in a bundle as Contents/MacOS/Kelda Updater, and offers what the reference updater's
catalogue has. What it leaves out: it does not stay to be told on the session bus, shows no notices
and so reads no holds, writes no log, and ends at a journal that it may not read.
"""
import base64
import contextlib
import ctypes
import datetime
import hashlib
import fcntl
import os
import pwd
import re
import shutil
import signal
import time
import xml.etree.ElementTree as ET

ROOT = os.environ.get("KXL_ROOT", "")
HOME = os.environ.get("HOME", "")
HOME = HOME if HOME.startswith("/") else pwd.getpwuid(os.getuid()).pw_dir
DATA = os.environ.get("XDG_DATA_HOME", "")
DATA = (DATA if DATA.startswith("/") else HOME + "/.local/share") + "/Kelda/Updater6"
SHARED = ROOT + "/var/lib/Kelda/Updater6"
RUN = os.environ.get("XDG_RUNTIME_DIR", "/run/user/%d" % os.getuid())
MAXIMUM = 16 * 1024 * 1024
DECLARATION = '<?xml version="1.0" encoding="UTF-8" ?>\n'


@contextlib.contextmanager
def lock(resource, wait):
    name = base64.b64encode(hashlib.md5(resource.encode()).digest()).decode()
    path = "/dev/shm/sem." + name.replace("/", "_")
    end = time.monotonic() + wait
    while True:
        try:
            os.close(os.open(path, os.O_CREAT | os.O_EXCL, 0o700))
            break
        except FileExistsError:
            if time.monotonic() > end:
                raise TimeoutError(resource)
            time.sleep(0.001)
    try:
        yield
    finally:
        os.unlink(path)


def parse(path):
    """The root element. Waits for no FIFO."""
    with open(os.open(path, os.O_RDONLY | os.O_NONBLOCK), "rb") as file:
        text = file.read(MAXIMUM + 1)
    if len(text) > MAXIMUM or b"<!DOCTYPE" in text:
        raise ET.ParseError("too large, or with declarations of its own")
    level = [ET.fromstring(text)]
    for _ in range(256):
        level = [child for node in level for child in node]
    if level:
        raise ET.ParseError("too deep")
    return ET.fromstring(text)


def load(path, root):
    """The list, or its journal, with its complete records. Under its lock."""
    if os.path.isfile(path + "_"):
        try:
            parse(path + "_")
            os.rename(path + "_", path)
        except ET.ParseError:
            os.unlink(path + "_")
    try:
        found = parse(path)
    except FileNotFoundError:
        return ET.Element(root)
    except ET.ParseError:
        os.rename(path, path + ".damaged")
        return ET.Element(root)
    for record in list(found):
        if [len(record.findall(name)) for name in ("DisplayName", "InstallPath")] != [1, 1]:
            found.remove(record)
    return found if found.tag == root else ET.Element(root)


def save(path, root):
    if len(root) == 0:
        os.unlink(path)
        return
    with open(path + "_", "w", encoding="utf-8") as file:
        file.write(DECLARATION + ET.tostring(root, "unicode"))
        file.flush()
        os.fchmod(file.fileno(), 0o664)
        os.fsync(file.fileno())
    os.rename(path + "_", path)


def preferences(change=None):
    path = DATA + "/KeldaUpdaterPrefs.dat"
    with lock(path, 3):
        root = ET.Element("KeldaUpdater")
        with contextlib.suppress(FileNotFoundError):
            try:
                found = parse(path)
                root = found if found.tag == root.tag else root
            except ET.ParseError:
                os.unlink(path)  # who was writing it has died
            except (PermissionError, IsADirectoryError):
                return root  # it may hold anything, and is not to be written
        for key, text in (change or {}).items():
            node = root.find(key)
            (ET.SubElement(root, key) if node is None else node).text = text
        if change:
            with open(path, "w", encoding="utf-8") as file:
                file.write(DECLARATION + ET.tostring(root, "unicode"))
        return root


def version(text):
    parts = re.split("[ ,.-]", text)
    if not parts[-1].isdigit():
        parts[-1] = "0"
    return [int(part) for part in parts + ["0"] * (4 - len(parts))]


def fetch():
    """Copies what the catalogue has of the listed components; one updater at a time."""
    path, root = DATA + "/KeldaMissingComps.xml", "KeldaUpdaterMissingCompsManager"
    with lock(path, 2):
        if load(path, root).find("KeldaUpdaterMissingCompsApp/AMissingComponent") is None:
            return
    folder = preferences().findtext("DownloadDir") or DATA + "/Install"
    os.makedirs(folder, exist_ok=True)
    guard = os.open(folder, os.O_RDONLY)
    fcntl.flock(guard, fcntl.LOCK_EX)
    with lock(path, 2):
        wanted = load(path, root).findall("KeldaUpdaterMissingCompsApp/AMissingComponent")
    offers = parse(SHARED + "/Catalogue/catalogue.xml").findall("Component")
    fetched = []
    for component in wanted:
        name, category = component.get("name"), component.get("category")
        files = [
            offer.get("file")
            for offer in offers
            if name in ("*", offer.get("name")) and category == offer.get("category")
            if version(component.get("version")) == version(offer.get("version"))
        ]
        with contextlib.suppress(OSError):
            for file in files:
                shutil.copy(SHARED + "/Catalogue/" + file, folder + "/.part")
                os.rename(folder + "/.part", folder + "/" + file)
                fetched.append(component.attrib)
    with lock(path, 2):
        found = load(path, root)
        for record in list(found):
            for component in record.findall("AMissingComponent"):
                if component.attrib in fetched:
                    record.remove(component)
            if record.find("AMissingComponent") is None:
                found.remove(record)
        if fetched:
            save(path, found)


def answer(app, path):
    with lock("KeldaUpdater6" + app, 1):
        updates = parse(SHARED + "/Catalogue/catalogue.xml").findall("Update")
        result = int(any(update.get("appID") == app for update in updates))
        with open(path + "_", "w", encoding="utf-8") as file:
            file.write(DECLARATION + "<UpdateInfo><Result>%d</Result></UpdateInfo>\n" % result)
        os.rename(path + "_", path)


def tidy():
    path = SHARED + "/KeldaESDGlobalApps.xml"
    with lock(path, 2):
        if load(path, "KeldaUpdaterRegistrationManager").find("Application") is not None:
            return
    answers, locks = DATA + "/Data/UpdateAvailable/", RUN + "/Kelda/Updater6/Updater6/locked/"
    for app in os.listdir(answers) if os.path.isdir(answers) else []:
        with lock("KeldaUpdater6" + app, 0):
            shutil.rmtree(answers + app)
            if os.path.exists(locks + "lock." + app):
                os.unlink(locks + "lock." + app)


def work():
    mode = os.environ.get("KX_LAUNCH_MODE", "0")
    if "notifyAppID" in os.environ:
        answer(os.environ["notifyAppID"], os.environ["notifyFile"])
    elif "doActionAppID" in os.environ or mode == "3":
        pass
    elif mode == "5":
        tidy()
    else:
        preferences({"LastDateCheck": str(datetime.date.today()), "Launch": ""})


if __name__ == "__main__":
    for request in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(request, signal.SIG_IGN)  # until the task is done, which is the end
    os.makedirs(DATA, exist_ok=True)
    try:
        work()
    finally:
        ctypes.CDLL(None).prctl(15, b"Kelda ending")  # PR_SET_NAME: nobody finds it any more
        fetch()
