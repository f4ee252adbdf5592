from . import called


def record_suppressed_error(project_path, **named):
    return called("record_suppressed_error", lambda *_, **__: None, project_path, **named)
