# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""The package's exceptions. Beside them are Python's own: TypeError and ValueError for values that
do not fit, OverflowError for numbers that are too large, ReferenceError for what was removed."""


class TessarynError(Exception):
    """The root of the package's exceptions."""


class _LookupError(TessarynError, KeyError):
    def __str__(self) -> str:
        # A KeyError shows the key as it is written in Python, which a sentence is not.
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
        #: What is wrong.
        self.message = message
        #: Where, in characters from 0.
        self.position = position
        #: Characters that are wrong; 0 at the end of the text.
        self.length = length
        #: What may have been meant, or an empty text.
        self.hint = hint

    def __str__(self) -> str:
        hint = f": {self.hint}" if self.hint else ""
        return f"{self.message} (at position {self.position}){hint}"
