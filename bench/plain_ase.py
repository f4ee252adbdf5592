"""The program's job as a short script with ASE: read, write extended XYZ, digests, manifest."""
import hashlib
import json
import pathlib
import sys

import ase.io

project = pathlib.Path(sys.argv[1])
folder = project / "project_root" / "structures"
folder.mkdir(parents=True)
entries = []
for path in map(pathlib.Path, sys.argv[2:]):
    atoms = ase.io.read(path)
    copy = folder / path.name
    ase.io.write(copy, atoms, format="extxyz")
    entries.append({
        "path": str(copy),
        "source_path": str(path),
        "sha256": hashlib.sha256(path.read_bytes()).hexdigest(),
        "copy_sha256": hashlib.sha256(copy.read_bytes()).hexdigest(),
        "formula": atoms.get_chemical_formula(),
        "symbols": atoms.get_chemical_symbols(),
        "positions_ang": atoms.get_positions().tolist(),
        "cell_ang": atoms.cell.tolist(),
    })
(project / "manifest.json").write_text(json.dumps({"structures": entries}, indent=2))
