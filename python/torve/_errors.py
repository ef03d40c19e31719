"""The exception of the package."""

from __future__ import annotations

from typing import Any

from . import _core


class TorveError(RuntimeError):
    """A call or a run that ended with a termination code.

    Attributes
    ----------
    code : int
        The termination code, as in the messages of the program.
    message : str
        The program's words for the code.
    location : int
        The place in the program that found the fault.
    details : str
        What the program said before it gave up, line by line; may be empty.
    """

    def __init__(self, code: int, message: str, location: int = 0, details: str = "") -> None:
        self.code = code
        self.message = message
        self.location = location
        self.details = details
        super().__init__(code, message, location, details)

    def __str__(self) -> str:
        """Code, words, and what the program said."""
        text = f"termination code {self.code}: {self.message}"
        return f"{text}\n{self.details}" if self.details else text

    def __reduce__(self) -> tuple[Any, ...]:
        """Make the exception travel between processes."""
        return type(self), (self.code, self.message, self.location, self.details)


def error_of(code: int, details: str = "") -> TorveError:
    """Return the exception of a code, with the program's words and place."""
    return TorveError(code, _core.message(code), _core.location(), details)
