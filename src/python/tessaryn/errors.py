# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""The package's exceptions. It also raises Python's own: TypeError and ValueError for values that
do not fit, OverflowError for numbers that are too large, ReferenceError for removed objects."""


class TessarynError(Exception):
    """The base class of the package's exceptions."""


class _LookupError(TessarynError, KeyError):
    def __str__(self) -> str:
        # KeyError would show the repr of the message.
        return str(self.args[0]) if self.args else ""


class PathNotFoundError(_LookupError):
    """A repository has nothing at this path."""


class VersionNotFoundError(_LookupError):
    """A stream type does not have this version."""


class EntryNotFoundError(_LookupError):
    """A stream type does not have an entry of this name."""


class EmptyStreamError(TessarynError, IndexError):
    """The stream has no sample."""


class RuleSyntaxError(TessarynError, ValueError):
    """A text is not a rule."""

    def __init__(self, message: str, position: int = 0, length: int = 0, hint: str = "") -> None:
        super().__init__(message, position, length, hint)
        #: The mistake.
        self.message = message
        #: The position in characters, from 0.
        self.position = position
        #: The number of wrong characters; 0 at the end of the text.
        self.length = length
        #: A suggestion, or an empty text.
        self.hint = hint

    def __str__(self) -> str:
        hint = f": {self.hint}" if self.hint else ""
        return f"{self.message} (at position {self.position}){hint}"
