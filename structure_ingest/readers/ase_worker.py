"""Reads structure files with ASE for a host process.

The host has this text in its code, behind that of ase_deferral.py, and starts both as
`python3 -I -c TEXT`, with its standard streams on the null device, a stream socket as descriptor 3
and the reading end of a pipe as descriptor 4. The pipe is never written to: it hangs up when the
host ends.

All numbers are little-endian; a size or count is an unsigned integer of 8 bytes. The worker first
sends FOUND if ASE is installed and then READY once it has loaded it; otherwise it sends

    ABSENT | size | names of files, as in the section "E"

and ends.
Then, until the host hangs up or asks for nothing for a minute, each request

    size | bytes of a path, with the host's current folder as an attached descriptor

gets the answer

    size of what follows | failure (one byte) | size | message | sections

with these sections, up to the first that could not be extracted:

    "L" | count | for each atom: size | label
    "P" | count | for each atom: three doubles, its Cartesian position
    "C" | three rows of three doubles, the cell when its rank is 3
    "W" | count | for each of Python's warnings about the file: size | text
    "V", when the failure may have other reasons than the bytes of the file
    "O" | count | for each name in the folder of the file that ASE opened besides it: size | name,
        which is empty when ASE listed the folder
    "E" | size | the absolute names of the files that make this Python what it is, each followed by
        a line feed: its programs, libraries and the sources of ASE; the last section of the first
        answer

In the place of a size LEFT tells that the worker has ended, and has not seen any later request.
"""

import errno
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
import time
import warnings

CHANNEL = 3
LIFELINE = 4
FOUND = b"found  1"
READY = b"ready  1"
ABSENT = b"absent 1"
LEFT = b"\xff" * 8
IDLE_SECONDS = 60
MOST_MEMORY = 4 << 30
MOST_WARNINGS = 1000
NO_FAILURE, READ_FAILURE, EXTRACTION_FAILURE = b"\0", b"\1", b"\2"

# Warnings of these kinds are about ASE's code, not about the file.
ABOUT_CODE = (DeprecationWarning, PendingDeprecationWarning, FutureWarning, ImportWarning,
              ResourceWarning, SyntaxWarning)

# Failures of these kinds need not come from the bytes of the file.
NOT_OF_THE_FILE = (OSError, MemoryError, ImportError, RecursionError, KeyboardInterrupt)

# The events of Python's audit hooks that read other files.
READS = ("open", "os.listdir", "os.scandir")

# The events of Python's audit hooks that change files or start programs. SQLite creates files
# beside a database that is only read.
CHANGES = {
    "os.chmod", "os.chown", "os.exec", "os.fork", "os.link", "os.mkdir", "os.posix_spawn",
    "os.remove", "os.rename", "os.rmdir", "os.setxattr", "os.symlink", "os.system", "os.truncate",
    "os.utime", "sqlite3.connect", "subprocess.Popen"
}


def end_with_owner():
    """Asks the kernel to end this process (SIGIO) when the lifeline hangs up, even while it is
    busy."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    fcntl.fcntl(LIFELINE, fcntl.F_SETOWN, os.getpid())
    fcntl.fcntl(LIFELINE, fcntl.F_SETFL, os.O_ASYNC | os.O_NONBLOCK)
    if select.select([LIFELINE], [], [], 0)[0]:  # it had already hung up
        os._exit(0)


def limit_memory():
    """Limits memory: a file of a few bytes can claim a billion atoms and exhaust the host."""
    hard = resource.getrlimit(resource.RLIMIT_DATA)[1]
    limit = MOST_MEMORY if hard == resource.RLIM_INFINITY else min(hard, MOST_MEMORY)
    resource.setrlimit(resource.RLIMIT_DATA, (limit, hard))


def take_writing_away():
    """Makes this process unable to change files: ASE opens some formats for writing when it only
    reads them, and creates lock files beside others. Takes each step that the system supports."""
    sys.dont_write_bytecode = True
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)  # let the write fail instead
    resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    try:
        restricted = restrict_with_landlock()
    except (ImportError, OSError, AttributeError):
        restricted = False
    if not restricted and hasattr(sys, "addaudithook"):
        sys.addaudithook(refuse_changes)


def restrict_with_landlock():
    """Denies this process all changes below "/", starting programs and TCP connections; the
    null device stays writable. Numbers and structures are from <linux/landlock.h>. Returns
    whether the kernel agreed."""
    import ctypes

    create_ruleset, add_rule, restrict_self = 444, 445, 446
    libc = ctypes.CDLL(None)

    def call(number, *arguments):
        return libc.syscall(ctypes.c_long(number), *arguments)

    version = call(create_ruleset, None, ctypes.c_size_t(0), ctypes.c_uint32(1))
    if version < 1:
        return False
    execute, write_file, remove_and_make, truncate = 1 << 0, 1 << 1, 0x1FF0, 1 << 14
    write = write_file | (truncate if version >= 3 else 0)
    attributes = struct.pack("<Q", execute | write | remove_and_make)
    if version >= 4:
        attributes += struct.pack("<Q", 1 << 0 | 1 << 1)  # bind and connect
    ruleset = call(create_ruleset, attributes, ctypes.c_size_t(len(attributes)), ctypes.c_uint32(0))
    if ruleset < 0:
        return False
    null_device = os.open(os.devnull, os.O_PATH)
    rule = struct.pack("<Qi", write, null_device)
    call(add_rule, ctypes.c_int(ruleset), ctypes.c_int(1), rule, ctypes.c_uint32(0))
    no_new_privileges = 38
    libc.prctl(no_new_privileges, *map(ctypes.c_ulong, (1, 0, 0, 0)))
    refused = call(restrict_self, ctypes.c_int(ruleset), ctypes.c_uint32(0))
    os.close(null_device)
    os.close(ruleset)
    return refused == 0


def refuse_changes(event, arguments):
    """The audit hook for kernels without Landlock: refuses changes by Python's own functions. The
    file size limit stops writes by C libraries."""
    if event == "open":
        path, _, flags = arguments
        writes = (flags or 0) & (os.O_WRONLY | os.O_RDWR | os.O_CREAT | os.O_TRUNC)
        if not writes or path == os.devnull:
            return
    elif event not in CHANGES:
        return
    raise PermissionError(errno.EACCES, os.strerror(errno.EACCES))


def has_callers_rights():
    """False in a program that runs with more rights than its user, such as a set-user-ID one."""
    return os.getuid() == os.geteuid() and os.getgid() == os.getegid()


def add_python_path():
    """Puts the absolute folders of PYTHONPATH in front, as Python does without -I. Ignores empty
    and relative entries: they depend on the current folder, which another user may control."""
    if has_callers_rights():
        folders = os.environ.get("PYTHONPATH", "").split(os.pathsep)
        sys.path[:0] = [folder for folder in folders if os.path.isabs(folder)]


def add_user_packages():
    """Adds the user's own packages before those of the system, as Python does without -I."""
    if sys.prefix != sys.base_prefix or os.environ.get("PYTHONNOUSERSITE"):
        return
    if not has_callers_rights():
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


def own_files(*packages):
    """The files that this Python depends on, as the section "E" has them; none when one has a name
    that cannot be told so. Of ASE all sources of readers are named, loaded or not."""
    files = {sys.executable, os.path.join(sys.prefix, "pyvenv.cfg"), "/etc/ld.so.cache"}
    # The folders in which packages may appear are named also when they are not there yet.
    folders = [*site.getsitepackages(), site.getusersitepackages()]
    files.update(folder for folder in folders if os.path.isabs(folder))
    for folder in sys.path:
        if not os.path.isabs(folder):
            return b""
        files.add(folder)
        files.update(names_in(folder, (".pth", )))
    for module in list(sys.modules.values()) if packages else ():
        known = getattr(module, "__dict__", {})  # a stand-in has no other file than the real one's
        file = known.get("__file__")
        if file and known["__name__"].startswith(packages):
            files.add(file)
    for package in packages[:1]:
        folder = os.path.dirname(sys.modules[package].__file__)
        for part in ("", "io", "spacegroup", "geometry", "data", "utils"):
            files.update(names_in(os.path.join(folder, part), (".py", ".dat")))
    if packages:
        try:
            with open("/proc/self/maps", "rb") as maps:
                files.update(os.fsdecode(line[line.index(b"/"):].rstrip(b"\n"))
                             for line in maps if b" /" in line)
        except OSError:
            return b""
    names = sorted(map(text_bytes, files))
    if any(b"\n" in name or not name.startswith(b"/") for name in names):
        return b""
    return b"".join(name + b"\n" for name in names)


def names_in(folder, endings):
    try:
        return [os.path.join(folder, name) for name in os.listdir(folder) if name.endswith(endings)]
    except OSError:
        return []


class Watch:
    """Which files beside the one that is read ASE opens. An audit hook cannot be removed."""

    def __init__(self):
        self.folder = None
        if hasattr(sys, "addaudithook"):
            sys.addaudithook(self.see)

    def start(self, path):
        self.seen = set()
        try:
            self.folder, self.name = os.path.split(os.path.abspath(path))
        except OSError:  # the current folder is gone
            self.seen.add("/")

    def end(self):
        self.folder = None
        return sorted(self.seen)

    def see(self, event, arguments):
        if event not in READS or self.folder is None:
            return
        try:
            path = os.path.abspath(os.fsdecode(arguments[0]))
        except (TypeError, OSError):  # a descriptor, which was opened before
            return
        if event != "open":
            if path == self.folder:
                self.seen.add("")
        elif os.path.dirname(path) == self.folder and os.path.basename(path) != self.name:
            self.seen.add(os.path.basename(path))


def depends_on_more(error):
    """Whether an error, or one that it came from, need not come from the bytes of the file."""
    known = set()
    while error is not None and id(error) not in known:
        known.add(id(error))
        if isinstance(error, NOT_OF_THE_FILE):
            return True
        error = error.__cause__ or error.__context__
    return False


def number(value):
    return struct.pack("<Q", value)


def sized(content):
    return number(len(content)) + content


def text_bytes(text):
    """The text as UTF-8; undecodable bytes of a path become the original bytes again."""
    try:
        return text.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        return text.encode("utf-8", "replace")


def message(error):
    try:
        return text_bytes(str(error))
    except BaseException:
        return b""


def vectors(rows):
    """The number of rows, and their numbers."""
    import numpy

    array = numpy.asarray(rows, dtype="<f8")
    if array.ndim != 2 or array.shape[1] != 3:
        raise ValueError(f"expected rows of three numbers, got the shape {array.shape}")
    return number(len(array)), array.tobytes()


def name_for_ase(path):
    """Another name for the same file, if ASE would take this one for a database address and
    connect to it because of the word it begins with."""
    is_address = path.startswith(("postgres", "mysql", "mariadb"))
    return "./" + path if is_address else path


def read_named_file(read, path):
    """Calls `read` for exactly the file at `path`: ASE would take the text after an @ in a name for
    an index, and read the file named before the @."""
    if "@" in os.path.basename(path):
        return read(name_for_ase(path), do_not_split_by_at_sign=True)
    return read(name_for_ase(path))


def answer(read, path):
    # Whatever a reader raises, an attempt to exit included, is an error of the file.
    try:
        atoms = read_named_file(read, path)
    except BaseException as error:
        given = text_bytes(name_for_ase(path))
        text = message(error).replace(given, text_bytes(path))
        return READ_FAILURE + sized(text) + b"V" * depends_on_more(error)
    sections = []
    try:
        labels = [text_bytes(label) for label in atoms.get_chemical_symbols()]
        sections += [b"L", number(len(labels)), *map(sized, labels)]
        sections += [b"P", *vectors(atoms.get_positions())]
        cell = atoms.cell
        if cell is not None and cell.rank == 3:
            sections += [b"C", vectors([cell[0], cell[1], cell[2]])[1]]
    except BaseException as error:
        sections.append(b"V" * depends_on_more(error))
        return b"".join([EXTRACTION_FAILURE, sized(message(error)), *sections])
    return b"".join([NO_FAILURE, sized(b""), *sections])


def full_answer(read, path, watch):
    texts = {}  # an ordered set

    def keep(text, category, *_):
        if len(texts) < MOST_WARNINGS and not issubclass(category, ABOUT_CODE):
            texts[message(text)] = None

    with warnings.catch_warnings():
        warnings.simplefilter("always")  # repeat warnings of earlier files
        warnings.showwarning = keep
        watch.start(path)
        content = answer(read, path)
        beside = [text_bytes(name) for name in watch.end()]
    return b"".join([content, b"W", number(len(texts)), *map(sized, texts),
                     b"O", number(len(beside)), *map(sized, beside)])


def receive(channel, size):
    """Receives `size` bytes and the attached descriptors; ends the process if the host hung up."""
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
    watch = Watch()
    first = True
    while True:
        idle_end = time.monotonic() + IDLE_SECONDS
        # A fork of the owner may keep the channel open after the owner's end.
        while not select.select([channel], [], [], min(1, IDLE_SECONDS))[0]:
            if os.getppid() != owner:
                os._exit(0)
            if time.monotonic() >= idle_end:
                channel.sendall(LEFT)
                os._exit(0)
        size, folders = receive(channel, 8)
        path, _ = receive(channel, struct.unpack("<Q", size)[0])
        enter(folders)
        content = full_answer(read, os.fsdecode(path), watch)
        if first:
            first = False
            content += b"E" + sized(own_files("ase", "numpy", "scipy"))
        channel.sendall(sized(content))


def main():
    owner = os.getppid()
    end_with_owner()
    take_writing_away()
    add_user_packages()
    add_python_path()
    if importlib.util.find_spec("ase") is None:
        os.write(CHANNEL, ABSENT + sized(own_files()))
        os._exit(0)
    os.write(CHANNEL, FOUND)

    gc.disable()  # loading ASE leaves too little garbage to collect
    defer()
    import socket

    from ase.io import read

    gc.freeze()
    gc.enable()
    limit_memory()
    channel = socket.socket(fileno=CHANNEL)
    channel.sendall(READY)
    serve(channel, read, owner)


main()
