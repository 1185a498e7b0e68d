# mypy: ignore-errors
# What annotations need (typing) may itself be another's.
"""Imports for the package in an interpreter whose path leads to other modules of the standard library's names.

The script loads this file by its place, before anything else of the package, so that it imports only what every
interpreter has loaded when it starts. In such an interpreter, a host's, the package takes copies of the standard library's
modules for itself, below its own name; modules and path of the host stay as they are.
"""

import builtins
import os
import sys
import zipimport

_bootstrap = sys.modules["_frozen_importlib"]
_external = sys.modules["_frozen_importlib_external"]

# Compiled, but imports modules in Python past all of this; it is faster than what stands in for it, no more.
PAST_THIS = "_elementtree"

# Below this, in the package, lie the copies.
COPIES = "standard"

# There can't be two of these, and every interpreter has those that are its own before it looks at any path.
SHARED = frozenset(
    "_collections_abc abc codecs encodings genericpath importlib io ntpath os posixpath site stat threading types "
    "warnings zipimport".split()
)


# What no module of the package leads to; tools of other makers stand in for the first.
NEVER_USED = frozenset("distutils ensurepip idlelib lib2to3 test this antigravity turtle turtledemo venv".split())


def load_package(name, folder):
    """The package in `folder` as module `name`, whatever the path has of that name."""
    if name not in sys.modules:
        finder = _Finder(name, folder)
        sys.meta_path.insert(0, finder)
        try:
            builtins.__import__(name)
        except BaseException:
            sys.meta_path.remove(finder)
            raise
    return sys.modules[name]


class _Finder:
    """Finds what is below the package's name, and nothing else."""

    def __init__(self, name, folder):
        self._name = name
        self._folder = folder
        self._copies = name + "." + COPIES
        self._standard = _Standard()
        self._ways = None
        self._own = False
        self._copied = {}

    def find_spec(self, fullname, path=None, target=None):
        parent = fullname.rpartition(".")[0]
        if fullname == self._name:
            spec = _external.spec_from_file_location(
                fullname, os.path.join(self._folder, "__init__.py"), submodule_search_locations=[self._folder]
            )
        elif fullname == self._copies:
            return _bootstrap.ModuleSpec(fullname, None, is_package=True)
        elif parent == self._copies:
            spec = self._standard.find(fullname)
        elif parent == self._name or parent.startswith(self._name + "."):
            spec = _external.PathFinder.find_spec(fullname, path)
        else:
            return None
        if spec is not None and _is_source(spec):
            spec.loader = _Loader(spec.loader, self._import)
        return spec

    def _import(self, name, globals=None, locals=None, fromlist=(), level=0):
        top = name.partition(".")[0]
        if name == PAST_THIS:
            raise ImportError("not for a copy")
        if level or top == self._name.partition(".")[0] or not self._is_copied(top):
            return builtins.__import__(name, globals, locals, fromlist, level)
        module = builtins.__import__(self._copies + "." + name, globals, locals, fromlist or ("",), 0)
        return module if fromlist else sys.modules[self._copies + "." + top]

    def _is_copied(self, top):
        # The host may lead its path elsewhere between two imports of ours, or have others find its modules.
        ways = list(sys.path), [id(finder) for finder in sys.meta_path]
        if self._ways != ways:
            self._ways = ways
            self._own = self._own or not self._standard.is_what_imports_find()
        if not self._own:
            return False
        if top not in self._copied:
            self._copied[top] = self._needs_copy(top)
        return self._copied[top]

    def _needs_copy(self, top):
        spec = None if top in SHARED else self._standard.find(top)
        if spec is None or not _is_source(spec):
            # There can't be two of one that is compiled.
            return False
        # Of a package another part may be imported yet, among the host's modules.
        module = sys.modules.get(top)
        return module is None or hasattr(module, "__path__") or self._standard.is_spoilt(module, set())


class _Loader:
    """Another loader, whose modules import as the package does."""

    def __init__(self, loader, own_import):
        self._loader = loader
        self._import = own_import

    def create_module(self, spec):
        return None

    def exec_module(self, module):
        module.__dict__["__builtins__"] = {**vars(builtins), "__import__": self._import}
        exec(self._loader.get_code(module.__name__), module.__dict__)

    def __getattr__(self, name):
        return getattr(self._loader, name)


class _Standard:
    """The standard library of this interpreter."""

    def __init__(self):
        # It was imported from there before there was any other path.
        home = os.path.dirname(os.__file__)
        archive = "python%d%d.zip" % sys.version_info[:2]
        beside = (os.path.join(home, "lib-dynload"), os.path.join(sys.base_prefix, "DLLs"))
        self._places = [home]
        self._places += [entry for entry in sys.path if entry in beside or os.path.basename(entry) == archive]

    def find(self, name):
        return _external.PathFinder.find_spec(name, self._places)

    def is_what_imports_find(self):
        """Whether neither the modules that are loaded nor what is asked before it have its names."""
        loaded = [name for name in list(sys.modules) if "." not in name and self._is_foreign(sys.modules[name], name)]
        if loaded or any(map(self._has_foreign, _finders_before_the_path())):
            return False
        for entry in sys.path:
            if entry in self._places:
                break
            if any(self.find(name) is not None for name in self._common_names(entry)):
                return False
        return True

    def _has_foreign(self, finder):
        """Whether this one, of the host's, finds something else under one of the library's names."""
        for name in self._names():
            own = None if name in SHARED or name in NEVER_USED else self.find(name)
            if own is None:
                continue
            try:
                spec = _found_by(finder, name)
                if spec is not None and not _is_same(own.origin, spec.origin):
                    return True
            except Exception:
                return True
        return False

    def _common_names(self, entry):
        """Those of an entry of the path that the library may have, too."""
        if os.path.isdir(entry or "."):
            return _module_names(entry)
        # An archive, or something else that a hook of the path reads.
        return [name for name in self._names() if _external.PathFinder.find_spec(name, [entry]) is not None]

    def _names(self):
        """All the names of the library, at which its versions before 3.10 have to look themselves."""
        if hasattr(sys, "stdlib_module_names"):
            return sys.stdlib_module_names
        return [name for place in self._places for name in _module_names(place) or _names_in_archive(place)]

    def is_spoilt(self, module, seen):
        """Whether it is none of the standard library's, or holds what is none."""
        name = getattr(module, "__name__", "")
        if name in seen:
            return False
        seen.add(name)
        if self._is_foreign(module, name):
            return True
        for value in list(vars(module).values()):
            if not isinstance(value, type(sys)):
                origin = getattr(value, "__module__", None)
                value = sys.modules.get(origin) if isinstance(origin, str) else None
            if isinstance(value, type(sys)) and self.is_spoilt(value, seen):
                return True
        return False

    def _is_foreign(self, module, name):
        """Whether it has a name of the standard library and comes from elsewhere."""
        top = name.partition(".")[0]
        file = getattr(sys.modules.get(top, module), "__file__", None)
        spec = self.find(top) if isinstance(file, str) else None
        return spec is not None and isinstance(spec.origin, str) and not _is_same(spec.origin, file)


def _is_source(spec):
    return spec.loader is not None and not isinstance(spec.loader, _external.ExtensionFileLoader)


def _is_same(origin, file):
    """A module that was compiled without its source, too, lies beside where that would be."""
    return os.path.realpath(os.path.splitext(origin)[0]) == os.path.realpath(os.path.splitext(file)[0]) or (
        os.path.realpath(origin) == os.path.realpath(file)
    )


def _finders_before_the_path():
    """Those of the host that are asked for a module before the path is looked through."""
    own = (_bootstrap.BuiltinImporter, _bootstrap.FrozenImporter)
    for finder in list(sys.meta_path):
        if finder is _external.PathFinder:
            return
        if finder not in own and not isinstance(finder, _Finder):
            yield finder


def _found_by(finder, name):
    if hasattr(finder, "find_spec"):
        return finder.find_spec(name, None, None)
    # As those of before Python 3.12 may be.
    loader = finder.find_module(name, None)
    return None if loader is None else _bootstrap.ModuleSpec(name, loader)


def _names_in_archive(place):
    try:
        files = zipimport._zip_directory_cache[zipimport.zipimporter(place).archive]
    except zipimport.ZipImportError:
        return ()
    return {file.replace(os.sep, "/").partition("/")[0].partition(".")[0] for file in files}


def _module_names(folder):
    """The names under which imports find something in an entry of the path."""
    folder = folder or "."
    try:
        entries = os.listdir(folder)
    except OSError:
        return ()
    packages = [entry for entry in entries if os.path.isfile(os.path.join(folder, entry, "__init__.py"))]
    return packages + [entry.partition(".")[0] for entry in entries if entry.endswith((".py", ".pyc", ".so", ".pyd"))]
