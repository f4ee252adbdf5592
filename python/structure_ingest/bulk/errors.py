"""Errors that are not about one file."""


class UsageError(ValueError):
    """What was asked for cannot be done. The message says why."""


class BulkError(Exception):
    """The work cannot go on. The message says why; the next run goes on with what is there."""
