"""Reads very many structure files, on all cores of a machine or on a cluster, with Dask.

>>> from structure_ingest import bulk
>>> for row in bulk.parse_many("examples/copper"):
...     print(row["formula"], row["natoms"], round(row["density_g_cm3"], 3))
Cu 1 8.935

``write_rows`` writes a row of each file into a folder, goes on where an earlier run ended, and
survives what its workers do not. ``read_rows`` reads them back. ``structure-ingest-bulk`` is the
same as a program.

Dask (``python3-distributed``) is needed only by who hands in a client.
"""

from .errors import BulkError, UsageError
from .index import read_rows
from .many import parse_many
from .rows import Finding, Row, Settings
from .run import Progress, Summary, write_rows

__all__ = [
    "BulkError",
    "Finding",
    "Progress",
    "Row",
    "Settings",
    "Summary",
    "UsageError",
    "parse_many",
    "read_rows",
    "write_rows",
]
