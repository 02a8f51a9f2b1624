"""What of the caller's arguments can be handed to the library; ValueError for what cannot."""

import os
from typing import Optional


def text_argument(value: object, what: str) -> bytes:
    if not isinstance(value, str):
        raise ValueError(f"{what} must be a str, not {type(value).__name__}")
    if "\0" in value:
        raise ValueError(f"{what} has a zero byte")
    return value.encode()


def language_argument(value: Optional[str]) -> Optional[bytes]:
    return None if value is None else text_argument(value, "language")


def path_argument(value: object) -> bytes:
    if not isinstance(value, (str, os.PathLike)):
        raise ValueError(f"folder must be a str or a path, not {type(value).__name__}")
    path = os.fsencode(value)
    if b"\0" in path:
        raise ValueError("folder has a zero byte")
    return path


def number_argument(value: object, what: str, least: int, most: int) -> int:
    if not isinstance(value, int):
        raise ValueError(f"{what} must be an int, not {type(value).__name__}")
    if not least <= value <= most:
        raise ValueError(f"{what} must be from {least} to {most}, not {value}")
    return value


def int32_argument(value: object, what: str) -> int:
    return number_argument(value, what, -0x80000000, 0x7FFFFFFF)
