"""Program, server and package tell the same of one project, as the schemas describe it."""
import json
import subprocess

import pytest
from jsonschema import Draft202012Validator, RefResolver

from conftest import PROGRAM, ROOT, WATER, needs_program

CUBE = '1\nLattice="5 0 0 0 5 0 0 0 5"\nNe 0 0 0\n'
FILES = {"w.xyz": WATER, "two.xyz": CUBE + CUBE, "bad.xyz": "2\n\nH 0 0 0\n", "gone.xyz": CUBE,
         "changed.xyz": CUBE.replace("Ne", "Ar"), "near.xyz": "2\n\nHe 0 0 0\nHe 0 0 0.1\n"}

pytestmark = needs_program


def accepted(value, pointer):
    """The value, which fits a part of a schema."""
    folder = (ROOT / "docs/schema").as_uri()
    schema = {"$ref": f"{folder}/{pointer}"}
    resolver = RefResolver(f"{folder}/", schema)
    errors = [f"{list(error.absolute_path)}: {error.message}"
              for error in Draft202012Validator(schema, resolver=resolver).iter_errors(value)]
    assert not errors, errors
    return value


class Doors:
    def __init__(self, folder):
        self.folder = folder
        self.number = 0
        self.server = subprocess.Popen([PROGRAM, "serve", "--root", folder], text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL)
        self.ask("initialize", {"protocolVersion": "2025-11-25", "capabilities": {},
                                "clientInfo": {"name": "t", "version": "1"}})

    def close(self):
        self.server.stdin.close()
        assert self.server.wait() == 0
        self.server.stdout.close()

    def program(self, *arguments):
        done = subprocess.run([PROGRAM, *arguments, "--json"], capture_output=True, text=True,
                              cwd=self.folder)
        assert done.returncode in (0, 1), done.stderr
        return json.loads(done.stdout)

    def ask(self, method, params):
        self.number += 1
        message = {"jsonrpc": "2.0", "id": self.number, "method": method, "params": params}
        print(json.dumps(message), file=self.server.stdin, flush=True)
        for line in self.server.stdout:
            answer = json.loads(line)
            if answer.get("id") == self.number:
                return answer["result"]
        raise EOFError

    def tool(self, called, **arguments):
        result = self.ask("tools/call", {"name": called, "arguments": arguments})
        assert "isError" not in result, result
        return accepted(result["structuredContent"], f"answers.schema.json#/$defs/{called}")


@pytest.fixture
def doors(folder):
    for name, text in FILES.items():
        (folder / name).write_text(text)
    opened = Doors(folder)
    yield opened
    opened.close()


def without(value, *keys):
    return {key: each for key, each in value.items() if key not in keys}


def test_of_a_file(doors):
    for name in FILES:
        path = str(doors.folder / name)
        told = accepted(doors.program("check", path), "told.schema.json#/$defs/record")
        checked = doors.tool("check_structure", path=path)
        assert without(checked, "worst", "explanations", "next_step") == told
        assert [each["code"] for each in checked["explanations"]] == [
            each["code"] for each in told["findings"] if each["severity"] != "note"]
        parsed = doors.tool("parse_structure", path=path, include_coordinates=True)
        assert without(parsed, "findings", "copies", "coordinates", "next_step") == without(
            told, "findings")
        assert parsed["findings"] == [each for each in told["findings"]
                                      if each["severity"] != "note"]
        if told["ok"]:
            doors.tool("picture_of_structure", path=path)


def test_of_a_project(si, doors):
    folder = doors.folder
    project = str(folder / "project")
    taken = doors.tool("hydrate_project", project=project, limit=9,
                       paths=[str(folder / name) for name in [*FILES, "project/../w.xyz"]])
    assert [each["reason"] for each in taken["skipped"]] == ["same_file"]
    state = json.loads((folder / "project/.strataquill_state.json").read_text())
    listed = doors.tool("list_structures", project=project)["structures"]
    assert listed == taken["structures"]
    assert [[each["code"] for each in structure["findings"]] for structure in listed] == [
        ["no_cell"], ["several_frames"], ["not_read"], [], [], ["overlapping_atoms", "no_cell"]]
    # What was found stays, whatever becomes of the sources and of later batches.
    (folder / "gone.xyz").unlink()
    (folder / "changed.xyz").write_text(CUBE)
    (folder / "two.xyz").unlink()
    doors.program("hydrate", "--project", project, "silicon.xyz")
    state = json.loads((folder / "project/.strataquill_state.json").read_text())
    listed = doors.tool("list_structures", project=project)["structures"]
    assert listed[1:] == taken["structures"]
    assert doors.program("list", "--project", project) == listed
    assert si.list_structures(project, state, check=True) == listed
    for each in listed:
        accepted(each, "told.schema.json#/$defs/structure")

    verified = doors.program("verify", "--project", project)
    assert [each["as_it_was"] for each in verified] == [True, True, False, True, False, False, True]
    assert si.verify_project(project, state) == verified
    answered = doors.tool("verify_project", project=project)
    assert answered["structures"] == [each for each in verified if each["findings"]]
    for each in verified:
        accepted(each, "told.schema.json#/$defs/verified")

    again = doors.tool("hydrate_project", project=project, paths=[str(folder / "changed.xyz")],
                       refresh=True)
    assert [each["formula"] for each in again["replaced"]] == ["Ar"]
    known = doors.tool("hydrate_project", project=project, paths=[str(folder / "w.xyz")])["known"]
    assert [each["changed"] for each in known] == [False]
    forgotten = doors.tool("forget_structure", project=project, name="w.xyz", delete_copy=True)
    assert forgotten["copy"] == "deleted"
    assert forgotten["forgotten"] == {**listed[1], "findings": None}


def test_of_a_folder(doors):
    scanned = doors.program("scan", str(doors.folder))
    assert doors.tool("scan_workspace")["files"] == scanned
    for each in scanned:
        accepted(each, "told.schema.json#/$defs/scanned")


def test_of_a_batch_and_a_finding(doors):
    paths = [str(doors.folder / name) for name in FILES]
    taken = doors.tool("ingest_structures", project=str(doors.folder / "other"), paths=paths)
    assert [each["ok"] for each in taken["structures"]] == [True, True, False, True, True, True]
    assert doors.tool("explain_finding", code="no_cell")["severity"] == "note"
