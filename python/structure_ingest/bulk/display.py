"""What the program shows: how far it is, and the summary."""

from __future__ import annotations

import shutil
import sys
import threading
import time
from pathlib import Path
from typing import Dict, List, Optional

from .listing import Source, files_of
from .run import DUPLICATES_NAME, Progress, Summary

_SECONDS_BETWEEN_LINES = 0.2
_SECONDS_BETWEEN_LOGGED = 60.0  # or a tenth of the files, not within:
_LEAST_BETWEEN_LOGGED = 5.0


class FileCount:
    """Counts the files of a source on the side: only then can be said how long it takes."""

    def __init__(self, source: Source) -> None:
        self.total: Optional[int] = None
        self._stopped = threading.Event()
        self._thread = threading.Thread(target=self._count, args=(source,), daemon=True)
        self._thread.start()

    def _count(self, source: Source) -> None:
        count = 0
        for _ in files_of(source, lambda error: None):
            count += 1
            if self._stopped.is_set():
                return
        self.total = count

    def stop(self) -> None:
        self._stopped.set()


class ProgressLine:
    """Tells on standard error how far a run is: in one line that is rewritten on a terminal, in a
    line now and then where the text is kept, as that of a batch job is."""

    def __init__(self, count: FileCount, task: str) -> None:
        self._count = count
        self._task: Optional[str] = task  # None once it was told
        self._began = time.monotonic()
        self._shown = self._began
        self._tenths = 0
        self._is_shown = False
        self._is_terminal = sys.stderr.isatty()

    def show(self, progress: Progress) -> None:
        now = time.monotonic()
        if not self._is_terminal:
            self._show_kept(progress, now)
            return
        if now - self._shown < _SECONDS_BETWEEN_LINES:
            return
        self._shown = now
        text = line_of(progress, self._count.total, now - self._began)
        width = shutil.get_terminal_size().columns - 1
        print(f"\r{text[:width]}\033[K", end="", file=sys.stderr, flush=True)
        self._is_shown = True

    def _show_kept(self, progress: Progress, now: float) -> None:
        if self._task is not None:
            _log(self._task)
            self._task = None
        total = self._count.total
        tenths = 10 * (progress.read + progress.unchanged) // total if total else 0
        passed = now - self._shown
        if passed < _SECONDS_BETWEEN_LOGGED and (
                tenths <= self._tenths or passed < _LEAST_BETWEEN_LOGGED):
            return
        self._shown, self._tenths = now, tenths
        _log(line_of(progress, total, now - self._began))

    def end(self, summary: Summary) -> None:
        """The last line, of a run that came to its end."""
        if not self._is_terminal:
            _log(f"done: {line_of(summary.run, None, time.monotonic() - self._began)}")

    def clear(self) -> None:
        if self._is_shown:
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def _log(text: str) -> None:
    print(f"structure-ingest-bulk: {text}", file=sys.stderr, flush=True)


def line_of(progress: Progress, total: Optional[int], seconds: float) -> str:
    """One line on how far a run is after some seconds; ``total`` is None while nobody knows it."""
    done = progress.read + progress.unchanged
    of_total = "" if total is None else f" of {total:,}"
    parts = [f"{done:,}{of_total} files"]
    if done and seconds > 0:
        parts.append(f"{done / seconds:,.0f} files/s")
        if total is not None and total >= done:
            parts.append(f"{_duration((total - done) * seconds / done)} left")
    if progress.failures:
        count = sum(progress.failures.values())
        parts.append(f"{count:,} not read ({_in_order(progress.failures)})")
    return ", ".join(parts)


def _in_order(failures: Dict[str, int]) -> str:
    ordered = sorted(failures.items(), key=lambda each: (-each[1], each[0]))
    return "; ".join(f"{count:,} {reason}" for reason, count in ordered)


def _duration(seconds: float) -> str:
    whole = round(seconds)
    if whole < 60:
        return f"{whole} s"
    if whole < 3600:
        return f"{whole // 60} min {whole % 60:02} s"
    return f"{whole // 3600} h {whole % 3600 // 60:02} min"


def summary_text(summary: Summary, out: Path, seconds: float) -> str:
    """The summary in words, several lines."""
    run = summary.run
    done = run.read + run.unchanged
    rate = f", {done / seconds:,.0f} files/s" if seconds > 0 else ""
    lines = [f"{_counted(done, 'file')} in {_duration(seconds)}{rate}: {run.read:,} read, "
             f"{run.unchanged:,} unchanged since an earlier run",
             f"{out}: {_counted(summary.rows, 'row')} in {_counted(summary.parts, 'part')}, "
             f"{summary.ok:,} ok, "
             f"{summary.rows - summary.ok:,} not read"]
    lines += [f"  {count:>9,}  {reason}" for reason, count in summary.failures.items()]
    if summary.duplicates:
        repeat = "repeats" if summary.duplicates == 1 else "repeat"
        lines.append(f"duplicates: {_counted(summary.duplicates, 'file')} {repeat} "
                     f"{_counted(summary.duplicated_structures, 'structure')}, see "
                     f"{DUPLICATES_NAME}")
    lines += [f"not listed: {folder}" for folder in _shortened(run.folders_failed)]
    return "\n".join(lines)


def _counted(count: int, what: str) -> str:
    return f"{count:,} {what}" + ("" if count == 1 else "s")


def _shortened(lines: List[str]) -> List[str]:
    most = 10
    rest = len(lines) - most
    return lines if rest <= 0 else [*lines[:most], f"and {rest:,} folders more"]
