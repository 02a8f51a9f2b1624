"""The shared library and the types of its nine functions, as include/kxl/kxl.h declares them."""

import ctypes
from ctypes import POINTER, c_bool, c_char_p, c_int32, c_uint32


class MissingComponent(ctypes.Structure):
    """KXLMissingComponent."""

    _fields_ = [("name", c_char_p), ("category", c_char_p), ("version", c_char_p)]


class MissingComponentList(ctypes.Structure):
    """KXLMissingComponentList."""

    _fields_ = [("count", c_uint32), ("components", POINTER(POINTER(MissingComponent)))]


def _load() -> ctypes.CDLL:
    try:
        return ctypes.CDLL("libkxl.so.6")
    except OSError as error:
        raise ImportError(
            "kxl needs the shared library libkxl.so.6 (Debian package libkxl6), "
            f"which could not be loaded: {error}",
            name="kxl",
        ) from error


library = _load()

_TEXT = c_char_p
_APPLICATION = [_TEXT, _TEXT, _TEXT]
_NUMBER_OUT = POINTER(c_uint32)

for _name, _arguments in {
    "KXLRegisterApplication": _APPLICATION,
    "KXLUnRegisterApplication": [_TEXT],
    "KXLIsUpdateCheckEnabled": [],
    "KXLTriggerUpdateCheck": [*_APPLICATION, _TEXT, c_int32, c_bool],
    "KXLIsUpdateAvailable": [*_APPLICATION, c_uint32, POINTER(c_int32), c_bool],
    "KXLDownloadMissingComponents": [
        *_APPLICATION,
        _TEXT,
        POINTER(MissingComponentList),
        c_int32,
        c_bool,
    ],
    "KXLDoPluginAction": [_TEXT],
    "KXLSuppressUpdates": [_TEXT, _NUMBER_OUT, _NUMBER_OUT, c_int32],
    "KXLGetVersion": [],
}.items():
    _function = getattr(library, _name)
    _function.argtypes = _arguments
    _function.restype = c_int32
library.KXLGetVersion.restype = c_uint32
