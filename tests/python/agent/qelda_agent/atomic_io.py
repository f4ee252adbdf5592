import json

from . import called


def write(path, value):
    path.parent.mkdir(exist_ok=True)
    path.write_text(json.dumps(value))


def atomic_write_json(path, value):
    return called("atomic_write_json", write, path, value)
