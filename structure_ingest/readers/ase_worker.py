"""Reads structure files with ASE for a host process.

The host has this text in its code and starts it as `python3 -I -c TEXT` (nothing is imported from the
current folder or from where PYTHONPATH points) with its standard streams on the null device, a
stream socket as descriptor 3 and the reading end of a pipe as descriptor 4. The pipe is never
written to: it hangs up when the host ends.

All numbers are little-endian; a size or count is an unsigned integer of 8 bytes. The worker first
sends FOUND when an ASE is installed and then READY when it has loaded it; when it cannot, it ends.
Then, until the host hangs up, each request

    size | bytes of a path, with the host's current folder as an attached descriptor

gets the answer

    size of what follows | failure (one byte) | size | message | sections

where the sections, each only as far as extraction came, are

    "L" | count | for each atom: size | label
    "P" | count | for each atom: three doubles, its Cartesian position
    "C" | three rows of three doubles, the cell when its rank is 3
"""

import fcntl
import gc
import importlib.util
import os
import resource
import select
import signal
import site
import struct
import sys

CHANNEL = 3
LIFELINE = 4
FOUND = b"found  1"
READY = b"ready  1"
MOST_MEMORY = 4 << 30
NO_FAILURE, READ_FAILURE, EXTRACTION_FAILURE = b"\0", b"\1", b"\2"


def end_with_owner():
    """Has the kernel end this process (SIGIO) when the lifeline hangs up, however busy it is."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    fcntl.fcntl(LIFELINE, fcntl.F_SETOWN, os.getpid())
    fcntl.fcntl(LIFELINE, fcntl.F_SETFL, os.O_ASYNC | os.O_NONBLOCK)
    if select.select([LIFELINE], [], [], 0)[0]:  # it hung up before that
        os._exit(0)


def limit_memory():
    """A file of a few bytes can claim a billion atoms; it fails then, and the host has its memory."""
    hard = resource.getrlimit(resource.RLIMIT_DATA)[1]
    limit = MOST_MEMORY if hard == resource.RLIM_INFINITY else min(hard, MOST_MEMORY)
    resource.setrlimit(resource.RLIMIT_DATA, (limit, hard))


def add_user_packages():
    """Adds the packages that the user installed for themselves, in their usual place before those
    of the system; -I leaves them out."""
    if sys.prefix != sys.base_prefix or os.environ.get("PYTHONNOUSERSITE"):
        return
    if os.getuid() != os.geteuid() or os.getgid() != os.getegid():
        return
    if os.environ.pop("PYTHONUSERBASE", None):
        site.USER_BASE = site.USER_SITE = None  # they came from there
    folder = site.getusersitepackages()
    if not os.path.isabs(folder) or not os.path.isdir(folder):
        return
    before = list(sys.path)
    site.addsitedir(folder)
    added = sys.path[len(before):]
    system = [before.index(path) for path in site.getsitepackages() if path in before]
    place = min(system, default=len(before))
    sys.path[:] = before[:place] + added + before[place:]


def number(value):
    return struct.pack("<Q", value)


def sized(content):
    return number(len(content)) + content


def text_bytes(text):
    """UTF-8, with the bytes of a path that are not UTF-8 as they are in the path."""
    try:
        return text.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        return text.encode("utf-8", "replace")


def message(error):
    try:
        return sized(text_bytes(str(error)))
    except BaseException:
        return sized(b"")


def vectors(rows):
    """The count of the rows, and their numbers."""
    import numpy

    array = numpy.asarray(rows, dtype="<f8")
    if array.ndim != 2 or array.shape[1] != 3:
        raise ValueError(f"expected rows of three numbers, got the shape {array.shape}")
    return number(len(array)), array.tobytes()


def answer(read, path):
    # Whatever a reader raises is an error of the file, also an attempt to exit.
    try:
        atoms = read(path)
    except BaseException as error:
        return READ_FAILURE + message(error)
    sections = []
    try:
        labels = [text_bytes(label) for label in atoms.get_chemical_symbols()]
        sections += [b"L", number(len(labels)), *map(sized, labels)]
        sections += [b"P", *vectors(atoms.get_positions())]
        cell = atoms.cell
        if cell is not None and cell.rank == 3:
            sections += [b"C", vectors([cell[0], cell[1], cell[2]])[1]]
    except BaseException as error:
        return b"".join([EXTRACTION_FAILURE, message(error), *sections])
    return b"".join([NO_FAILURE, sized(b""), *sections])


def receive(channel, size):
    """Bytes of a request, with the descriptors that came along; the end when the host hung up."""
    content = b""
    folders = []
    while len(content) < size:
        piece, attached, _, _ = channel.recvmsg(size - len(content), 64)
        if not piece:
            os._exit(0)
        content += piece
        for _, _, descriptors in attached:
            folders += struct.unpack(f"{len(descriptors) // 4}i", descriptors)
    return content, folders


def enter(folders):
    for folder in folders:
        os.fchdir(folder)
        os.close(folder)
    if not folders:
        os.chdir("/")


def serve(channel, read, owner):
    while True:
        # Copies of the owner that forked may keep the channel open after its end.
        while not select.select([channel], [], [], 1)[0]:
            if os.getppid() != owner:
                os._exit(0)
        size, folders = receive(channel, 8)
        path, _ = receive(channel, struct.unpack("<Q", size)[0])
        enter(folders)
        channel.sendall(sized(answer(read, os.fsdecode(path))))


def main():
    owner = os.getppid()
    end_with_owner()
    add_user_packages()
    if importlib.util.find_spec("ase") is None:
        os._exit(0)
    os.write(CHANNEL, FOUND)

    gc.disable()  # loading makes no garbage worth the search
    import socket

    from ase.io import read

    gc.freeze()
    gc.enable()
    limit_memory()
    channel = socket.socket(fileno=CHANNEL)
    channel.sendall(READY)
    serve(channel, read, owner)


main()
