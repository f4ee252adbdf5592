"""The program structure-ingest-bulk."""

from __future__ import annotations

import argparse
import contextlib
import json
import logging
import os
import shutil
import signal
import sys
import tempfile
import time
from dataclasses import asdict
from pathlib import Path
from typing import Any, Iterator, NoReturn, Optional, Sequence

import structure_ingest

from .display import FileCount, ProgressLine, summary_text
from .errors import BulkError, UsageError
from .listing import Source, paths_in
from .many import DEFAULT_CHUNK
from .run import Summary, write_rows

# As the program structure-ingest has them.
ALL_WELL = 0
SOME_FILE_UNPARSED = 1  # or a folder was not listed
WRONG_USAGE = 2
CANNOT_WRITE = 3  # or the cluster was lost
INTERRUPTED = 130

_SECONDS_TO_CONNECT = 30
_EXAMPLES = """examples:
  structure-ingest-bulk collection -o rows
  structure-ingest-bulk collection -o rows --retry-failed
  structure-ingest-bulk collection -o rows --scheduler tcp://node1:8786
  find collection -name '*.cif' -print0 | structure-ingest-bulk --files-from - -0 -o rows

exit status: 0 when all files were read, 1 when some file was not or a folder could not be listed,
2 for wrong usage, 3 when something could not be written or the cluster was lost."""


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Runs the program with its arguments, and returns its exit status."""
    options = _parser().parse_args(arguments)
    signal.signal(signal.SIGTERM, _interrupt)
    try:
        with contextlib.ExitStack() as stack:
            source = _source(options, stack)
            client = _client(options, stack)
            began = time.monotonic()
            summary = _run(source, client, options)
            seconds = time.monotonic() - began
    except UsageError as error:
        return _fail(WRONG_USAGE, str(error))
    except (OSError, BulkError) as error:
        return _fail(CANNOT_WRITE, str(error))
    except KeyboardInterrupt:
        return _fail(INTERRUPTED, "interrupted; the same command goes on where this one ended")
    if options.json:
        print(json.dumps({**asdict(summary), "seconds": round(seconds, 3)}))
    else:
        print(summary_text(summary, Path(options.output), seconds))
    all_read = summary.rows == summary.ok and not summary.run.folders_failed
    return ALL_WELL if all_read else SOME_FILE_UNPARSED


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="structure-ingest-bulk", allow_abbrev=False, epilog=_EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        description="Reads and checks all structure files under a folder, on several processes or "
                    "a Dask\ncluster, and writes a row of each. The same command again goes on "
                    "where it ended.")
    parser.add_argument("folder", nargs="?", help="the folder with the files")
    parser.add_argument("-o", "--output", metavar="OUT", required=True,
                        help="the folder for the rows; it is made when missing")
    parser.add_argument("--files-from", metavar="FILE",
                        help="read these files instead, one path a line; - is standard input")
    parser.add_argument("-0", "--null", action="store_true",
                        help="the list of --files-from is separated by NUL characters")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS",
                       help="use the workers of the Dask scheduler at this address")
    where.add_argument("--workers", metavar="N", type=_count,
                       help="start N worker processes here; as many as there are processors when "
                            "not given; 0 reads in this process, without Dask")
    parser.add_argument("--chunk", metavar="N", type=_count, default=DEFAULT_CHUNK,
                        help=f"files a task, and rows a part at most ({DEFAULT_CHUNK})")
    parser.add_argument("--atoms", action="store_true",
                        help="add symbols and positions to the rows")
    parser.add_argument("--no-symmetry", action="store_true",
                        help="do not search for space groups")
    parser.add_argument("--retry-failed", action="store_true",
                        help="read again what was not read by an earlier run")
    parser.add_argument("--verify", action="store_true",
                        help="tell by its fingerprint, not by size and time, whether a file has "
                             "changed")
    parser.add_argument("--json", action="store_true", help="print the summary as JSON")
    parser.add_argument("--version", action="version",
                        version=f"%(prog)s {structure_ingest.__version__}")
    return parser


def _count(text: str) -> int:
    if not text.isascii() or not text.isdigit():
        raise argparse.ArgumentTypeError(f"not a number from 0: {text!r}")
    return int(text)


def _source(options: argparse.Namespace, stack: contextlib.ExitStack) -> Source:
    if (options.folder is None) == (options.files_from is None):
        raise UsageError("name a folder, or a list of files with --files-from")
    if options.files_from is None:
        if options.null:
            raise UsageError("-0 is for the list of --files-from")
        if not os.path.isdir(options.folder):
            raise UsageError(f"there is no folder {options.folder}")
        return str(options.folder)
    path = Path(options.files_from)
    if options.files_from == "-":
        # To a file: it is read twice, and may be long.
        spool = stack.enter_context(tempfile.NamedTemporaryFile())
        shutil.copyfileobj(sys.stdin.buffer, spool)
        spool.flush()
        path = Path(spool.name)
    elif not path.is_file():
        raise UsageError(f"there is no file {options.files_from}")
    return _ListedPaths(path, b"\0" if options.null else b"\n")


class _ListedPaths:
    """The paths in a list, any number of times."""

    def __init__(self, path: Path, separator: bytes) -> None:
        self._path = path
        self._separator = separator

    def __iter__(self) -> Iterator[str]:
        return paths_in(self._path, self._separator)


def _client(options: argparse.Namespace, stack: contextlib.ExitStack) -> Optional[Any]:
    """A client of the cluster that was named, or of one of our own."""
    if options.workers == 0:
        return None
    try:
        import distributed
    except ImportError as error:
        raise UsageError(f"Dask is not installed ({error}): install python3-distributed, or use "
                         "--workers 0") from error
    new_client: Any = distributed.Client  # which has no types
    new_cluster: Any = distributed.LocalCluster
    if options.scheduler is not None:
        try:
            client = new_client(options.scheduler, timeout=_SECONDS_TO_CONNECT)
        except (OSError, ValueError) as error:
            raise UsageError(f"no scheduler answers at {options.scheduler}: {error}") from error
        stack.callback(_close_quickly, client)
        return client
    count = options.workers or len(os.sched_getaffinity(0))
    space = stack.enter_context(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
    # That a worker ended is said by its file's row, or is nothing to speak of.
    cluster = stack.enter_context(new_cluster(
        n_workers=count, threads_per_worker=1, processes=True, dashboard_address="127.0.0.1:0",
        local_directory=space, silence_logs=logging.CRITICAL))
    return stack.enter_context(new_client(cluster))


def _close_quickly(client: Any) -> None:
    with contextlib.suppress(OSError):
        client.close(timeout=5)


def _run(source: Source, client: Optional[Any], options: argparse.Namespace) -> Summary:
    count = FileCount(source)
    line = ProgressLine(count, f"reads {options.folder or 'the files of ' + options.files_from}, "
                               f"and writes rows to {options.output}")
    try:
        summary = write_rows(source, options.output, client=client, chunk=options.chunk,
                             atoms=options.atoms, symmetry=not options.no_symmetry,
                             retry_failed=options.retry_failed, verify=options.verify,
                             on_progress=line.show)
        line.end(summary)
        return summary
    finally:
        count.stop()
        line.clear()


def _interrupt(number: int, frame: object) -> NoReturn:
    raise KeyboardInterrupt


def _fail(status: int, message: str) -> int:
    print(f"structure-ingest-bulk: {message}", file=sys.stderr)
    return status


if __name__ == "__main__":
    sys.exit(main())
