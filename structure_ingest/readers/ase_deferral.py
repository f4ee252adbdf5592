"""Stands in for modules that loading ASE imports and reading a CIF or VASP file hardly ever uses:
they would take almost half of the time until the first answer. The text of ase_worker.py follows
this one.

A stand-in imports what it stands for when something of it is used. Then all stand-ins give way at
once, so that the real modules find each other as they always do.
"""

import importlib
import importlib.util
import os
import sys
import types
import warnings

IS_X86 = os.uname().machine == "x86_64"


def called_later(module, name):
    """A stand-in for a function or class that is only ever called."""

    def call(*arguments, **named):
        return getattr(real(module), name)(*arguments, **named)

    return call


def distances(points, others):
    """scipy.spatial.distance.cdist as ASE calls it for each atom of a CIF with occupancies: the
    same to the last bit where a compiler does not join products and sums, and for few atoms not
    slower."""
    is_usual = (IS_X86 and points.shape == (1, 3) and others.shape[1:] == (3,) and
                len(others) < 1000 and points.dtype == others.dtype == float)
    if not is_usual:
        return real("scipy.spatial.distance").cdist(points, others)
    numpy = sys.modules["numpy"]
    with numpy.errstate(all="ignore"):
        x, y, z = (others - points).T
        return numpy.sqrt(x * x + y * y + z * z).reshape(1, -1)


# The modules, each with what ASE or SciPy takes from it by name and calls later, if at all.
DEFERRED = {
    "numpy.ctypeslib": (),
    "numpy.fft": ("ifft",),
    "numpy.ma": (),
    "numpy.polynomial": (),
    "numpy.random": ("rand", "randn"),
    "scipy.linalg": ("expm", "logm"),
    "scipy.sparse": (),
    "scipy.sparse.csgraph": (),
    "scipy.spatial": ("cKDTree",),
    "scipy.spatial.distance": (),
}


class StandIn(types.ModuleType):

    def __init__(self, name):
        super().__init__(name)
        self.__path__ = []  # it may have submodules
        for function in DEFERRED[name]:
            setattr(self, function, called_later(name, function))
        if name == "scipy.spatial.distance":
            self.cdist = distances

    def __getattr__(self, name):
        member = self.__name__ + "." + name
        if member in DEFERRED:
            return importlib.import_module(member)
        return getattr(real(self.__name__), name)


class Deferral:
    """Finds and loads the stand-ins."""

    def find_spec(self, name, path=None, target=None):
        if name in DEFERRED:
            return importlib.util.spec_from_loader(name, self, is_package=True)
        if isinstance(sys.modules.get(name.rpartition(".")[0]), StandIn):
            give_way()
            return importlib.util.spec_from_loader(name, self)
        return None

    def create_module(self, spec):
        return StandIn(spec.name) if self in sys.meta_path else importlib.import_module(spec.name)

    def exec_module(self, module):
        pass


def defer():
    """Call before ASE is imported. Without SciPy ASE must fail to load, as it does."""
    if importlib.util.find_spec("scipy") is not None:
        sys.meta_path.insert(0, Deferral())


def give_way():
    """Imports the real modules in the place of the stand-ins."""
    sys.meta_path[:] = [finder for finder in sys.meta_path if not isinstance(finder, Deferral)]
    names = [name for name in DEFERRED if isinstance(sys.modules.get(name), StandIn)]
    for name in names:
        del sys.modules[name]
    with warnings.catch_warnings():  # they would seem to be about the file
        warnings.simplefilter("ignore")
        for name in names:
            importlib.import_module(name)


def real(name):
    give_way()
    return importlib.import_module(name)
