# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""A base class for context managers that close themselves."""

from __future__ import annotations

from types import TracebackType
from typing import TypeVar

Self = TypeVar("Self", bound="Closing")


class Closing:
    """Closes itself at the end of a with statement."""

    __slots__ = ()

    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()
