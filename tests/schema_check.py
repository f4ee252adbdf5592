"""Checks the schemas against the program's output, and against broken documents.

Usage: schema_check.py PROGRAM SOURCE_FOLDER

Real documents come from the files under examples/ and from odd files created here. Each of them is
then broken in one place at a time, and its schema must reject every broken version.
"""

import copy
import json
import operator
import os
import pathlib
import subprocess
import sys
import tempfile

from jsonschema import Draft202012Validator, RefResolver

PROGRAM = sys.argv[1]
SOURCE = pathlib.Path(sys.argv[2]).resolve()
SCHEMAS = SOURCE / "docs" / "schema"

ODD_FILES = {
    "empty.xyz": b"",
    "no_count.xyz": b"three\n\nH 0 0 0\n",
    "infinite.xyz": b"1\n\nH inf nan 1e999\n",
    "flat.xyz": b'1\nLattice="1 0 0 0 1 0 0 0 0"\nH 0 0 0\n',
    "bad_lattice.xyz": b'1\nLattice="1,0,0 0,1,0 0,0,1"\nH 0 0 0\n',
    "bad_atom_with_cell.xyz": b'1\nLattice="1 0 0 0 1 0 0 0 1"\nXx 0 0 0\n',
    "line\nbreak.xyz": b"1\n\nHe 0 0 0\n",
    os.fsdecode(b"not \xff utf-8.xyz"): b"1\n\nHe 0 0 0\n",
    "not_a_cif.cif": b"nothing of the sort\n",
    "POSCAR": b"no vectors\n",
    "notes.txt": b"1\n\nHe 0 0 0\n",
}

failures = []


def fail(message):
    failures.append(message)
    print("FAILED:", message)


def validator(name, pointer=""):
    """The validator of a schema file, or of a part of it."""
    schema = json.loads((SCHEMAS / name).read_text(encoding="utf-8"))
    resolver = RefResolver((SCHEMAS / name).as_uri(), schema)
    part = {"$ref": (SCHEMAS / name).as_uri() + "#" + pointer} if pointer else schema
    return Draft202012Validator(part, resolver=resolver)


RECORD = validator("record.schema.json")
ENTRY = validator("source_entry.schema.json", "/$defs/ingested")
ENTRY_ALONE = validator("source_entry.schema.json")
MANIFEST = validator("manifest.schema.json")
STATE = validator("state.schema.json")
FINDINGS = validator("findings.schema.json")
CHECKED = validator("told.schema.json", "/$defs/record")


def accept(check, document, what):
    for error in check.iter_errors(document):
        fail(f"{what}: {list(error.absolute_path)}: {error.message[:200]}")


def refuse(check, document, what):
    if check.is_valid(document):
        fail(f"{what} is let through")


def output(*arguments):
    result = subprocess.run([PROGRAM, *arguments], capture_output=True, check=False)
    if result.returncode not in (0, 1):
        sys.exit(f"{arguments[0]} ended with {result.returncode}: {result.stderr.decode()}")
    return result.stdout.decode("utf-8").splitlines()


def places(document, at=()):
    """The path to each member of each mapping, and to each element at the head of a list."""
    if isinstance(document, dict):
        inner = document.items()
    else:
        inner = list(enumerate(document))[:1] if isinstance(document, list) else []
    for key, value in inner:
        yield at + (key,)
        yield from places(value, at + (key,))


def changed(document, place, change):
    """A copy in which `change` was called with the holder and key of the member at `place`."""
    copied = copy.deepcopy(document)
    holder = copied
    for key in place[:-1]:
        holder = holder[key]
    change(holder, place[-1])
    return copied


CHANGES = {
    "of another type": lambda holder, key: operator.setitem(holder, key, {"no": 1}),
    "missing": lambda holder, key: holder.pop(key),
    "beside an unknown one": lambda holder, key: holder.update(unknown=1),
}


def refuse_broken_anywhere(check, document, what):
    """Makes each change in each place; returns the number of documents checked."""
    count = 0
    for place in places(document):
        in_list = isinstance(place[-1], int)
        for name, change in list(CHANGES.items())[:1 if in_list else None]:
            refuse(check, changed(document, place, change), f"{what} with {place} {name}")
            count += 1
    return count


def refuse_values(check, document, values):
    for place, value in values:
        refuse(check, changed(document, place, lambda holder, key: operator.setitem(
            holder, key, value)), f"{place} = {value!r}")


for path in SCHEMAS.glob("*.json"):
    Draft202012Validator.check_schema(json.loads(path.read_text(encoding="utf-8")))

with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name) / "strataquill_outputs"
    os.environ["XDG_CONFIG_HOME"] = name
    folder.mkdir()
    files = []
    for file_name, content in ODD_FILES.items():
        (folder / file_name).write_bytes(content)
        files.append(str(folder / file_name))
    examples = [str(path) for path in sorted((SOURCE / "examples").rglob("*")) if path.is_file()]
    files += examples + [str(folder / "missing.xyz")]

    records = [json.loads(line) for line in output("parse", "--json", *files)]
    for record in records:
        accept(RECORD, record, "record of " + record["source_path"])

    checked = [json.loads(line) for line in output("check", "--json", *files)]
    for result in checked:
        accept(CHECKED, result, "findings on " + result["path"])

    project = folder / "project"
    entries = json.loads(output("ingest", "--json", "--limit", "99", "--project", str(project),
                                *files)[0])
    for entry in entries:
        accept(ENTRY, entry, "entry of " + entry["source_path"])
    manifest = json.loads((project / ".diagnostics/ingested_structures.json").read_text("utf-8"))
    accept(MANIFEST, manifest, "manifest")

    state_file = folder / "state.json"
    state_file.write_text(json.dumps({
        "project_path": str(folder / "hydrated"),
        "attachments": [{"path": path} for path in examples if path.endswith("water.xyz")],
        "attached_workspace": {"inventory": {"structure_files": [files[0]]}},
        "user_request": "the band structure of silicon",
        "structure_sources": [{"path": "elsewhere.xyz", "origin": "somebody else"}],
        "kept_by_the_agent": True,
    }), encoding="utf-8")
    output("hydrate", "--state", str(state_file), *[p for p in examples if "silicon" in p])
    state = json.loads(state_file.read_text(encoding="utf-8"))
    accept(STATE, state, "state")

good = [record for record in records if record["ok"]]
bad = [record for record in records if not record["ok"]]
crystals = [entry for entry in entries if entry["has_cell"]]
if not (good and bad and crystals and state.get("source_workspace_root")
        and len(state["structure_sources"]) > 2 and state["structure_notes"]):
    sys.exit("the documents are not those that were meant")

broken = sum(refuse_broken_anywhere(RECORD, record, "record") for record in (good[0], bad[0]))
broken += refuse_broken_anywhere(ENTRY, crystals[0], "entry")
broken += refuse_broken_anywhere(MANIFEST, {**manifest, "structures": crystals[:1]}, "manifest")
# The document of a batch contains the same lists of findings.
findings = {"version": 1, "structures": [
    {"source_path": result["path"], "sha256": "0123456789abcdef", "findings": result["findings"]}
    for result in checked]}
accept(FINDINGS, findings, "findings")
telling = next(r for r in findings["structures"] if any(f["atoms"] for f in r["findings"]))
broken += refuse_broken_anywhere(FINDINGS, {**findings, "structures": [telling]}, "findings")
refuse_values(FINDINGS, {**findings, "structures": [telling]}, [
    (("structures", 0, "findings", 0, "severity"), "fatal"),
    (("structures", 0, "findings", 0, "code"), "Not A Code"),
    (("structures", 0, "findings", 0, "atoms"), [-1]),
    (("structures", 0, "findings", 0, "source"), "guess")])
entry_alone = {key: value for key, value in entries[0].items() if key != "ok"}
accept(ENTRY_ALONE, entry_alone, "entry outside a batch")
refuse(MANIFEST, {"version": 1, "structures": []}, "a manifest without entries")
refuse_values(RECORD, good[0], [
    (("format",), "pdb"), (("format",), "unknown"), (("natoms",), -1), (("natoms",), 1.5),
    (("symbols", 0), "OW"), (("species",), ["O", "O"]), (("positions_ang", 0), [0.0, 0.0]),
    (("positions_ang", 0, 0), "0.0"), (("cell_ang",), [[1.0, 0.0, 0.0]]), (("fractional",), True),
    (("formula",), "H2 O"), (("formula",), "H1"), (("sha256",), "0123456789ABCDEF"),
    (("canonical_xyz_rel",), "../ingested_a_01234567.xyz"), (("symbols",), []),
    (("source_path",), ""), (("warnings",), [""]), (("ok",), 1)])
refuse_values(RECORD, bad[0], [(("warnings",), []), (("ok",), True)])
refuse_values(ENTRY, crystals[0], [
    (("has_cell",), False), (("cell_ang",), None), (("kind",), "file"), (("discovery",), "mail"),
    (("metadata", "discovery"), ""), (("metadata", "parser"), "another"), (("ok",), False),
    (("related_steps",), ["RELAXATION", "SCF"]), (("description",), "a structure")])
refuse_values(STATE, state, [
    (("project_path",), 1), (("attachments",), [{}]), (("attachments", 0, "path"), ""),
    (("attached_workspace", "inventory", "structure_files"), [1]), (("user_request",), ["a"]),
    (("project_resolution",), "a"), (("structure_sources", 0, "natoms"), "2"),
    (("structure_notes",), [1]), (("source_workspace_root",), [])])
print(len(records), "records,", len(entries), "entries,", broken, "broken documents")
sys.exit(1 if failures or broken < 200 else 0)
